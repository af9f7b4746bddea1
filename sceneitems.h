// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef SCENEITEMS_H
#define SCENEITEMS_H

class QGraphicsItem;

// Takes an item that is on its way out, with its children, off its scene, and has
// only the place where it stood repainted. The item is left hidden.
//
// A scene whose `changed` signal has a receiver, as the arena's has, repaints all of
// itself when an item that is still visible leaves it: with bullets and drops ending
// all the time, nearly every frame of a fight would be a whole screen.
void removeFromScene(QGraphicsItem *item);

#endif // SCENEITEMS_H
