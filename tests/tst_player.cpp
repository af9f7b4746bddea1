// SPDX-License-Identifier: GPL-3.0-or-later
#include "player.h"
#include "roster.h"

#include <QtTest>
#include <QtWidgets>

#include <cmath>
#include <limits>

class TestPlayer : public QObject
{
    Q_OBJECT

    QGraphicsScene *scene = nullptr;
    Player *avatar = nullptr;

private slots:
    void init()
    {
        scene = new QGraphicsScene;
        scene->addItem(avatar = new Player(scene, {}));
    }

    void cleanup() { delete scene; }

    void moveStep_data()
    {
        QTest::addColumn<QPointF>("target");
        QTest::addColumn<QPointF>("pos");
        QTest::addColumn<bool>("walking");
        // The centre starts at (50, 50); the speed is 10.
        QTest::newRow("far: capped") << QPointF(1050, 50) << QPointF(10, 0) << true;
        QTest::newRow("diagonal") << QPointF(550, 550) << QPointF(10, 10) / M_SQRT2 << true;
        QTest::newRow("near: a tenth") << QPointF(80, 10) << QPointF(3, -4) << true;
        QTest::newRow("1.0 away") << QPointF(50.5, 49.5) << QPointF(0.05, -0.05) << true;
        QTest::newRow("snaps") << QPointF(50.5, 50.49) << QPointF(0.5, 0.49) << false;
    }

    void moveStep()
    {
        QFETCH(QPointF, target);
        avatar->speed = 10;
        avatar->isLocal = true;                // with no view to trail
        avatar->moveTo(QPointF(-1000, -1000)); // dropped at once
        avatar->moveTo(target);
        avatar->moveStep();
        QTEST(avatar->pos(), "pos");
        QTEST(avatar->moveTimer->isActive(), "walking");
    }

    void hit_data()
    {
        QTest::addColumn<int>("hp");
        QTest::addColumn<int>("damage");
        QTest::addColumn<int>("defense");
        QTest::addColumn<int>("after"); // health after two quick hits
        QTest::addColumn<int>("loss");  // reported once for both
        QTest::addColumn<int>("deaths");
        // The tag says who is hit, else a copy.
        QTest::newRow("100-10@10") << 100 << 10 << 10 << 80 << 20 << 0;
        QTest::newRow("100-10@100") << 100 << 10 << 100 << 90 << 10 << 0;
        QTest::newRow("3-10@10") << 3 << 10 << 10 << -15 << 18 << 0;
        QTest::newRow("1-1@10") << 1 << 1 << 10 << 0 << 1 << 0; // toward zero, both ways
        QTest::newRow("100-0@10") << 100 << 0 << 10 << 100 << 0 << 0;
        QTest::newRow("local") << 5 << 5 << 0 << -5 << 10 << 2;
        QTest::newRow("practice") << 5 << 5 << 0 << -5 << 10 << 2;
        QTest::newRow("dead practice") << 5 << 5 << 0 << -5 << 10 << 0;
        // Health saturates at the ends of int, and so does the loss between them.
        const int most = std::numeric_limits<int>::max();
        const int least = std::numeric_limits<int>::min();
        QTest::newRow("past the bottom") << 100 << most << 0 << least << most << 0;
        QTest::newRow("past the top") << least << least << 0 << most << least << 0;
    }

    void hit()
    {
        const QString who = QTest::currentDataTag();
        QFETCH(int, hp);
        QFETCH(int, damage);
        QFETCH(int, defense);
        QFETCH(int, loss);
        avatar->isLocal = who == "local";
        avatar->isPractice = who.endsWith("practice");
        avatar->alive = !who.startsWith("dead");
        avatar->hp = avatar->lastHp = hp;
        avatar->defense = defense;
        QSignalSpy reports(avatar, &Player::damage_received), died(avatar, &Player::died);
        avatar->takeDamage(damage);
        avatar->takeDamage(damage);
        QTEST(avatar->hp, "after");
        // The avatar, and each drop of blood on its own item: two at once, then two a tick
        // of its bleed for four ticks, for each hit.
        QCOMPARE(scene->items().size(), 1 + 2 * 4);
        for (QTimer *bleed : avatar->findChildren<QTimer *>())
            for (int tick = 0; tick < 5 && bleed->isActive(); ++tick)
                QMetaObject::invokeMethod(bleed, "timeout");
        QCOMPARE(scene->items().size(), 1 + 2 * 20);
        // A marker armed after the hits runs after their report and death steps.
        bool past = false;
        QTimer::singleShot(130, Qt::PreciseTimer, this, [&past] { past = true; });
        QTRY_VERIFY_WITH_TIMEOUT(past, 160);
        QCOMPARE(reports, loss ? QList<QVariantList>{{loss}} : QList<QVariantList>());
        QTEST(int(died.size()), "deaths");
        QCOMPARE(avatar->alive, !who.startsWith("dead") && died.isEmpty());
    }

    // A scene's roster holds the avatars standing on it, and no other scene's.
    void eachSceneHasItsOwnRoster()
    {
        QGraphicsScene practice;
        auto *dummy = new Player(&practice, {});
        practice.addItem(dummy);
        auto *idle = new Player(scene, {}); // made for the scene, not yet on it
        QCOMPARE(Roster::of(scene)->avatars(), QList<Player *>{avatar});
        QCOMPARE(Roster::of(&practice)->avatars(), QList<Player *>{dummy});
        QCOMPARE(Roster::of(scene), Roster::of(scene));

        practice.addItem(avatar);
        QCOMPARE(Roster::of(scene)->avatars(), QList<Player *>());
        QCOMPARE(Roster::of(&practice)->avatars(), (QList<Player *>{dummy, avatar}));
        delete dummy;
        QCOMPARE(Roster::of(&practice)->avatars(), QList<Player *>{avatar});
        scene->addItem(idle);
        practice.clear();
        QCOMPARE(Roster::of(&practice)->avatars(), QList<Player *>());
        QCOMPARE(Roster::of(scene)->avatars(), QList<Player *>{idle});
    }
};

QTEST_MAIN(TestPlayer)
#include "tst_player.moc"
