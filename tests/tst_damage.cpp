#include "player.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

namespace {

// Returns once every single shot that was armed up to `ms` ago has run: a
// marker armed now with the same delay runs after all of them.
void waitPast(int ms)
{
    bool passed = false;
    QObject context;
    QTimer::singleShot(ms, &context, [&passed] { passed = true; });
    QTRY_VERIFY(passed);
}

void tick(QTimer *timer)
{
    QMetaObject::invokeMethod(timer, "timeout");
}

QList<QGraphicsRectItem *> drops(const QGraphicsScene &scene)
{
    QList<QGraphicsRectItem *> found;
    for (QGraphicsItem *item : scene.items())
        if (auto *drop = dynamic_cast<QGraphicsRectItem *>(item))
            found.append(drop);
    return found;
}

int dropsAround(const QGraphicsScene &scene, QPointF centre)
{
    int count = 0;
    for (const QGraphicsRectItem *drop : drops(scene)) {
        const QPointF offset = drop->scenePos() - centre;
        if (std::abs(offset.x()) <= 20 && std::abs(offset.y()) <= 20)
            ++count;
    }
    return count;
}

int deathAnimations(const QGraphicsScene &scene)
{
    int count = 0;
    for (QGraphicsItem *item : scene.items())
        if (item->parentItem() && dynamic_cast<QGraphicsPixmapItem *>(item))
            ++count;
    return count;
}

Player *addPlayer(QGraphicsScene &scene, bool isLocal = false, bool isPractice = false)
{
    auto *player = new Player(&scene, QPointF(0, 0));
    player->isLocal = isLocal;
    player->isPractice = isPractice;
    scene.addItem(player);
    return player;
}

} // namespace

class TestDamage : public QObject
{
    Q_OBJECT

private slots:
    void lossFollowsDefence_data();
    void lossFollowsDefence();
    void hitsWithinOneReportAreSummed();
    void deathStep_data();
    void deathStep();
    void secondHitBeforeDeathStepDiesTwice();
    void bleedGivesTenDropsPerHitFollowingTheAvatar();
    void clearingSceneDuringEffectsIsSafe();
};

void TestDamage::lossFollowsDefence_data()
{
    QTest::addColumn<int>("hpBefore");
    QTest::addColumn<int>("damage");
    QTest::addColumn<int>("defense");
    QTest::addColumn<int>("hpAfter");
    QTest::addColumn<int>("lost");

    QTest::newRow("100 - 10 @ 10") << 100 << 10 << 10 << 90 << 10;
    QTest::newRow("100 - 5 @ 10") << 100 << 5 << 10 << 95 << 5;
    QTest::newRow("100 - 7 @ 0") << 100 << 7 << 0 << 93 << 7;
    QTest::newRow("100 - 10 @ 100") << 100 << 10 << 100 << 95 << 5;
    QTest::newRow("300 - 30 @ 40") << 300 << 30 << 40 << 278 << 22;
    QTest::newRow("3 - 10 @ 10") << 3 << 10 << 10 << -6 << 9;
    QTest::newRow("1 - 1 @ 10") << 1 << 1 << 10 << 0 << 1;
    QTest::newRow("100 - 0 @ 10") << 100 << 0 << 10 << 100 << 0;
}

void TestDamage::lossFollowsDefence()
{
    QFETCH(int, hpBefore);
    QFETCH(int, damage);
    QFETCH(int, defense);
    QFETCH(int, hpAfter);
    QFETCH(int, lost);

    QGraphicsScene scene;
    Player *player = addPlayer(scene);
    player->hp = player->lastHp = hpBefore;
    player->defense = defense;
    QSignalSpy reports(player, &Player::damage_received);

    player->takeDamage(damage);

    QCOMPARE(player->hp, hpAfter);
    QCOMPARE(drops(scene).size(), 2);
    QVERIFY(reports.isEmpty());
    waitPast(100);
    QCOMPARE(reports.size(), lost ? 1 : 0);
    if (lost)
        QCOMPARE(reports.first().first().toInt(), lost);
    QCOMPARE(player->lastHp, hpAfter);
}

void TestDamage::hitsWithinOneReportAreSummed()
{
    QGraphicsScene scene;
    Player *player = addPlayer(scene);
    QSignalSpy reports(player, &Player::damage_received);

    player->takeDamage(10);
    player->takeDamage(10);
    waitPast(100);

    QCOMPARE(reports.size(), 1);
    QCOMPARE(reports.first().first().toInt(), 20);
}

