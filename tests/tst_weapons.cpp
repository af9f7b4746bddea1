#include "bullet.h"
#include "gun.h"
#include "player.h"
#include "shotgun.h"
#include "snipe.h"

#include <QAudioDevice>
#include <QElapsedTimer>
#include <QGraphicsScene>
#include <QMediaDevices>
#include <QSignalSpy>
#include <QSoundEffect>
#include <QTest>
#include <QTimer>

#include <cmath>
#include <set>

namespace {

Gun *makeWeapon(int type, QGraphicsScene &scene, Player *owner, bool followsOwner = true)
{
    switch (type) {
    case 2:
        return new Shotgun(&scene, owner, followsOwner);
    case 3:
        return new Snipe(&scene, owner, followsOwner);
    default:
        return new Gun(&scene, owner, followsOwner);
    }
}

Player *addPlayer(QGraphicsScene &scene, QPointF pos)
{
    auto *player = new Player(&scene, pos);
    scene.addItem(player);
    return player;
}

// In the order they were fired.
QList<Bullet *> bullets(const QGraphicsScene &scene)
{
    QList<Bullet *> found;
    for (QGraphicsItem *item : scene.items(Qt::AscendingOrder))
        if (auto *bullet = dynamic_cast<Bullet *>(item))
            found.append(bullet);
    return found;
}

double flightAngle(const Bullet *bullet)
{
    return std::atan2(bullet->velocityY, bullet->velocityX) * 180 / M_PI;
}

double speed(const Bullet *bullet)
{
    return std::hypot(bullet->velocityX, bullet->velocityY);
}

QPointF middle(const Gun *weapon)
{
    return weapon->pos() + QPointF(weapon->pixmap().width() / 2.0, weapon->pixmap().height() / 2.0);
}

// One effect for each shot that fires, where there is a device to play it on.
int soundsPerShot()
{
    return QMediaDevices::defaultAudioOutput().isNull() ? 0 : 1;
}

bool shows(const Gun *weapon, const QString &path)
{
    return weapon->pixmap().toImage() == QPixmap(path).toImage();
}

} // namespace

class TestWeapons : public QObject
{
    Q_OBJECT

private slots:
    void constructionPlacesAndStartsFollowing_data();
    void constructionPlacesAndStartsFollowing();
    void aimTurnsAndMirrors_data();
    void aimTurnsAndMirrors();
    void cooldownOnlyTurns_data();
    void cooldownOnlyTurns();
    void gunSpreadTakesFourValues();
    void shotgunFiresAFanOfFivePellets();
    void snipeShootsFromNewPlaceAtNewestTarget();
    void snipeFiresTwoSecondsAfterTrigger();
    void followTrailsByAFifth_data();
    void followTrailsByAFifth();
    void touchingOwnerEmitsOnce_data();
    void touchingOwnerEmitsOnce();
    void deletedOwnerIsLeftAlone_data();
    void deletedOwnerIsLeftAlone();
};

void TestWeapons::constructionPlacesAndStartsFollowing_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("picture");

    QTest::newRow("gun") << 1 << ":/resources/gun.png";
    QTest::newRow("shotgun") << 2 << ":/resources/shotgun.png";
    QTest::newRow("snipe") << 3 << ":/resources/snipe.png";
}

void TestWeapons::constructionPlacesAndStartsFollowing()
{
    QFETCH(int, type);
    QFETCH(QString, picture);

    QGraphicsScene scene;
    Player *owner = addPlayer(scene, QPointF(200, 100));
    Gun *weapon = makeWeapon(type, scene, owner);

    QCOMPARE(weapon->QGraphicsItem::scene(), &scene);
    QCOMPARE(weapon->type, type);
    QVERIFY(shows(weapon, picture));
    QCOMPARE(weapon->pos(), QPointF(0, 0));
    QCOMPARE(weapon->followTimer->interval(), 30);
    QTRY_VERIFY(weapon->x() > 0);
}

void TestWeapons::aimTurnsAndMirrors_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QPointF>("offset");
    QTest::addColumn<QString>("picture");
    QTest::addColumn<double>("rotation");

    QTest::newRow("gun down right") << 1 << QPointF(100, 100) << ":/resources/gun.png" << 45.0;
    QTest::newRow("gun up left") << 1 << QPointF(-100, -100) << ":/resources/gun2.png" << 45.0;
    QTest::newRow("gun straight down") << 1 << QPointF(0, 100) << ":/resources/gun.png" << 90.0;
    QTest::newRow("gun at muzzle") << 1 << QPointF(0, 0) << ":/resources/gun.png" << 0.0;
    QTest::newRow("shotgun down left")
        << 2 << QPointF(-100, 100) << ":/resources/shotgun2.png" << 315.0;
    QTest::newRow("snipe up left") << 3 << QPointF(-100, -100) << ":/resources/snipe2.png" << 45.0;
    QTest::newRow("snipe up right") << 3 << QPointF(100, -100) << ":/resources/snipe.png" << -45.0;
}

