// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef PERKCARD_H
#define PERKCARD_H

#include <QGraphicsRectItem>
#include <QMap>
#include <QObject>
#include <QPointer>

class Player;
class QGraphicsSceneMouseEvent;
class QGraphicsTextItem;

// One clickable card of the practice tool: a random perk at a random rarity that
// multiplies one stat of the avatar, once.
class PerkCard : public QObject, public QGraphicsRectItem
{
    Q_OBJECT

public:
    PerkCard(Player *player, QGraphicsItem *parent = nullptr);

    // Rarity 0 to 3 for a roll of 0 to 99: the rarer, the narrower its band.
    static int rarityForRoll(int roll);

    QString perkName;
    QMap<QString, double> perkValues;
    int rarity = 0;
    QGraphicsTextItem *titleText = nullptr;
    QGraphicsTextItem *descriptionText = nullptr;
    QPointer<Player> player;

signals:
    void picked(QString perkName);

protected:
    void mousePressEvent(QGraphicsSceneMouseEvent *event) override;
};

#endif // PERKCARD_H
