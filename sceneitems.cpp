// SPDX-License-Identifier: GPL-3.0-or-later
#include "sceneitems.h"

#include "framepacer.h"

#include <QGraphicsItem>
#include <QGraphicsScene>
#include <QGraphicsView>

void deleteFromScene(QGraphicsItem *item, QObject *object)
{
    item->hide();
    if (QGraphicsScene *scene = item->scene()) {
        for (QGraphicsView *view : scene->views())
            if (auto *pacer = view->findChild<FramePacer *>(QString(), Qt::FindDirectChildrenOnly))
                return pacer->deleteAfterRepaint(object);
        // No view depends on what the scene reports, so it repaints only the item's place.
        scene->removeItem(item);
    }
    // Later, since the call may come from inside the item's own timer tick.
    object->deleteLater();
}
