// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef AVATAR_H
#define AVATAR_H

#include "line.h"

#include <QList>
#include <QPointF>

// One life of a player, as far as a newcomer must learn it to draw that player the
// way everybody else already does: where it stands, its setup and what it holds.
class Avatar
{
public:
    Avatar() = default;
    explicit Avatar(int id);

    int id() const { return lifeId; }
    bool isAlive() const { return alive; }

    // Takes note of a line this player had relayed to everybody.
    void follow(const Line &line);
    // The lines that make this avatar appear on a client that has not seen it yet,
    // each with its line feed.
    QList<QByteArray> introduction() const;

private:
    void setUp(const Line &line);
    void holdWeapon(const Line &line);

    int lifeId = 0;
    bool alive = false;
    QPointF corner;
    QByteArray speed;
    QByteArray damage;
    int heldItem = 0;
};

#endif // AVATAR_H
