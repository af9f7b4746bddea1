// SPDX-License-Identifier: GPL-3.0-or-later
#include "shotgun.h"

#include <QRandomGenerator>

Shotgun::Shotgun(QGraphicsScene *scene, Player *owner, bool followsOwner)
    : Gun(scene, owner, followsOwner)
{
    setPixmap(QPixmap(":/resources/shotgun.png"));
    type = 2;
}

void Shotgun::shoot(QPointF target)
{
    const Aim aim = aimAt(target, ":/resources/shotgun.png", ":/resources/shotgun2.png");
    if (!pullTrigger(":/sounds/shotgun_shoot.wav", 1700))
        return;
    auto *random = QRandomGenerator::global();
    for (int i = -2; i <= 2; ++i) {
        // A fan in steps of 5 degrees, each pellet jittered by -4 to +6.
        const double angle = i * 5.0 + random->bounded(-4, 7) + aim.angle;
        fireBullet(aim.muzzle, angle, random->bounded(500, 600));
    }
}