void TestWeapons::aimTurnsAndMirrors()
{
    QFETCH(int, type);
    QFETCH(QPointF, offset);
    QFETCH(QString, picture);
    QFETCH(double, rotation);

    QGraphicsScene scene;
    Player *owner = addPlayer(scene, QPointF(-500, -500));
    Gun *weapon = makeWeapon(type, scene, owner);
    weapon->setPos(200, 100);
    const QPointF muzzle = middle(weapon);

    weapon->shoot(muzzle + offset);

    QVERIFY(shows(weapon, picture));
    QCOMPARE(weapon->rotation(), rotation);
    QCOMPARE(weapon->mapToScene(weapon->transformOriginPoint()), muzzle);
    for (const Bullet *bullet : bullets(scene))
        QCOMPARE(bullet->pos(), muzzle);
}

void TestWeapons::cooldownOnlyTurns_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("bulletsPerShot");
    QTest::addColumn<int>("cooldown");

    QTest::newRow("gun") << 1 << 1 << 500;
    QTest::newRow("shotgun") << 2 << 5 << 1700;
}

void TestWeapons::cooldownOnlyTurns()
{
    QFETCH(int, type);
    QFETCH(int, bulletsPerShot);
    QFETCH(int, cooldown);

    QGraphicsScene scene;
    Player *owner = addPlayer(scene, QPointF(-500, -500));
    Gun *weapon = makeWeapon(type, scene, owner, false);
    const QPointF muzzle = middle(weapon);
    QElapsedTimer clock;
    clock.start();

    weapon->shoot(muzzle + QPointF(100, 0));
    QCOMPARE(bullets(scene).size(), bulletsPerShot);
    QCOMPARE(weapon->findChildren<QSoundEffect *>().size(), soundsPerShot());
    weapon->shoot(muzzle + QPointF(0, 100));
    QCOMPARE(bullets(scene).size(), bulletsPerShot);
    QCOMPARE(weapon->findChildren<QSoundEffect *>().size(), soundsPerShot());
    QCOMPARE(weapon->rotation(), 90.0);

    QTRY_VERIFY_WITH_TIMEOUT(weapon->canShoot, cooldown + 1000);
    QVERIFY(clock.elapsed() >= cooldown);
    const qsizetype before = bullets(scene).size();
    weapon->shoot(muzzle + QPointF(100, 0));
    QCOMPARE(bullets(scene).size(), before + bulletsPerShot);
}

void TestWeapons::gunSpreadTakesFourValues()
{
    QGraphicsScene scene;
    Player *owner = addPlayer(scene, QPointF(-500, -500));
    owner->damage = 7;
    Gun gun(&scene, owner, false);
    const QPointF target = middle(&gun) + QPointF(100, 0);

    std::set<int> halfDegrees;
    for (int shot = 0; shot < 60; ++shot) {
        gun.canShoot = true;
        gun.shoot(target);
    }
    for (const Bullet *bullet : bullets(scene)) {
        halfDegrees.insert(qRound(flightAngle(bullet) * 2));
        QCOMPARE(bullet->lifetimeMs, 1000);
        QCOMPARE(bullet->damage, 14);
    }

    QCOMPARE(halfDegrees, (std::set<int>{-2, -1, 0, 1}));
}

void TestWeapons::shotgunFiresAFanOfFivePellets()
{
    QGraphicsScene scene;
    Player *owner = addPlayer(scene, QPointF(-500, -500));
    owner->damage = 7;
    Shotgun shotgun(&scene, owner, false);
    const QPointF target = middle(&shotgun) + QPointF(100, 0);

    std::set<int> jitters;
    for (int shot = 0; shot < 60; ++shot) {
        shotgun.canShoot = true;
        shotgun.shoot(target);
        const QList<Bullet *> pellets = bullets(scene);
        QCOMPARE(pellets.size(), 5);
        for (int i = -2; i <= 2; ++i) {
            const Bullet *pellet = pellets.at(i + 2);
            const double jitter = flightAngle(pellet) - i * 5;
            QCOMPARE(jitter, double(qRound(jitter)));
            jitters.insert(qRound(jitter));
            QVERIFY(pellet->lifetimeMs >= 500 && pellet->lifetimeMs < 600);
            QCOMPARE(pellet->damage, 7);
            QCOMPARE(speed(pellet), 2.0);
        }
        qDeleteAll(pellets);
    }

    QCOMPARE(*jitters.begin(), -4);
    QCOMPARE(*jitters.rbegin(), 6);
}

void TestWeapons::snipeShootsFromNewPlaceAtNewestTarget()
{
    QGraphicsScene scene;
    Player *owner = addPlayer(scene, QPointF(-500, -500));
    Snipe snipe(&scene, owner, false);

    snipe.shoot(QPointF(-300, 0));
    QVERIFY(bullets(scene).isEmpty());
    snipe.setPos(300, 200);
    const QPointF muzzle = middle(&snipe);
    const QPointF newest = muzzle + QPointF(300, -400);
    snipe.shoot(newest);
    owner->damage = 9;
    snipe.fire();

    QCOMPARE(snipe.target, newest);
    QVERIFY(shows(&snipe, ":/resources/snipe.png"));
    const QList<Bullet *> shot = bullets(scene);
    QCOMPARE(shot.size(), 1);
    const Bullet *bullet = shot.first();
    QCOMPARE(bullet->pos(), muzzle);
    QCOMPARE(bullet->velocityX, 9.0);
    QCOMPARE(bullet->velocityY, -12.0);
    QCOMPARE(bullet->lifetimeMs, 2500);
    QCOMPARE(bullet->damage, 45);
    QVERIFY(!snipe.canShoot);
}

