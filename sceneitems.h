// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef SCENEITEMS_H
#define SCENEITEMS_H

class QGraphicsItem;
class QObject;

// Ends an item that is done, with its children: hidden at once, deleted once the
// place where it stood has been repainted. Whatever drives it is for the caller to stop.
//
// A scene whose `changed` signal has a receiver, as the arena's has, repaints all of
// itself when an item leaves it before the scene has taken in that the item was
// hidden: with bullets and drops ending all the time, nearly every frame of a fight
// would be a whole screen. A view whose frames are paced therefore deletes the item
// itself, once the scene has had the time to take in the hiding.
void deleteFromScene(QGraphicsItem *item, QObject *object);

// For an item that is an object too, as the arena's avatars, weapons, bullets and
// effects are.
template <class Item> void deleteFromScene(Item *item)
{
    deleteFromScene(item, item);
}

#endif // SCENEITEMS_H
