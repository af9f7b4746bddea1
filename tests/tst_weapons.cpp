// SPDX-License-Identifier: GPL-3.0-or-later
#include "bullet.h"
#include "player.h"
#include "shotgun.h"
#include "snipe.h"

#include <QtTest>
#include <QtWidgets>

#include <cmath>
#include <set>

// Weapons turning, cooling down and firing, and bullets flying and hitting.
class TestWeapons : public QObject
{
    Q_OBJECT
    QGraphicsScene *scene = nullptr;
    Player *owner = nullptr;
    Gun *addWeapon(int type)
    {
        if (type == 2)
            return new Shotgun(scene, owner, false);
        return type == 3 ? new Snipe(scene, owner, false) : new Gun(scene, owner, false);
    }

    QList<Bullet *> bullets() const // in the order fired
    {
        QList<Bullet *> found;
        for (QGraphicsItem *item : scene->items(Qt::AscendingOrder))
            if (auto *bullet = dynamic_cast<Bullet *>(item))
                found.append(bullet);
        return found;
    }

    static QPointF middle(const Gun *weapon) { return weapon->sceneBoundingRect().center(); }

private slots:
    void init()
    {
        scene = new QGraphicsScene;
        owner = new Player(scene, QPointF(200, 100));
        scene->addItem(owner);
    }

    void cleanup() { delete scene; }

    // Flights along +x through avatars stacked in the order given: a alive, d dead,
    // o the bullet's owner, z alive but below the others, h hidden, t fully transparent.
    // The hit, the avatar hit and its tick must be what the plain shape query finds.
    void flightMatchesShapeQuery_data()
    {
        QTest::addColumn<QList<QPointF>>("corners");
        QTest::addColumn<QString>("roles");
        QTest::addColumn<QPointF>("start");
        QTest::addColumn<int>("lifetime");
        QTest::addColumn<bool>("scenery"); // a tree across the path, before the avatars
        QTest::addColumn<QPoint>("hit");   // index into corners (-1 for none), and tick
        QTest::addColumn<int>("hp");       // of the avatar hit, 100 for none
        const QPointF here(100, 0), further(160, 0), level(0, 45);
        const auto row = [](const char *tag, QList<QPointF> corners, const char *roles, QPoint hit,
                            int hp, QPointF start = {0, 45}, int lifetime = 1000,
                            bool scenery = false) {
            QTest::newRow(tag) << corners << roles << start << lifetime << scenery << hit << hp;
        };
        row("one", {here}, "a", {0, 32}, 90);
        // The longer a bullet lives, the faster and stronger it is, in three bands.
        row("one, 999 ms", {here}, "a", {0, 62}, 95, level, 999);
        row("one, 2000 ms", {here}, "a", {0, 32}, 90, level, 2000);
        row("one, 2001 ms", {here}, "a", {0, 9}, 77, level, 2001);
        row("two overlapping", {here, here}, "aa", {1, 32}, 90);
        row("two, upper below by z", {here, here}, "az", {0, 32}, 90);
        row("dead in front", {here, further}, "da", {1, 47}, 90);
        row("owner in front", {here, further}, "oa", {1, 47}, 90);
        row("hidden in front", {here, further}, "ha", {1, 47}, 90);
        row("clear in front", {here, further}, "ta", {0, 32}, 90);
        row("through scenery", {further}, "a", {0, 47}, 90, level, 1000, true);
        row("transparent corner", {here}, "a", {-1, 0}, 100, {0, 2});
        // A lifetime of 0 ends after one tick.
        row("reached on the last tick", {here}, "a", {0, 1}, 95, {141, 45}, 0);
        row("short of it on the last tick", {here}, "a", {-1, 0}, 100, level, 0);
    }

    void flightMatchesShapeQuery()
    {
        QFETCH(QList<QPointF>, corners);
        QFETCH(QString, roles);
        QFETCH(QPointF, start);
        QFETCH(int, lifetime);
        QFETCH(bool, scenery);
        if (scenery) {
            auto *tree = scene->addPixmap(QPixmap(":/resources/tree2.png"));
            tree->setPos(60, -50);
            tree->setScale(2.5);
        }
        QList<Player *> avatars;
        Player *shooter = nullptr;
        for (int i = 0; i < corners.size(); ++i) {
            auto *avatar = new Player(scene, corners[i]);
            scene->addItem(avatar);
            avatar->alive = roles[i] != 'd';
            avatar->setZValue(roles[i] == 'z' ? -1 : 0);
            avatar->setVisible(roles[i] != 'h');
            avatar->setOpacity(roles[i] == 't' ? 0 : 1);
            shooter = roles[i] == 'o' ? avatar : shooter;
            avatars.append(avatar);
        }
        const int ticks = lifetime == 0 ? 1 : 100;
        // The plain query, on a bullet that the test moves itself.
        Bullet probe(scene, start, 0, shooter, lifetime, 5);
        probe.flightTimer->stop();
        scene->addItem(&probe);
        QPoint query(-1, 0);
        for (int tick = 1; tick <= ticks && query.x() < 0; ++tick) {
            probe.setPos(start + tick * QPointF(probe.velocityX, probe.velocityY));
            for (QGraphicsItem *item : probe.collidingItems(Qt::IntersectsItemShape)) {
                auto *player = dynamic_cast<Player *>(item);
                if (player && player != shooter && player->alive && query.x() < 0)
                    query = QPoint(avatars.indexOf(player), tick);
            }
        }
        scene->removeItem(&probe);

        auto *bullet = new Bullet(scene, start, 0, shooter, lifetime, 5);
        bullet->flightTimer->stop();
        scene->addItem(bullet);
        QPoint flight(-1, 0);
        for (int tick = 1; tick <= ticks && bullet->QGraphicsItem::scene(); ++tick) {
            bullet->flightStep();
            for (int i = 0; i < avatars.size() && flight.x() < 0; ++i)
                flight = avatars[i]->hp < 100 ? QPoint(i, tick) : flight;
        }
        QCOMPARE(!bullet->QGraphicsItem::scene(), flight.x() >= 0 || lifetime == 0);
        QCOMPARE(flight, query);
        QTEST(flight, "hit");
        QTEST(flight.x() >= 0 ? avatars[flight.x()]->hp : 100, "hp");
    }

