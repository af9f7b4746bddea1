// SPDX-License-Identifier: GPL-3.0-or-later
#include "player.h"

#include "roster.h"
#include "sceneitems.h"

#include <QFont>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsTextItem>
#include <QGraphicsView>
#include <QMovie>
#include <QRandomGenerator>
#include <QTimer>

#include <cmath>
#include <limits>

int truncateToInt(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= double(std::numeric_limits<int>::max()))
        return std::numeric_limits<int>::max();
    if (value <= double(std::numeric_limits<int>::min()))
        return std::numeric_limits<int>::min();
    return int(value);
}

namespace {

constexpr int bleedTicks = 4;
constexpr int fireTicks = 4;

// An effect is an item of its own that holds its picture and owns its timers and
// movie: whoever deletes the item, its own last tick or a scene being cleared, ends
// everything that could still touch it.
//
// The item's area is its picture's: a scene that reports its changes by the
// `changed` signal, as the arena's does, repaints all of itself for an item whose
// area is empty, and repaints where a moved item was by that item's area alone.
class EffectItem : public QGraphicsObject
{
public:
    QRectF boundingRect() const override { return childrenBoundingRect(); }
    void paint(QPainter *, const QStyleOptionGraphicsItem *, QWidget *) override {}
};

QGraphicsObject *addEffect(QGraphicsScene *scene, QGraphicsItem *look, QPointF pos)
{
    auto *item = new EffectItem;
    look->setParentItem(item);
    item->setPos(pos);
    if (scene)
        scene->addItem(item);
    return item;
}

void finishEffect(QGraphicsObject *effect)
{
    deleteFromScene(effect);
}

// Moves the effect by `dy` every 30 ms for as long as it has not reached `endY`,
// then ends it.
void driftEffect(QGraphicsObject *effect, double dy, double endY)
{
    auto *timer = new QTimer(effect);
    QObject::connect(timer, &QTimer::timeout, effect, [effect, timer, dy, endY] {
        const bool underway = dy > 0 ? effect->y() < endY : effect->y() > endY;
        if (!effect->scene() || !underway) {
            timer->stop();
            finishEffect(effect);
            return;
        }
        effect->setPos(effect->x(), effect->y() + dy);
    });
    timer->start(30);
}

QPointF scatter(QPointF centre)
{
    auto *random = QRandomGenerator::global();
    const int rx = random->bounded(41) - 20;
    const int ry = random->bounded(41) - 20;
    return centre + QPointF(rx, ry);
}

} // namespace

Player::Player(QGraphicsScene *scene, QPointF pos, QGraphicsItem *parent)
    : QGraphicsPixmapItem(parent)
    , scene(scene)
{
    setFlag(ItemSendsGeometryChanges);
    showPicture(":/resources/player.png");
    setPos(pos);
    moveTimer = new QTimer(this);
    connect(moveTimer, &QTimer::timeout, this, &Player::moveStep);
}

// Past here the item's own scene no longer tells this class it is leaving.
Player::~Player()
{
    if (QGraphicsScene *stage = QGraphicsItem::scene())
        Roster::of(stage)->remove(this);
}

void Player::showPicture(const QString &path)
{
    setPixmap(QPixmap(path));
    setTransformOriginPoint(pixmap().width() / 2, pixmap().height() / 2);
    box = sceneBoundingRect();
}

QVariant Player::itemChange(GraphicsItemChange change, const QVariant &value)
{
    switch (change) {
    case ItemSceneChange:
        if (QGraphicsScene *stage = QGraphicsItem::scene())
            Roster::of(stage)->remove(this);
        break;
    case ItemSceneHasChanged:
        if (auto *stage = value.value<QGraphicsScene *>())
            Roster::of(stage)->add(this);
        break;
    case ItemPositionHasChanged:
    case ItemTransformHasChanged:
    case ItemRotationHasChanged:
    case ItemScaleHasChanged:
    case ItemTransformOriginPointHasChanged:
        box = sceneBoundingRect();
        break;
    default:
        break;
    }
    return QGraphicsPixmapItem::itemChange(change, value);
}

QPointF Player::centre() const
{
    return pos() + QPointF(pixmap().width() / 2, pixmap().height() / 2);
}

void Player::moveTo(QPointF target)
{
    this->target = target;
    moveTimer->start(16);
}

