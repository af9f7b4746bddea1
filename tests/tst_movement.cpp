#include "player.h"

#include <QGraphicsScene>
#include <QGraphicsView>
#include <QTest>
#include <QTimer>

#include <cmath>

// The walk of an avatar, one tick at a time.
class TestMovement : public QObject
{
    Q_OBJECT

private slots:
    void oneStep_data();
    void oneStep();
    void newTargetTakesOverAtOnce();
    void arrivesAndStops();
    void viewTrailsOnlyTheLocalAvatar();
    void localAvatarWithoutViewWalks();
};

void TestMovement::oneStep_data()
{
    QTest::addColumn<QPointF>("target");
    QTest::addColumn<int>("speed");
    QTest::addColumn<QPointF>("corner");
    QTest::addColumn<bool>("stillWalking");

    // The avatar's centre starts at (50, 50).
    QTest::newRow("far: capped at speed") << QPointF(1050, 50) << 10 << QPointF(10, 0) << true;
    QTest::newRow("far diagonal: speed in a straight line")
        << QPointF(1050, 1050) << 10 << QPointF(10 / std::sqrt(2.0), 10 / std::sqrt(2.0)) << true;
    QTest::newRow("near: a tenth of the way") << QPointF(80, 10) << 10 << QPointF(3, -4) << true;
    QTest::newRow("custom speed") << QPointF(50, -950) << 25 << QPointF(0, -25) << true;
    QTest::newRow("speed 0 stands") << QPointF(500, 500) << 0 << QPointF(0, 0) << true;
    QTest::newRow("exactly 1 away is not there yet")
        << QPointF(50.5, 49.5) << 10 << QPointF(0.05, -0.05) << true;
    QTest::newRow("just under 1 snaps") << QPointF(50.5, 50.49) << 10 << QPointF(0.5, 0.49)
                                        << false;
    QTest::newRow("already there") << QPointF(50, 50) << 10 << QPointF(0, 0) << false;
}

void TestMovement::oneStep()
{
    QFETCH(QPointF, target);
    QFETCH(int, speed);
    QFETCH(QPointF, corner);
    QGraphicsScene scene;
    Player avatar(&scene, QPointF(0, 0));
    avatar.speed = speed;
    avatar.moveTo(target);
    QCOMPARE(avatar.moveTimer->interval(), 16);
    avatar.moveStep();
    QCOMPARE(avatar.pos().x(), corner.x());
    QCOMPARE(avatar.pos().y(), corner.y());
    QTEST(avatar.moveTimer->isActive(), "stillWalking");
}

void TestMovement::newTargetTakesOverAtOnce()
{
    QGraphicsScene scene;
    Player avatar(&scene, QPointF(0, 0));
    avatar.moveTo(QPointF(1050, 50));
    avatar.moveTo(QPointF(50, 1050));
    avatar.moveStep();
    QCOMPARE(avatar.pos(), QPointF(0, 10));
}

void TestMovement::arrivesAndStops()
{
    QGraphicsScene scene;
    Player avatar(&scene, QPointF(-40, 30));
    avatar.moveTo(QPointF(-3000.5, 2500));
    int ticks = 0;
    while (avatar.moveTimer->isActive() && ticks < 1000) {
        avatar.moveStep();
        ++ticks;
    }
    QCOMPARE(avatar.pos(), QPointF(-3050.5, 2450));
    QVERIFY(ticks < 1000);
}

void TestMovement::viewTrailsOnlyTheLocalAvatar()
{
    QGraphicsScene scene(-2000, -2000, 4000, 4000);
    QGraphicsView view(&scene);
    view.resize(400, 300);
    Player local(&scene, QPointF(500, 500));
    Player other(&scene, QPointF(-500, -500));
    scene.addItem(&local);
    scene.addItem(&other);
    local.isLocal = true;
    view.centerOn(QPointF(0, 0));
    const QPointF start = view.mapToScene(view.viewport()->rect().center());

    other.moveTo(QPointF(0, 0));
    other.moveStep();
    QCOMPARE(view.mapToScene(view.viewport()->rect().center()), start);

    local.moveTo(QPointF(1550, 550));
    local.moveStep();
    // One tick behind: centred where the avatar stood before the step.
    const QPointF centre = view.mapToScene(view.viewport()->rect().center());
    QVERIFY(qAbs(centre.x() - 550) <= 1 && qAbs(centre.y() - 550) <= 1);
    QCOMPARE(local.pos(), QPointF(510, 500));
}

void TestMovement::localAvatarWithoutViewWalks()
{
    Player avatar(nullptr, QPointF(0, 0));
    avatar.isLocal = true;
    avatar.moveTo(QPointF(1050, 50));
    avatar.moveStep();
    QCOMPARE(avatar.pos(), QPointF(10, 0));
}

QTEST_MAIN(TestMovement)
#include "tst_movement.moc"
