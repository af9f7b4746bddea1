#include "player.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QGraphicsWidget>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

namespace {

// The timers that `player` got since `before` was taken.
QList<QTimer *> newTimers(const Player &player, const QList<QTimer *> &before)
{
    QList<QTimer *> added;
    for (QTimer *timer : player.findChildren<QTimer *>())
        if (!before.contains(timer))
            added.append(timer);
    return added;
}

// Starts a fire on `player` and hands back the timer that drives it.
QTimer *ignite(Player &player)
{
    const QList<QTimer *> before = player.findChildren<QTimer *>();
    player.effect("fire");
    const QList<QTimer *> added = newTimers(player, before);
    return added.size() == 1 ? added.first() : nullptr;
}

void tick(QTimer *timer)
{
    QMetaObject::invokeMethod(timer, "timeout");
}

int flames(const QGraphicsScene &scene)
{
    int count = 0;
    for (QGraphicsItem *item : scene.items())
        if (item->isWidget() && item->childItems().size() == 1 &&
            dynamic_cast<QGraphicsPixmapItem *>(item->childItems().first()))
            ++count;
    return count;
}

} // namespace

class TestEffect : public QObject
{
    Q_OBJECT

private slots:
    void burnAtFourthTick_data();
    void burnAtFourthTick();
    void effectsRunSideBySide();
    void deletedAvatarTakesNoBurn();
    void otherNamesDoNothing_data();
    void otherNamesDoNothing();
    void burnCanKill();
};

void TestEffect::burnAtFourthTick_data()
{
    QTest::addColumn<int>("hp");
    QTest::addColumn<int>("after");
    QTest::newRow("100") << 100 << 77;
    QTest::newRow("50") << 50 << 36;
    QTest::newRow("4") << 4 << 0;
    QTest::newRow("0") << 0 << -4;
    QTest::newRow("-7") << -7 << -10;
}

void TestEffect::burnAtFourthTick()
{
    QFETCH(int, hp);
    QFETCH(int, after);
    QGraphicsScene scene;
    Player player(&scene, QPointF(100, 100));
    scene.addItem(&player);
    QTimer *fire = ignite(player);
    QVERIFY(fire);
    QCOMPARE(fire->interval(), 500);
    QCOMPARE(flames(scene), 2);

    player.hp = hp;
    for (int i = 0; i < 3; ++i)
        tick(fire);
    QCOMPARE(player.hp, hp);
    QCOMPARE(flames(scene), 8);
    tick(fire);
    QCOMPARE(player.hp, after);
    QCOMPARE(flames(scene), 10);
    QVERIFY(!fire->isActive());
}

// The second burn is computed from the health that the first one left.
void TestEffect::effectsRunSideBySide()
{
    QGraphicsScene scene;
    Player player(&scene, QPointF(100, 100));
    scene.addItem(&player);
    QTimer *first = ignite(player);
    QTimer *second = ignite(player);
    QVERIFY(first && second && first != second);
    for (int i = 0; i < 4; ++i) {
        tick(first);
        tick(second);
    }
    QCOMPARE(player.hp, 58); // 100 -25 at defense 10 -> 77, then -20 -> 58
    QCOMPARE(flames(scene), 20);
}

void TestEffect::deletedAvatarTakesNoBurn()
{
    QGraphicsScene scene;
    auto *player = new Player(&scene, QPointF(100, 100));
    scene.addItem(player);
    QPointer<QTimer> fire = ignite(*player);
    for (int i = 0; i < 3; ++i)
        tick(fire);
    delete player;
    QVERIFY(fire.isNull());

    // The flames owe nothing to the avatar and rise to their end.
    QCOMPARE(flames(scene), 8);
    for (int i = 0; i < 31; ++i)
        for (QGraphicsItem *item : scene.items())
            if (item->isWidget())
                for (QTimer *rise : static_cast<QGraphicsWidget *>(item)->findChildren<QTimer *>())
                    tick(rise);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(flames(scene), 0);
}

void TestEffect::otherNamesDoNothing_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name : {"Fire", "FIRE", "", "fire "})
        QTest::newRow(name) << QString(name);
}

void TestEffect::otherNamesDoNothing()
{
    QFETCH(QString, name);
    QGraphicsScene scene;
    Player player(&scene, QPointF(100, 100));
    scene.addItem(&player);
    const QList<QTimer *> before = player.findChildren<QTimer *>();
    player.effect(name);
    QVERIFY(newTimers(player, before).isEmpty());
    QCOMPARE(scene.items().size(), 1);
}

void TestEffect::burnCanKill()
{
    QGraphicsScene scene;
    Player player(&scene, QPointF(100, 100));
    scene.addItem(&player);
    player.isPractice = true;
    player.hp = 4;
    QSignalSpy died(&player, &Player::died);
    QTimer *fire = ignite(player);
    for (int i = 0; i < 4; ++i)
        tick(fire);
    QCOMPARE(player.hp, 0);
    QTRY_COMPARE_WITH_TIMEOUT(died.count(), 1, 1000);
    QVERIFY(!player.alive);
}

QTEST_MAIN(TestEffect)
#include "tst_effect.moc"
