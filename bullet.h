// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef BULLET_H
#define BULLET_H

#include <QElapsedTimer>
#include <QGraphicsPixmapItem>
#include <QObject>
#include <QPointer>

class Player;
class Roster;
class QGraphicsScene;
class QTimer;

// A projectile that flies on its own timer, hits the first living player other
// than its owner, and removes itself. Its lifetime fixes speed, scale and damage.
class Bullet : public QObject, public QGraphicsPixmapItem
{
    Q_OBJECT

public:
    Bullet(QGraphicsScene *scene, QPointF pos, double angle, Player *owner, int lifetimeMs,
           int damage);

    // One tick of the flight; the timer calls it every 5 ms.
    void flightStep();

    int lifetimeMs;
    int damage;
    QPointer<Player> owner; // only compared: a deleted owner can no longer match anyone
    QTimer *flightTimer = nullptr;
    double velocityX = 0.0;
    double velocityY = 0.0;
    QGraphicsScene *scene;
    QElapsedTimer age;

private:
    Roster *roster = nullptr; // asked only while on its scene, which owns both

    Player *firstTouched();
    Player *firstInSceneOrder() const;
    void finish();
};

#endif // BULLET_H
