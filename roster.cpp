// SPDX-License-Identifier: GPL-3.0-or-later
#include "roster.h"

#include <QGraphicsScene>

Roster::Roster(QGraphicsScene *scene)
    : QObject(scene)
{}

Roster *Roster::of(QGraphicsScene *scene)
{
    auto *roster = scene->findChild<Roster *>(QString(), Qt::FindDirectChildrenOnly);
    return roster ? roster : new Roster(scene);
}

void Roster::add(Player *avatar)
{
    onScene.append(avatar);
}

void Roster::remove(Player *avatar)
{
    onScene.removeOne(avatar);
}
