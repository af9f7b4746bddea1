#include "client.h"
#include "gun.h"
#include "player.h"
#include "relay.h"

#include <QGraphicsScene>
#include <QGraphicsTextItem>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <memory>

// The relay and real clients together, as players meet them.
class TestEndToEnd : public QObject
{
    Q_OBJECT

    struct Seat
    {
        QGraphicsScene scene;
        Client *client = nullptr;
        int id() const { return client->players.key(client->localPlayer, -1); }
    };

    std::unique_ptr<Relay> relay;
    Seat first;
    Seat second;

    bool seat(Seat &seat)
    {
        seat.client = new Client(&seat.scene, nullptr);
        return QTest::qWaitFor([&seat] { return seat.client->localPlayer != nullptr; });
    }

    static bool showsNumber(const QGraphicsScene &scene, const QString &text)
    {
        const QList<QGraphicsItem *> items = scene.items();
        return std::any_of(items.begin(), items.end(), [&text](QGraphicsItem *item) {
            auto *number = qgraphicsitem_cast<QGraphicsTextItem *>(item);
            return number && number->toPlainText() == text;
        });
    }

private slots:
    void init()
    {
        relay.reset(new Relay); // also ends the relay of a test whose set-up failed
        QVERIFY2(relay->listen(QHostAddress::LocalHost, Client::serverPort),
                 "port 7000 is taken: stop the relay before running the tests");
        QVERIFY(seat(first));
        QVERIFY(seat(second));
        QTRY_VERIFY(first.client->players.contains(second.id()));
        QTRY_VERIFY(second.client->players.contains(first.id()));
    }

    void cleanup()
    {
        delete first.client;
        delete second.client;
        first.scene.clear();
        second.scene.clear();
        relay.reset();
    }

    void moveWalksTheAvatarOnBothClients()
    {
        Player *here = first.client->localPlayer;
        Player *there = second.client->players.value(first.id());
        first.client->sendData(MsgMove, "600;150");
        QTRY_COMPARE(here->target, QPointF(600, 150));
        QTRY_COMPARE(there->target, QPointF(600, 150));
        QVERIFY(here->moveTimer->isActive());
        QVERIFY(there->moveTimer->isActive());
        for (Player *avatar : {here, there}) {
            for (int tick = 0; tick < 500 && avatar->moveTimer->isActive(); ++tick)
                avatar->moveStep();
            QCOMPARE(avatar->pos(), QPointF(550, 100));
        }
    }

    void fightToTheDeathAndBack()
    {
        const int victimId = second.id();
        Player *victim = second.client->localPlayer;
        // Both avatars stand at the spawn point, so the first bullet hits.
        first.client->sendData(MsgSetup, "2;60");
        first.client->sendData(MsgWeapon, "1;1");
        Player *shooterThere = second.client->players.value(first.id());
        QTRY_VERIFY(second.client->playerGuns.contains(shooterThere));
        QTRY_COMPARE(shooterThere->damage, 60);

        // A bystander on the relay hears whatever the victim's client says from now on.
        QTcpSocket bystander;
        bystander.connectToHost(QHostAddress::LocalHost, Client::serverPort);
        QByteArray heard;
        const QByteArray prefix = 'x' + QByteArray::number(victimId) + ';';
        const auto fromVictim = [&] {
            heard += bystander.readAll();
            QByteArrayList lines;
            for (const QByteArray &line : heard.split('\n')) {
                // Introductions and position reports aside, which the relay sends anyway.
                if (line.mid(1).startsWith(prefix) && !QByteArray("169").contains(line.at(0)))
                    lines.append(line);
            }
            return lines;
        };
        QTRY_VERIFY(heard.append(bystander.readAll()).contains('\n'));
        const int bystanderId = Client::parse(heard.left(heard.indexOf('\n')))->id;
        bystander.write("9x0;3000;3000\n"); // out of the line of fire on every client
        for (const Seat *seat : {&first, &second}) {
            QTRY_VERIFY(seat->client->players.contains(bystanderId));
            QTRY_COMPARE(seat->client->players.value(bystanderId)->pos(), QPointF(3000, 3000));
        }

        first.client->sendData(MsgShoot, "150;150");
        QTRY_COMPARE(fromVictim(), QByteArrayList({"7x" + prefix.mid(1) + "120;0",
                                                   "5x" + prefix.mid(1) + "0;0"}));
        QVERIFY(!victim->alive);
        QCOMPARE(victim->hp, -20);
        QTRY_VERIFY(showsNumber(first.scene, "120"));
        QTRY_VERIFY(showsNumber(second.scene, "120"));
        QTRY_VERIFY(!first.client->players.contains(victimId));
        QCOMPARE(second.client->localPlayer, victim); // the dead figure stays

        second.client->respawn();
        QTRY_VERIFY(second.client->localPlayer && second.client->localPlayer->alive);
        QVERIFY(second.id() != victimId);
        QTRY_VERIFY(first.client->players.contains(second.id()));
    }
};

QTEST_MAIN(TestEndToEnd)
#include "tst_endtoend.moc"