void Player::moveStep()
{
    const QPointF half(pixmap().width() * 0.5, pixmap().height() * 0.5);
    const QPointF delta = target - (pos() + half);
    if (std::abs(delta.x()) + std::abs(delta.y()) < 1.0) {
        setPos(target - half);
        moveTimer->stop();
        return;
    }
    QPointF step = delta / 10.0;
    const double length = std::hypot(step.x(), step.y());
    if (length > double(speed))
        step = step / length * double(speed);
    QGraphicsScene *stage = QGraphicsItem::scene();
    if (isLocal && stage && !stage->views().isEmpty())
        stage->views().constFirst()->centerOn(this);
    setPos(pos() + step);
}

void Player::takeDamage(int damage)
{
    qDebug() << "damage = " << damage;
    const double decrease = defense / (100.0 + defense);
    qDebug() << "decrease =" << decrease;
    const double result = decrease * damage;
    hp = truncateToInt(hp - (damage - result));
    qDebug() << "result = " << result;

    QTimer::singleShot(100, this, &Player::reportLoss);
    if ((isLocal || isPractice) && hp <= 0 && alive)
        QTimer::singleShot(120, this, &Player::deathStep);

    addDrop(centre());
    addDrop(centre());
    auto *bleed = new QTimer(this);
    connect(bleed, &QTimer::timeout, this, [this, bleed, ticks = 0]() mutable {
        addDrop(centre());
        addDrop(centre());
        if (++ticks == bleedTicks) {
            bleed->stop();
            bleed->deleteLater();
        }
    });
    bleed->start(500);
}

void Player::reportLoss()
{
    // Both ends of int can be reached by health, and the loss between them cannot.
    if (lastHp != hp)
        emit damage_received(truncateToInt(double(lastHp) - hp));
    lastHp = hp;
}

void Player::deathStep()
{
    if (isLocal && isPractice)
        death();
    alive = false;
    emit died();
}

void Player::addDrop(QPointF centre)
{
    auto *look = new QGraphicsRectItem(0, 0, 5, 5);
    look->setBrush(QBrush(QColor(139, 0, 0)));
    look->setPen(Qt::NoPen);
    driftEffect(addEffect(scene, look, scatter(centre)), 2, centre.y() + 20);
}

void Player::death()
{
    auto *look = new QGraphicsPixmapItem;
    QGraphicsObject *animation = addEffect(scene, look, centre() - QPointF(100, 100));
    hide();
    if (isLocal) {
        showPicture(":/resources/dead_player.png");
        show();
    }

    auto *movie = new QMovie(":/resources/player_death.gif", QByteArray(), animation);
    movie->setScaledSize(QSize(200, 200));
    movie->setSpeed(150);
    connect(movie, &QMovie::frameChanged, animation,
            [look, movie] { look->setPixmap(movie->currentPixmap()); });
    movie->start();
    // The cut comes before the last frames, on purpose: the fall is what counts.
    QTimer::singleShot(2000, animation, [animation] { finishEffect(animation); });
}

void Player::effect(const QString &name)
{
    if (name != QLatin1String("fire"))
        return;
    addFlame(centre());
    addFlame(centre());
    auto *fire = new QTimer(this);
    connect(fire, &QTimer::timeout, this, [this, fire, ticks = 0]() mutable {
        addFlame(centre());
        addFlame(centre());
        if (++ticks < fireTicks)
            return;
        fire->stop();
        takeDamage(hp / 5 + 5);
        fire->deleteLater();
    });
    fire->start(500);
}

void Player::addFlame(QPointF centre)
{
    auto *look = new QGraphicsPixmapItem(QPixmap(":/resources/fireball.png"));
    look->setScale(0.5);
    look->setRotation(90);
    driftEffect(addEffect(scene, look, scatter(centre)), -2, centre.y() - 40);
}

void Player::showDamageNumber(int amount, double startOpacity, double fadeStep) const
{
    const QPointF c = mapToScene(boundingRect().center());
    auto *number = new QGraphicsTextItem(QString::number(amount, 10));
    number->setDefaultTextColor(QColor(Qt::darkRed));
    number->setFont(QFont("Arial", 16, 700, false));
    const QRectF box = number->boundingRect();
    number->setPos(c.x() - 0.5 * box.width(), c.y() - box.height() - 20.0);
    scene->addItem(number);

    // The timer is the number's child: a scene that deletes the number ends its fade.
    auto *fade = new QTimer(number);
    fade->setInterval(50);
    connect(fade, &QTimer::timeout, number,
            [number, fade, fadeStep, opacity = startOpacity]() mutable {
                opacity -= fadeStep;
                if (opacity <= 0) {
                    fade->stop();
                    finishEffect(number);
                    return;
                }
                number->setOpacity(opacity);
                number->setPos(number->x(), number->y() - 1);
            });
    fade->start();
}
