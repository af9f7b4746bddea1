// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef ROSTER_H
#define ROSTER_H

#include <QList>
#include <QObject>

class Player;
class QGraphicsScene;

// The avatars standing on one scene: what a bullet of that scene may hit, without
// asking a scene full of pellets, drops and scenery. Avatars keep it up to date as
// they come onto the scene and leave it.
class Roster : public QObject
{
    Q_OBJECT

public:
    // The scene's roster, made on first asking; the scene owns it.
    static Roster *of(QGraphicsScene *scene);

    const QList<Player *> &avatars() const { return onScene; }
    void add(Player *avatar);
    void remove(Player *avatar);

private:
    explicit Roster(QGraphicsScene *scene);

    QList<Player *> onScene;
};

#endif // ROSTER_H
