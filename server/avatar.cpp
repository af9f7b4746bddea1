// SPDX-License-Identifier: GPL-3.0-or-later
#include "avatar.h"

#include <QLocale>
#include <cmath>

namespace {

// Every client puts a new avatar here, and a walk target is the centre of the
// 100 by 100 picture, so half of that away from the corner.
const QPointF spawnCorner(100, 100);
const QPointF halfSize(50, 50);

// The integer part of a value, which is what clients act on.
double wholePart(QByteArrayView value)
{
    return std::trunc(value.toDouble());
}

QPointF wholePoint(const Line &line)
{
    return QPointF(wholePart(line.a), wholePart(line.b));
}

QByteArray number(qreal value)
{
    return QByteArray::number(value, 'g', QLocale::FloatingPointShortest);
}

} // namespace

Avatar::Avatar(int id)
    : lifeId(id)
    , alive(true)
    , corner(spawnCorner)
{}

void Avatar::follow(const Line &line)
{
    // Clients truncate what they receive before they act on it, so the same is kept
    // here: the newcomer then lands on the very pixel the others show.
    switch (line.type) {
    case Line::Move:
        corner = wholePoint(line) - halfSize;
        break;
    case Line::Position:
        corner = wholePoint(line);
        break;
    case Line::Setup:
        setUp(line);
        break;
    case Line::Weapon:
        holdWeapon(line);
        break;
    case Line::Death:
        alive = false;
        break;
    default:
        break;
    }
}

void Avatar::setUp(const Line &line)
{
    const double stat = wholePart(line.a);
    if (stat == 1)
        speed = line.b.toByteArray();
    else if (stat == 2)
        damage = line.b.toByteArray();
}

void Avatar::holdWeapon(const Line &line)
{
    // Like the clients: flag 1 with an unknown item changes nothing, any other flag
    // empties the hand whatever the item.
    const double item = wholePart(line.a);
    if (wholePart(line.b) != 1)
        heldItem = 0;
    else if (item >= 1 && item <= 3)
        heldItem = int(item);
}

QList<QByteArray> Avatar::introduction() const
{
    QList<QByteArray> lines{
        Line{Line::NewPlayer, number(corner.x()), number(corner.y())}.withId(lifeId)};
    if (!speed.isEmpty())
        lines << Line{Line::Setup, "1", speed}.withId(lifeId);
    if (!damage.isEmpty())
        lines << Line{Line::Setup, "2", damage}.withId(lifeId);
    if (heldItem != 0)
        lines << Line{Line::Weapon, QByteArray::number(heldItem), "1"}.withId(lifeId);
    return lines;
}
