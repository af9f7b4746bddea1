// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef PLAYER_H
#define PLAYER_H

#include <QGraphicsPixmapItem>
#include <QObject>
#include <QPointF>

class QGraphicsScene;
class QTimer;

// Truncates toward zero like a cast, but saturates at the ends of int and maps NaN
// to 0, where a cast would be undefined.
int truncateToInt(double value);

// One avatar on a scene: the user's own, another user's copy, or an avatar of
// the practice tool. Driven from outside; knows neither input nor network.
class Player : public QObject, public QGraphicsPixmapItem
{
    Q_OBJECT

public:
    Player(QGraphicsScene *scene, QPointF pos, QGraphicsItem *parent = nullptr);
    ~Player() override;

    void moveTo(QPointF target);
    void takeDamage(int damage);
    void death();
    void effect(const QString &name);

    // Floats `amount` up from the avatar's centre; the number owes nothing to the
    // avatar once placed. Opacity above 1 keeps it fully visible for a while.
    void showDamageNumber(int amount, double startOpacity = 2.0, double fadeStep = 0.05) const;

    // Centre of the picture in scene coordinates, halves by whole-number division.
    QPointF centre() const;

    // Whether a picture standing in `sceneRect` may touch this avatar's: the cheap
    // test before the outlines, which Qt maps whole before it looks at any rectangle.
    // Bullets ask it hundreds of times a second, so the avatar's rectangle is kept up
    // to date as it moves and turns. Touching edges and a pixel of slack count, so a
    // rounding in the rectangles never loses a touch.
    bool mayTouch(const QRectF &sceneRect) const
    {
        const QRectF reach = sceneRect.adjusted(-1, -1, 1, 1);
        return reach.left() <= box.right() && box.left() <= reach.right() &&
               reach.top() <= box.bottom() && box.top() <= reach.bottom();
    }

    bool isLocal = false;
    bool alive = true;
    bool isPractice = false;
    int hp = 100;
    int lastHp = 100;
    int speed = 10;
    int damage = 5;
    int defense = 10;
    QTimer *moveTimer = nullptr;
    QPointF target;
    QGraphicsScene *scene = nullptr;

signals:
    void died();
    void damage_received(int damage);

public slots:
    void moveStep();

protected:
    QVariant itemChange(GraphicsItemChange change, const QVariant &value) override;

private:
    void showPicture(const QString &path);
    void reportLoss();
    void deathStep();
    void addDrop(QPointF centre);
    void addFlame(QPointF centre);

    // The scene rectangle, renewed in itemChange: avatars stand on the scene directly,
    // so no parent moves them unseen.
    QRectF box;
};

#endif // PLAYER_H
