// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef SHOTGUN_H
#define SHOTGUN_H

#include "gun.h"

// Five short-lived, weak pellets in a fan.
class Shotgun : public Gun
{
    Q_OBJECT

public:
    Shotgun(QGraphicsScene *scene, Player *owner, bool followsOwner);

    void shoot(QPointF target) override;
};

#endif // SHOTGUN_H
