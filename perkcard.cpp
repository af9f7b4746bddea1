// SPDX-License-Identifier: GPL-3.0-or-later
#include "perkcard.h"

#include "player.h"

#include <QBrush>
#include <QGraphicsTextItem>
#include <QPen>
#include <QRandomGenerator>

#include <iterator>

namespace {

struct Perk
{
    const char *name;
    const char *description;
    int Player::*stat;
};

const Perk perks[] = {
    {"Speed Boost", "Zwiększa prędkość o ", &Player::speed},
    {"Damage Boost", "Zwiększa obrażenia o ", &Player::damage},
    {"Health Boost", "Zwiększa zdrowie o ", &Player::hp},
};

struct Rarity
{
    int lastRoll;
    QColor colour;
    double multiplier;
};

const Rarity rarities[] = {
    {49, QColor(150, 150, 150), 1.1},
    {79, QColor(0, 128, 255), 1.5},
    {94, QColor(128, 0, 128), 2.0},
    {99, QColor(255, 215, 0), 3.0},
};

void applyPerk(Player &player, const QString &name, double multiplier)
{
    for (const Perk &perk : perks) {
        if (name != QLatin1String(perk.name))
            continue;
        int &stat = player.*perk.stat;
        const int old = stat;
        stat = truncateToInt(stat * multiplier);
        // Health given is not health lost: the baseline of the next loss report moves
        // by the same amount, so that report shows only what hits took away.
        if (perk.stat == &Player::hp)
            player.lastHp = truncateToInt(player.lastHp + (double(stat) - old));
        return;
    }
}

} // namespace

PerkCard::PerkCard(Player *player, QGraphicsItem *parent)
    : QGraphicsRectItem(parent)
    , player(player)
{
    auto *random = QRandomGenerator::global();
    rarity = rarityForRoll(random->bounded(100));
    const Rarity &grade = rarities[rarity];
    setRect(QRectF(0, 0, 120, 180));
    setBrush(QBrush(grade.colour, Qt::SolidPattern));
    setPen(QPen(QBrush(Qt::black), 2.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));

    const Perk &perk = perks[random->bounded(int(std::size(perks)))];
    perkName = QString::fromUtf8(perk.name);
    perkValues[perkName] = grade.multiplier;

    titleText = new QGraphicsTextItem(perkName, this);
    titleText->setDefaultTextColor(QColor(Qt::black));
    titleText->setPos(10, 10);

    // The default 'g' format shows 1.1 * 100 - 100 as a plain 10.
    const double percentage = grade.multiplier * 100 - 100;
    const QString text = QString::fromUtf8(perk.description) + QString::number(percentage) + u'%';
    descriptionText = new QGraphicsTextItem(text, this);
    descriptionText->setDefaultTextColor(QColor(Qt::black));
    descriptionText->setPos(10, 40);
    descriptionText->setTextWidth(100);
}

int PerkCard::rarityForRoll(int roll)
{
    int rarity = 0;
    while (rarity + 1 < int(std::size(rarities)) && roll > rarities[rarity].lastRoll)
        ++rarity;
    return rarity;
}

void PerkCard::mousePressEvent(QGraphicsSceneMouseEvent *)
{
    // A card that outlived its avatar (a reset came in between) changes nobody: the
    // new avatar starts from the defaults. It still reports the pick, so its row goes.
    if (player)
        applyPerk(*player, perkName, perkValues.value(perkName));
    const QString name = perkName;
    emit picked(name);
    // The row's handler has deleted this card during the emission.
}
