// SPDX-License-Identifier: GPL-3.0-or-later
#include "sceneitems.h"

#include <QCoreApplication>
#include <QGraphicsItem>
#include <QGraphicsScene>

void removeFromScene(QGraphicsItem *item)
{
    QGraphicsScene *scene = item->scene();
    if (!scene)
        return;
    // Hiding asks for the item's own place, in a call the scene queues. Once the
    // scene has made that call, the hidden item leaves without asking for more.
    item->hide();
    QCoreApplication::sendPostedEvents(scene, QEvent::MetaCall);
    scene->removeItem(item);
}
