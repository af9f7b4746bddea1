// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef SNIPE_H
#define SNIPE_H

#include "gun.h"

// One strong, fast bullet, two seconds after the trigger, towards the newest aim.
class Snipe : public Gun
{
    Q_OBJECT

public:
    Snipe(QGraphicsScene *scene, Player *owner, bool followsOwner);

    void shoot(QPointF target) override;
    // The delayed half of a shot: leaves from where the weapon is now.
    void fire();

    QPointF target;
};

#endif // SNIPE_H
