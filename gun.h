// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef GUN_H
#define GUN_H

#include <QGraphicsPixmapItem>
#include <QObject>
#include <QPointer>

class Player;
class QGraphicsScene;
class QTimer;

// The weapon base class and the pistol. Trails its owner when held, lies still
// as a pick-up otherwise, and fires when told to.
class Gun : public QObject, public QGraphicsPixmapItem
{
    Q_OBJECT

public:
    Gun(QGraphicsScene *scene, Player *owner, bool followsOwner);

    bool followsOwner;
    bool canShoot = true;
    QGraphicsScene *scene;
    QPointer<Player> owner; // a weapon never follows an avatar that is gone
    int type = 1;
    QTimer *followTimer = nullptr;
    bool touchedOwner = false;

signals:
    void collidedWithPlayer(int type);

public slots:
    virtual void shoot(QPointF target);
    virtual void followPlayer();

protected:
    struct Aim
    {
        QPointF muzzle;
        double angle;
    };
    // The aiming steps common to every weapon: turn towards `target` and show
    // the picture that keeps the drawing upright.
    Aim aimAt(QPointF target, const QString &rightPixmap, const QString &leftPixmap);
    // The middle of the weapon in scene coordinates, where its bullets start.
    QPointF muzzle() const;
    // Degrees from `from` to `to`, y downward, in (-180, 180].
    static double angleBetween(QPointF from, QPointF to);
    // False during the cooldown. Otherwise plays `soundPath` and starts a
    // cooldown of `cooldownMs`.
    bool pullTrigger(const QString &soundPath, int cooldownMs);
    void playSound(const QString &path);
    // Nothing leaves a weapon whose holder is gone.
    void fireBullet(QPointF muzzle, double angle, int lifetimeMs);
};

#endif // GUN_H