void TestWeapons::snipeFiresTwoSecondsAfterTrigger()
{
    QGraphicsScene scene;
    Player *owner = addPlayer(scene, QPointF(-500, -500));
    Snipe snipe(&scene, owner, false);
    QElapsedTimer clock;
    clock.start();

    snipe.shoot(middle(&snipe) + QPointF(100, 0));
    QCOMPARE(snipe.findChildren<QSoundEffect *>().size(), soundsPerShot());
    QVERIFY(bullets(scene).isEmpty());

    // Delays of two seconds and more run on coarse timers, up to a twentieth early.
    QTRY_COMPARE_WITH_TIMEOUT(bullets(scene).size(), 1, 3000);
    QVERIFY(clock.elapsed() >= 1900);
    QVERIFY(!snipe.canShoot);
    QTRY_VERIFY_WITH_TIMEOUT(snipe.canShoot, 1500);
    QVERIFY(clock.elapsed() >= 2565);
    QCOMPARE(bullets(scene).size(), 1);
}

void TestWeapons::followTrailsByAFifth_data()
{
    QTest::addColumn<bool>("followsOwner");
    QTest::addColumn<QPointF>("expected");

    // From the gun's middle (32, 32) to the avatar's (250, 150).
    QTest::newRow("held") << true << QPointF(43.6, 23.6);
    QTest::newRow("pick-up") << false << QPointF(0, 0);
}

void TestWeapons::followTrailsByAFifth()
{
    QFETCH(bool, followsOwner);
    QFETCH(QPointF, expected);

    QGraphicsScene scene;
    Player *owner = addPlayer(scene, QPointF(200, 100));
    Gun gun(&scene, owner, followsOwner);
    gun.setRotation(30);

    gun.followPlayer();

    QCOMPARE(gun.pos(), expected);
    QCOMPARE(gun.rotation(), 30.0);
}

void TestWeapons::touchingOwnerEmitsOnce_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QPointF>("offset");
    QTest::addColumn<int>("emits");

    QTest::newRow("gun on the figure") << 1 << QPointF(0, 0) << 1;
    QTest::newRow("shotgun on the figure") << 2 << QPointF(0, 0) << 1;
    QTest::newRow("snipe on the figure") << 3 << QPointF(0, 0) << 1;
    // The two rectangles overlap; the drawings do not.
    QTest::newRow("gun at the corner") << 1 << QPointF(-60, -60) << 0;
}

void TestWeapons::touchingOwnerEmitsOnce()
{
    QFETCH(int, type);
    QFETCH(QPointF, offset);
    QFETCH(int, emits);

    QGraphicsScene scene;
    Player *owner = addPlayer(scene, QPointF(0, 0));
    Gun *pickUp = makeWeapon(type, scene, owner, false);
    pickUp->setPos(QPointF(50, 50) + offset - (middle(pickUp) - pickUp->pos()));
    const QPointF place = pickUp->pos();
    QSignalSpy touched(pickUp, &Gun::collidedWithPlayer);

    for (int tick = 0; tick < 3; ++tick)
        pickUp->followPlayer();

    QVERIFY(pickUp->sceneBoundingRect().intersects(owner->sceneBoundingRect()));
    QCOMPARE(touched.size(), emits);
    if (emits)
        QCOMPARE(touched.first().first().toInt(), type);
    QCOMPARE(pickUp->pos(), place);
}

void TestWeapons::deletedOwnerIsLeftAlone_data()
{
    QTest::addColumn<int>("type");

    QTest::newRow("gun") << 1;
    QTest::newRow("shotgun") << 2;
    QTest::newRow("snipe") << 3;
}

void TestWeapons::deletedOwnerIsLeftAlone()
{
    QFETCH(int, type);

    QGraphicsScene scene;
    auto *owner = addPlayer(scene, QPointF(200, 100));
    Gun *weapon = makeWeapon(type, scene, owner);
    const QPointF muzzle = middle(weapon);
    weapon->shoot(muzzle + QPointF(100, 0));
    const qsizetype fired = bullets(scene).size();

    delete owner;
    weapon->followPlayer();
    weapon->canShoot = true;
    weapon->shoot(muzzle + QPointF(0, 100));
    if (auto *snipe = qobject_cast<Snipe *>(weapon))
        snipe->fire();

    QCOMPARE(weapon->pos(), QPointF(0, 0));
    QCOMPARE(weapon->rotation(), 90.0);
    QCOMPARE(bullets(scene).size(), fired);
    QVERIFY(weapon->followTimer->isActive());
}

QTEST_MAIN(TestWeapons)
#include "tst_weapons.moc"
