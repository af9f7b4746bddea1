#include "bullet.h"
#include "player.h"

#include <QGraphicsScene>
#include <QPointer>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>

#include <limits>

namespace {

// Where a bullet flying along +x at the middle band (4 units a tick) has to
// start to stand at `spot` after one tick.
QPointF oneTickBefore(QPointF spot)
{
    return spot - QPointF(4, 0);
}

// The middle of the avatar's figure, relative to its corner.
const QPointF figure(45, 45);

bool near(double a, double b)
{
    return std::abs(a - b) < 1e-9;
}

Bullet *launch(QGraphicsScene &scene, QPointF start, Player *owner, int lifetimeMs = 1000)
{
    auto *bullet = new Bullet(&scene, start, 0, owner, lifetimeMs, 5);
    scene.addItem(bullet);
    return bullet;
}

Player *addPlayer(QGraphicsScene &scene, QPointF pos)
{
    auto *player = new Player(&scene, pos);
    scene.addItem(player);
    return player;
}

} // namespace

class TestBullet : public QObject
{
    Q_OBJECT

private slots:
    void lifetimeBands_data();
    void lifetimeBands();
    void damageFactorSaturates_data();
    void damageFactorSaturates();
    void hitsOnlyLivingOthersByShape_data();
    void hitsOnlyLivingOthersByShape();
    void onlyTheFirstOfOverlappingPlayersIsHit();
    void hitTestComesBeforeExpiry_data();
    void hitTestComesBeforeExpiry();
    void tickAfterRemovalEndsFlightQuietly();
    void flightTimerMovesAndEndsBullet();
};

void TestBullet::lifetimeBands_data()
{
    QTest::addColumn<int>("lifetime");
    QTest::addColumn<double>("angle");
    QTest::addColumn<double>("scale");
    QTest::addColumn<int>("damage");
    QTest::addColumn<QPointF>("velocity");

    QTest::newRow("999 is short") << 999 << 0.0 << 1.0 << 10 << QPointF(2, 0);
    QTest::newRow("1000 is middle") << 1000 << 90.0 << 0.85 << 20 << QPointF(0, 4);
    QTest::newRow("2000 is middle") << 2000 << 180.0 << 0.85 << 20 << QPointF(-4, 0);
    QTest::newRow("2001 is long") << 2001 << -90.0 << 0.7 << 50 << QPointF(0, -15);
}

void TestBullet::lifetimeBands()
{
    QFETCH(int, lifetime);
    QFETCH(double, angle);
    QFETCH(double, scale);
    QFETCH(int, damage);
    QFETCH(QPointF, velocity);

    QGraphicsScene scene;
    const Bullet bullet(&scene, QPointF(7, -3), angle, nullptr, lifetime, 10);

    QCOMPARE(bullet.scale(), scale);
    QCOMPARE(bullet.damage, damage);
    QVERIFY(near(bullet.velocityX, velocity.x()));
    QVERIFY(near(bullet.velocityY, velocity.y()));
    QCOMPARE(bullet.pos(), QPointF(7, -3));
    QCOMPARE(bullet.rotation(), 0.0);
    QCOMPARE(bullet.pixmap().size(), QSize(10, 10));
    QCOMPARE(bullet.flightTimer->interval(), 5);
    QVERIFY(bullet.flightTimer->isActive());
}

void TestBullet::damageFactorSaturates_data()
{
    QTest::addColumn<int>("damage");
    QTest::addColumn<int>("expected");

    QTest::newRow("high") << std::numeric_limits<int>::max() / 2 << std::numeric_limits<int>::max();
    QTest::newRow("low") << std::numeric_limits<int>::min() / 2 << std::numeric_limits<int>::min();
}

void TestBullet::damageFactorSaturates()
{
    QFETCH(int, damage);
    QFETCH(int, expected);

    QGraphicsScene scene;
    const Bullet bullet(&scene, QPointF(), 0, nullptr, 2500, damage);
    QCOMPARE(bullet.damage, expected);
}

