// SPDX-License-Identifier: GPL-3.0-or-later
#include "bullet.h"

#include "player.h"
#include "roster.h"
#include "sceneitems.h"

#include <QGraphicsScene>
#include <QPixmapCache>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// What a bullet's lifetime makes of it: the longer it lives, the faster,
// smaller and stronger it is.
struct Band
{
    double scale;
    int damageFactor;
    double speed; // scene units per tick
};

Band bandFor(int lifetimeMs)
{
    if (lifetimeMs < 1000)
        return {1.0, 1, 2.0};
    if (lifetimeMs <= 2000)
        return {0.85, 2, 4.0};
    return {0.7, 5, 15.0};
}

int multiplySaturated(int value, int factor)
{
    const qint64 product = qint64(value) * factor;
    return int(std::clamp<qint64>(product, std::numeric_limits<int>::min(),
                                  std::numeric_limits<int>::max()));
}

// Hundreds of pellets a second share one scaled picture.
QPixmap picture()
{
    const QString key = QStringLiteral("vorlen/bullet");
    QPixmap scaled;
    if (!QPixmapCache::find(key, &scaled)) {
        scaled = QPixmap(":/resources/bullet.png")
                     .scaled(QSize(14, 10), Qt::KeepAspectRatio, Qt::SmoothTransformation);
        QPixmapCache::insert(key, scaled);
    }
    return scaled;
}

} // namespace

Bullet::Bullet(QGraphicsScene *scene, QPointF pos, double angle, Player *owner, int lifetimeMs,
               int damage)
    : lifetimeMs(lifetimeMs)
    , damage(damage)
    , owner(owner)
    , scene(scene)
{
    setPixmap(picture());
    const Band band = bandFor(lifetimeMs);
    setScale(band.scale);
    this->damage = multiplySaturated(damage, band.damageFactor);
    const double radians = angle * 0.017453292519943295;
    velocityX = std::cos(radians) * band.speed;
    velocityY = std::sin(radians) * band.speed;
    setPos(pos);
    if (scene)
        roster = Roster::of(scene);
    flightTimer = new QTimer(this);
    age.start();
    connect(flightTimer, &QTimer::timeout, this, &Bullet::flightStep);
    flightTimer->start(5);
}

void Bullet::flightStep()
{
    // Someone else took the bullet off its scene: its flight is over.
    if (!scene || QGraphicsItem::scene() != scene) {
        finish();
        return;
    }
    setPos(pos() + QPointF(velocityX, velocityY));
    // Hits go first, so a bullet that reaches a player on its last tick still counts.
    if (Player *player = firstTouched()) {
        player->takeDamage(damage);
        finish();
        return;
    }
    if (age.elapsed() >= lifetimeMs)
        finish();
}

// The first living player other than the owner whose picture this one touches, in
// the order of the scene's shape query, which passes over hidden items. Rectangles
// sort out the avatars out of reach before any outline is compared; the scene is
// asked only when two or more are touched at once, to put them in its order.
Player *Bullet::firstTouched()
{
    const QRectF rect = sceneBoundingRect();
    Player *touched = nullptr;
    for (Player *player : roster->avatars()) {
        if (!player->mayTouch(rect) || player == owner || !player->alive || !player->isVisible() ||
            !collidesWithItem(player, Qt::IntersectsItemShape))
            continue;
        if (touched)
            return firstInSceneOrder();
        touched = player;
    }
    return touched;
}

Player *Bullet::firstInSceneOrder() const
{
    const QList<QGraphicsItem *> touched = collidingItems(Qt::IntersectsItemShape);
    for (QGraphicsItem *item : touched) {
        auto *player = dynamic_cast<Player *>(item);
        if (player && player != owner && player->alive)
            return player;
    }
    return nullptr;
}

void Bullet::finish()
{
    flightTimer->stop();
    deleteFromScene(this);
}