    void aimTurnsEvenInCooldown_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QPointF>("offset");
        QTest::addColumn<QString>("picture");
        QTest::addColumn<double>("rotation");
        QTest::addColumn<int>("perShot");
        QTest::newRow("gun right") << 1 << QPointF(100, 100) << "gun" << 45.0 << 1;
        QTest::newRow("gun left") << 1 << QPointF(-100, -100) << "gun2" << 45.0 << 1;
        QTest::newRow("gun up") << 1 << QPointF(0, -100) << "gun" << -90.0 << 1;
        QTest::newRow("gun down") << 1 << QPointF(0, 100) << "gun" << 90.0 << 1;
        QTest::newRow("shotgun left") << 2 << QPointF(-100, 100) << "shotgun2" << 315.0 << 5;
        QTest::newRow("snipe left") << 3 << QPointF(-100, -100) << "snipe2" << 45.0 << 0;
    }

    void aimTurnsEvenInCooldown()
    {
        QFETCH(int, type);
        QFETCH(QPointF, offset);
        QFETCH(QString, picture);
        Gun *weapon = addWeapon(type);
        const QPointF muzzle = middle(weapon);
        weapon->shoot(muzzle + QPointF(100, 0));
        weapon->shoot(muzzle + offset);
        QCOMPARE(weapon->pixmap().toImage(), QPixmap(":/resources/" + picture + ".png").toImage());
        QTEST(weapon->rotation(), "rotation");
        QTEST(int(bullets().size()), "perShot");
        for (const Bullet *bullet : bullets())
            QCOMPARE(bullet->pos(), muzzle);
    }

    // The gun fires one bullet with a little spread, the shotgun five slower, weaker
    // pellets; the snipe fires later, from where it is then, at the newest target.
    void whatEachWeaponFires()
    {
        Gun *gun = addWeapon(1);
        Gun *shotgun = addWeapon(2);
        std::set<int> halfDegrees;
        for (int shot = 0; shot < 60; ++shot) {
            gun->canShoot = shotgun->canShoot = true;
            gun->shoot(middle(gun) + QPointF(100, 0));
            shotgun->shoot(middle(shotgun) + QPointF(100, 0));
            const QList<Bullet *> fired = bullets();
            QCOMPARE(fired.size(), 6);
            QCOMPARE(QList<int>({fired[0]->lifetimeMs, fired[0]->damage, fired[5]->damage}),
                     QList<int>({1000, 10, 5}));
            QCOMPARE(std::hypot(fired[5]->velocityX, fired[5]->velocityY), 2.0);
            halfDegrees.insert(
                qRound(std::atan2(fired[0]->velocityY, fired[0]->velocityX) * 360 / M_PI));
            for (int i = 1; i <= 5; ++i)
                QVERIFY(fired[i]->lifetimeMs >= 500 && fired[i]->lifetimeMs <= 599);
            qDeleteAll(fired);
        }
        QCOMPARE(halfDegrees, (std::set<int>{-2, -1, 0, 1}));
        auto *snipe = new Snipe(scene, owner, false);
        snipe->shoot(QPointF(-300, 0));
        snipe->setPos(300, 200);
        snipe->shoot(middle(snipe) + QPointF(300, -400));
        snipe->fire();
        QCOMPARE(bullets().size(), 1);
        const Bullet *bullet = bullets().first();
        QCOMPARE(bullet->pos(), middle(snipe));
        QCOMPARE(QPointF(bullet->velocityX, bullet->velocityY), QPointF(9, -12));
        QCOMPARE(bullet->damage, 25);
    }

    void followsAndTouchesOwnerUntilGone()
    {
        auto *held = new Gun(scene, owner, true);
        auto *onFigure = new Snipe(scene, owner, false);
        onFigure->setPos(166, 134); // its middle at (230, 150), on the avatar's figure
        QSignalSpy touched(onFigure, &Gun::collidedWithPlayer);
        for (Gun *weapon : QList<Gun *>{held, onFigure, onFigure})
            weapon->followPlayer();
        QCOMPARE(held->pos(), QPointF(43.6, 23.6));   // a fifth from (32, 32) to (250, 150)
        QCOMPARE(onFigure->pos(), QPointF(166, 134)); // a pick-up stays put
        QCOMPARE(touched, QList<QVariantList>{{3}});
        delete owner;
        held->followPlayer();
        QCOMPARE(held->pos(), QPointF(43.6, 23.6));
        held->shoot(QPointF(0, 0));
        QVERIFY(bullets().isEmpty());
    }
};

QTEST_MAIN(TestWeapons)
#include "tst_weapons.moc"