void TestDamage::deathStep_data()
{
    QTest::addColumn<bool>("isLocal");
    QTest::addColumn<bool>("isPractice");
    QTest::addColumn<bool>("alive");
    QTest::addColumn<int>("hp");
    QTest::addColumn<int>("defense");
    QTest::addColumn<bool>("dies");
    QTest::addColumn<bool>("playsDeath");

    // Every row takes one hit of 5.
    QTest::newRow("practice user at 0") << true << true << true << 5 << 0 << true << true;
    QTest::newRow("practice user at 0.45") << true << true << true << 5 << 10 << true << true;
    QTest::newRow("practice user at 1") << true << true << true << 6 << 0 << false << false;
    QTest::newRow("practice opponent") << false << true << true << 5 << 0 << true << false;
    QTest::newRow("arena user") << true << false << true << 5 << 0 << true << false;
    QTest::newRow("arena copy of another") << false << false << true << 5 << 0 << false << false;
    QTest::newRow("already dead") << true << true << false << 5 << 0 << false << false;
}

void TestDamage::deathStep()
{
    QFETCH(bool, isLocal);
    QFETCH(bool, isPractice);
    QFETCH(bool, alive);
    QFETCH(int, hp);
    QFETCH(int, defense);
    QFETCH(bool, dies);
    QFETCH(bool, playsDeath);

    QGraphicsScene scene;
    Player *player = addPlayer(scene, isLocal, isPractice);
    player->alive = alive;
    player->hp = player->lastHp = hp;
    player->defense = defense;
    QSignalSpy died(player, &Player::died);
    bool aliveAtReport = false;
    connect(player, &Player::damage_received, player,
            [&aliveAtReport, player] { aliveAtReport = player->alive; });

    player->takeDamage(5);
    QVERIFY(died.isEmpty());
    waitPast(120);

    QCOMPARE(died.size(), dies ? 1 : 0);
    QCOMPARE(player->alive, alive && !dies);
    QCOMPARE(aliveAtReport, alive);
    QCOMPARE(deathAnimations(scene), playsDeath ? 1 : 0);
    QVERIFY(player->isVisible());
    if (playsDeath)
        QCOMPARE(player->pixmap().toImage(), QPixmap(":/resources/dead_player.png").toImage());
}

void TestDamage::secondHitBeforeDeathStepDiesTwice()
{
    QGraphicsScene scene;
    Player *player = addPlayer(scene, true, true);
    player->hp = 5;
    QSignalSpy died(player, &Player::died);

    player->takeDamage(10);
    player->takeDamage(10);
    waitPast(120);

    QCOMPARE(died.size(), 2);
    QCOMPARE(deathAnimations(scene), 2);
}

void TestDamage::bleedGivesTenDropsPerHitFollowingTheAvatar()
{
    QGraphicsScene scene;
    Player *player = addPlayer(scene);
    const QList<QTimer *> before = player->findChildren<QTimer *>();

    player->takeDamage(1);
    player->takeDamage(1);
    QCOMPARE(dropsAround(scene, QPointF(50, 50)), 4);

    QList<QTimer *> bleeds = player->findChildren<QTimer *>();
    for (QTimer *timer : before)
        bleeds.removeOne(timer);
    QCOMPARE(bleeds.size(), 2);
    for (int round = 1; round <= 4; ++round) {
        player->setPos(player->pos() + QPointF(300, 0));
        for (QTimer *bleed : bleeds) {
            QCOMPARE(bleed->interval(), 500);
            QVERIFY(bleed->isActive());
            tick(bleed);
        }
        QCOMPARE(dropsAround(scene, player->pos() + QPointF(50, 50)), 4);
    }

    QCOMPARE(drops(scene).size(), 20);
    for (QTimer *bleed : bleeds)
        QVERIFY(!bleed->isActive());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(player->findChildren<QTimer *>(), before);
}

void TestDamage::clearingSceneDuringEffectsIsSafe()
{
    QGraphicsScene scene;
    QPointer<Player> player = addPlayer(scene, true, true);
    player->hp = 5;
    QSignalSpy died(player, &Player::died);

    player->takeDamage(10);
    QTRY_COMPARE(died.size(), 1);
    QCOMPARE(deathAnimations(scene), 1);
    QVERIFY(!drops(scene).isEmpty());

    scene.clear();
    QVERIFY(player.isNull());
    // Past the last fall of a drop and the end of the animation, whose coarse
    // timer may run late by a twentieth.
    waitPast(2300);
    QVERIFY(scene.items().isEmpty());
}

QTEST_MAIN(TestDamage)
#include "tst_damage.moc"