void TestBullet::hitsOnlyLivingOthersByShape_data()
{
    QTest::addColumn<QPointF>("spot");
    QTest::addColumn<bool>("ownedByTarget");
    QTest::addColumn<bool>("targetAlive");
    QTest::addColumn<bool>("hits");

    QTest::newRow("figure") << figure << false << true << true;
    QTest::newRow("transparent corner") << QPointF(2, 2) << false << true << false;
    QTest::newRow("own bullet") << figure << true << true << false;
    QTest::newRow("dead target") << figure << false << false << false;
}

void TestBullet::hitsOnlyLivingOthersByShape()
{
    QFETCH(QPointF, spot);
    QFETCH(bool, ownedByTarget);
    QFETCH(bool, targetAlive);
    QFETCH(bool, hits);

    QGraphicsScene scene;
    Player *target = addPlayer(scene, QPointF(0, 0));
    target->alive = targetAlive;
    Player *shooter = addPlayer(scene, QPointF(500, 500));
    Bullet *bullet = launch(scene, oneTickBefore(spot), ownedByTarget ? target : shooter);

    bullet->flightStep();

    QVERIFY(target->sceneBoundingRect().intersects(bullet->sceneBoundingRect()));
    // 5 doubled by the middle band, less a tenth of 110 by a defence of 10.
    QCOMPARE(target->hp, hits ? 90 : 100);
    QCOMPARE(bullet->QGraphicsItem::scene() == nullptr, hits);
    QCOMPARE(bullet->flightTimer->isActive(), !hits);
}

void TestBullet::onlyTheFirstOfOverlappingPlayersIsHit()
{
    QGraphicsScene scene;
    Player *upper = addPlayer(scene, QPointF(0, 0));
    upper->setZValue(1);
    Player *lower = addPlayer(scene, QPointF(0, 0));
    Bullet *bullet = launch(scene, oneTickBefore(figure), nullptr);

    bullet->flightStep();

    QCOMPARE(upper->hp, 90);
    QCOMPARE(lower->hp, 100);
}

void TestBullet::hitTestComesBeforeExpiry_data()
{
    QTest::addColumn<int>("lifetime");
    QTest::addColumn<bool>("playerOnPath");
    QTest::addColumn<bool>("ends");

    QTest::newRow("last tick reaches a player") << 0 << true << true;
    QTest::newRow("last tick in the open") << 0 << false << true;
    QTest::newRow("time left in the open") << 1000 << false << false;
}

void TestBullet::hitTestComesBeforeExpiry()
{
    QFETCH(int, lifetime);
    QFETCH(bool, playerOnPath);
    QFETCH(bool, ends);

    QGraphicsScene scene;
    Player *target = addPlayer(scene, playerOnPath ? QPointF(0, 0) : QPointF(1000, 1000));
    Bullet *bullet = launch(scene, oneTickBefore(figure), nullptr, lifetime);

    bullet->flightStep();

    QCOMPARE(target->hp, playerOnPath ? 95 : 100);
    QCOMPARE(bullet->QGraphicsItem::scene() == nullptr, ends);
    QCOMPARE(bullet->flightTimer->isActive(), !ends);
}

void TestBullet::tickAfterRemovalEndsFlightQuietly()
{
    QGraphicsScene scene;
    Player *target = addPlayer(scene, QPointF(0, 0));
    QPointer<Bullet> bullet = launch(scene, oneTickBefore(figure), nullptr);
    scene.removeItem(bullet);
    QTest::failOnWarning(QRegularExpression("removeItem"));

    bullet->flightStep();

    QCOMPARE(target->hp, 100);
    QVERIFY(!bullet->flightTimer->isActive());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(bullet.isNull());
}

void TestBullet::flightTimerMovesAndEndsBullet()
{
    QGraphicsScene scene;
    QPointer<Bullet> bullet = launch(scene, QPointF(0, 0), nullptr, 50);

    QTRY_VERIFY(bullet && bullet->x() > 0);
    QTRY_VERIFY(bullet.isNull());
}

QTEST_MAIN(TestBullet)
#include "tst_bullet.moc"
