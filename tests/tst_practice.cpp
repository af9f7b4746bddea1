// SPDX-License-Identifier: GPL-3.0-or-later
#include "gun.h"
#include "mainwindow.h"
#include "perkcard.h"
#include "player.h"
#include "practicetoolview.h"

#include <QtTest>
#include <QtWidgets>

// The practice tool: its weapons, the opponent, resets and perk cards.
class TestPractice : public QObject
{
    Q_OBJECT
    PracticeToolView *view = nullptr;

    static void tick(QTimer *timer) { QMetaObject::invokeMethod(timer, "timeout"); }

    void click(QPointF at)
    {
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(at));
    }

    // The control on the top edge from this x on; the other tests find them there.
    void press(qreal x) { click({x + 20, 10}); }

    void pick(PerkCard *card) { click(card->mapToScene(60, 150)); }
    // Bottom first: of items at equal depth the later lies on top.
    template <class T> QList<T *> itemsOf()
    {
        QList<T *> found;
        for (QGraphicsItem *item : view->scene->items(Qt::AscendingOrder))
            if (auto *wanted = dynamic_cast<T *>(item))
                found.append(wanted);
        return found;
    }

    // A new row from the "add stats" button, the perk on its top card.
    PerkCard *deal(const char *perk, double multiplier)
    {
        press(700);
        PerkCard *card = itemsOf<PerkCard>().last();
        card->perkName = perk;
        card->perkValues = {{perk, multiplier}};
        return card;
    }

private slots:
    void init()
    {
        view = new PracticeToolView;
        view->resize(800, 600);
        view->show();
    }

    void cleanup() { delete view; }

    // The lobby's button opens the tool with no weapon and no opponent, whose avatar shows
    // the defaults until it takes the stats chosen there.
    void opening()
    {
        MainWindow window;
        window.stats = {120, 7, 9, 3};
        QMetaObject::invokeMethod(window.findChild<QObject *>("practice"), "click");
        PracticeToolView *tool = window.practiceView;
        QVERIFY(!tool->gun && !tool->enemy);
        QCOMPARE(tool->statsText->toPlainText(), "HP: 100\nSpeed: 10\nDamage: 5\nDefense: 10");
        QTRY_COMPARE_WITH_TIMEOUT(tool->statsText->toPlainText(),
                                  "HP: 120\nSpeed: 7\nDamage: 9\nDefense: 3", 500);
    }

    void opponent_data()
    {
        QTest::addColumn<bool>("walks");
        QTest::addColumn<bool>("armed");
        for (int i = 0; i < 4; ++i)
            QTest::addRow("walks %d armed %d", i & 1, i >> 1) << bool(i & 1) << bool(i & 2);
    }

    void opponent()
    {
        QFETCH(bool, walks);
        QFETCH(bool, armed);
        if (walks)
            click({525, 20});
        if (armed)
            click({525, 40});
        press(370);
        QCOMPARE(bool(view->enemyMoveTimer), walks);
        QCOMPARE(bool(view->enemyGun) && bool(view->enemyShootTimer), armed);
        if (armed) { // it fires only at a living avatar whose user holds a weapon
            tick(view->enemyShootTimer);
            view->player->alive = false;
            press(0);
            tick(view->enemyShootTimer);
            QVERIFY(view->enemyGun->canShoot);
            view->player->alive = true;
            tick(view->enemyShootTimer);
            QVERIFY(!view->enemyGun->canShoot);
        }
        view->enemy->hp = 40;
        const int effects = itemsOf<QGraphicsObject>().size();
        press(370);
        QCOMPARE(itemsOf<QGraphicsObject>().size(), effects + 1); // the death animation
        QVERIFY(view->enemy->pos() == QPointF(400, 400) && view->enemy->hp == 100);
        // Ticks and reports of a cleared opponent may still come before its deletion.
        Player *cleared = view->enemy;
        const QList<QTimer *> timers = {view->enemyMoveTimer, view->enemyShootTimer};
        emit cleared->died();
        const int items = view->scene->items().size();
        for (int i = 0; i < 16; ++i)
            tick(timers[i % 2]);
        emit cleared->damage_received(7);
        QCOMPARE(view->scene->items().size(), items);
    }
    // A fresh weapon ends a cooldown. Rows of cards stack, a pick takes the top row and
    // boosts what the avatar has now, and a reset drops weapon and perks, not the opponent.
    void weaponsPerksAndReset()
    {
        for (auto [x, type] : {std::pair(0, 1), {0, 1}, {100, 2}, {220, 3}}) {
            press(x);
            QCOMPARE(view->gun->type, type);
            QVERIFY(view->gun->canShoot);
            view->gun->canShoot = false;
        }
        press(370);
        Player *enemy = view->enemy, *old = view->player;
        QSignalSpy reports(old, &Player::damage_received);
        old->takeDamage(10); // 100 -> 90 through defense 10
        PerkCard *card = deal("Speed Boost", 3.0);
        const QList<PerkCard *> bottom = itemsOf<PerkCard>();
        QCOMPARE(deal("Health Boost", 1.5)->pos(), card->pos());
        pick(card);
        QCOMPARE(itemsOf<PerkCard>(), bottom);
        QCOMPARE(view->statsText->toPlainText(), "HP: 135\nSpeed: 10\nDamage: 5\nDefense: 10");
        QTRY_COMPARE_WITH_TIMEOUT(reports.value(0).value(0).toInt(), 10, 500); // the hit alone
        press(760);
        QVERIFY(view->player != old && !view->gun && view->enemy == enemy);
        QCOMPARE(view->statsText->toPlainText(), "HP: 100\nSpeed: 10\nDamage: 5\nDefense: 10");
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        pick(card);
        QVERIFY(itemsOf<PerkCard>().isEmpty() && view->player->speed == 10);
    }

    void perksAtRollEdges_data()
    {
        QTest::addColumn<int>("roll");
        QTest::addColumn<int>("damage");
        QTest::addColumn<QString>("shown");
        const char *shown[] = {"HP: 110\nSpeed: 11\nDamage: 5", "HP: 150\nSpeed: 15\nDamage: 7",
                               "HP: 200\nSpeed: 20\nDamage: 10", "HP: 300\nSpeed: 30\nDamage: 15"};
        for (auto [roll, rarity] : {std::pair(49, 0), {50, 1}, {79, 1}, {80, 2}, {94, 2}, {95, 3}})
            QTest::addRow("roll %d", roll) << roll << 5 << shown[rarity];
        QTest::newRow("bounded") << 95 << (1 << 30) << "HP: 300\nSpeed: 30\nDamage: 2147483647";
    }

    void perksAtRollEdges()
    {
        QFETCH(int, roll);
        QFETCH(int, damage);
        QFETCH(QString, shown);
        const double multipliers[] = {1.1, 1.5, 2.0, 3.0};
        view->player->damage = damage;
        for (const char *perk : {"Speed Boost", "Damage Boost", "Health Boost"})
            pick(deal(perk, multipliers[PerkCard::rarityForRoll(roll)]));
        QCOMPARE(view->statsText->toPlainText(), shown + "\nDefense: 10");
    }
};

QTEST_MAIN(TestPractice)
#include "tst_practice.moc"
