#include "client.h"
#include "mainwindow.h"
#include "player.h"

#include <QProcess>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

// The built relay and real clients together, as two friends meet them.
class TestEndToEnd : public QObject
{
    Q_OBJECT

    static int id(const Client *client) { return client->players.key(client->localPlayer, -1); }

private slots:
    // The relay on a port of its own, the players sent there by address and by name as
    // --server sends them: they meet, fight to the death, come back and walk.
    void twoFriendsPlayThroughTheRelay()
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost));
        const quint16 port = probe.serverPort();
        probe.close();
        QVERIFY(port != Client::serverPort);
        QProcess relay;
        relay.setReadChannel(QProcess::StandardError);
        relay.start(QCoreApplication::applicationDirPath() + "/../vorlen-server",
                    {"--port", QString::number(port)});
        QVERIFY(relay.waitForReadyRead()); // listening
        MainWindow first, second;
        first.server = *ServerAddress::parse("127.0.0.1:" + QString::number(port));
        second.server = *ServerAddress::parse("localhost:" + QString::number(port));
        for (MainWindow *window : {&first, &second}) {
            window->findChild<QPushButton *>("connect")->click();
            QTRY_VERIFY(window->client->localPlayer);
        }
        Client *shooter = first.client, *victimSide = second.client;
        const QList<int> both{id(shooter), id(victimSide)};
        QTRY_COMPARE(shooter->players.keys(), both);
        QTRY_COMPARE(victimSide->players.keys(), both);

        const int victimId = id(victimSide);
        Player *victim = victimSide->localPlayer;
        // Both avatars stand at the spawn point, so the first bullet hits.
        shooter->sendData(MsgSetup, "2;60");
        shooter->sendData(MsgWeapon, "1;1");
        Player *shooterThere = victimSide->players.value(id(shooter));
        QTRY_VERIFY(victimSide->playerGuns.contains(shooterThere));
        QTRY_COMPARE(shooterThere->damage, 60);

        // A bystander on the relay hears whatever the victim's client says from now on.
        QTcpSocket bystander;
        bystander.connectToHost(QHostAddress::LocalHost, port);
        QByteArray heard;
        const QByteArray victimLine = 'x' + QByteArray::number(victimId) + ';';
        const auto fromVictim = [&] {
            QByteArrayList lines;
            for (const QByteArray &line : (heard += bystander.readAll()).split('\n'))
                // Introductions and position reports aside, which the relay sends anyway.
                if (line.mid(1).startsWith(victimLine) && !QByteArray("169").contains(line[0]))
                    lines.append(line);
            return lines;
        };
        QTRY_VERIFY(heard.append(bystander.readAll()).contains('\n'));
        const int bystanderId = Client::parse(heard.left(heard.indexOf('\n')))->id;
        bystander.write("9x0;3000;3000\n"); // out of the line of fire on every client
        for (const Client *client : {shooter, victimSide}) {
            QTRY_VERIFY(client->players.contains(bystanderId));
            QTRY_COMPARE(client->players.value(bystanderId)->pos(), QPointF(3000, 3000));
        }

        shooter->sendData(MsgShoot, "150;150");
        QTRY_COMPARE(fromVictim(),
                     QByteArrayList({'7' + victimLine + "120;0", '5' + victimLine + "0;0"}));
        QVERIFY(!victim->alive);
        QCOMPARE(victim->hp, -20);
        QTRY_VERIFY(!shooter->players.contains(victimId));
        QCOMPARE(victimSide->localPlayer, victim); // the dead figure stays

        second.respawnButton->click();
        QTRY_VERIFY(victimSide->localPlayer && victimSide->localPlayer->alive);
        QVERIFY(id(victimSide) != victimId);
        QTRY_VERIFY(shooter->players.contains(id(victimSide)));
        victimSide->sendData(MsgMove, "600;150");
        for (Player *avatar : {victimSide->localPlayer, shooter->players.value(id(victimSide))}) {
            QTRY_COMPARE(avatar->target, QPointF(600, 150));
            for (int tick = 0; tick < 500 && avatar->moveTimer->isActive(); ++tick)
                avatar->moveStep();
            QCOMPARE(avatar->pos(), QPointF(550, 100));
        }
        relay.terminate();
        QVERIFY(relay.waitForFinished());
    }
};

QTEST_MAIN(TestEndToEnd)
#include "tst_endtoend.moc"
