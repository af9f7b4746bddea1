// SPDX-License-Identifier: GPL-3.0-or-later
#include "client.h"
#include "mainwindow.h"
#include "player.h"

#include <QtNetwork>
#include <QtTest>
#include <QtWidgets>

// The built relay and real clients together, as two friends meet them.
class TestEndToEnd : public QObject
{
    Q_OBJECT

    static int id(const Client *client) { return client->players.key(client->localPlayer, -1); }

private slots:
    // The relay on a port of its own, the players sent there by address and by name as
    // --server sends them: they meet, fight to the death and come back. A third, sent to a
    // name that does not resolve, is left unconnected like one whose server is absent, which
    // shows the connection error box at the first thing sent.
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
        MainWindow first, second, lost;
        first.server = *ServerAddress::parse("127.0.0.1:" + QString::number(port));
        second.server = *ServerAddress::parse("localhost:" + QString::number(port));
        lost.server = *ServerAddress::parse("arena.invalid");
        for (MainWindow *window : {&lost, &first, &second}) { // one after the other
            window->findChild<QPushButton *>("connect")->click();
            QTRY_VERIFY(window == &lost || window->client->localPlayer);
        }
        QTRY_COMPARE_WITH_TIMEOUT(lost.client->socket->state(), QAbstractSocket::UnconnectedState,
                                  20000);
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

        shooter->sendData(MsgShoot, "150;150");
        // The victim's client reports the loss and the death, which reach the shooter's.
        QTRY_VERIFY(!shooter->players.contains(victimId));
        QVERIFY(!victim->alive);
        QCOMPARE(victim->hp, -20);
        QStringList numbers;
        for (QGraphicsItem *item : shooter->scene->items())
            if (auto *number = qgraphicsitem_cast<QGraphicsTextItem *>(item))
                numbers << number->toPlainText();
        QCOMPARE(numbers, QStringList{"120"});

        second.respawnButton->click();
        QTRY_VERIFY(victimSide->localPlayer && victimSide->localPlayer->alive);
        QVERIFY(id(victimSide) != victimId);
        QTRY_VERIFY(shooter->players.contains(id(victimSide)));
        relay.terminate();
        QVERIFY(relay.waitForFinished());
    }
};

QTEST_MAIN(TestEndToEnd)
#include "tst_endtoend.moc"
