// SPDX-License-Identifier: GPL-3.0-or-later
#include "snipe.h"

#include <QTimer>

Snipe::Snipe(QGraphicsScene *scene, Player *owner, bool followsOwner)
    : Gun(scene, owner, followsOwner)
{
    setPixmap(QPixmap(":/resources/snipe.png"));
    type = 3;
}

void Snipe::shoot(QPointF target)
{
    // Even during the cooldown: a later click redirects the pending shot.
    this->target = target;
    aimAt(this->target, ":/resources/snipe.png", ":/resources/snipe2.png");
    if (!pullTrigger(":/sounds/snipe_shoot.wav", 2700))
        return;
    QTimer::singleShot(2000, this, &Snipe::fire);
}

void Snipe::fire()
{
    const QPointF from = muzzle();
    double angle = angleBetween(from, target);
    if (angle < 0)
        angle += 360;
    fireBullet(from, angle, 2500);
}
