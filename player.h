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

    // Every avatar that exists, on any scene: what a bullet may hit, without
    // asking a scene full of pellets, drops and scenery.
    static const QList<Player *> &all();

    void moveTo(QPointF target);
    void takeDamage(int damage);
    void death();
    void effect(const QString &name);

    // Floats `amount` up from the avatar's centre; the number owes nothing to the
    // avatar once placed. Opacity above 1 keeps it fully visible for a while.
    void showDamageNumber(int amount, double startOpacity = 2.0, double fadeStep = 0.05) const;

    // Centre of the picture in scene coordinates, halves by whole-number division.
    QPointF centre() const;

    // The picture's rectangle on the scene, kept up to date as the avatar moves and
    // turns: bullets compare it with their own hundreds of times a second. Avatars
    // stand on the scene directly, so their own position is their scene position.
    QRectF sceneBox() const { return box; }

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

    QRectF box;
};

#endif // PLAYER_H
