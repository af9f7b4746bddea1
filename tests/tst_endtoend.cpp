// SPDX-License-Identifier: GPL-3.0-or-later
#include "client.h"
#include "lanserverlist.h"
#include "mainwindow.h"
#include "player.h"
#include "serverfield.h"
#include "view.h"

#include "errorboxes.h"

#include <QtNetwork>
#include <QtTest>
#include <QtWidgets>
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace {

bool ip(const QStringList &arguments)
{
    QProcess ip;
    ip.start("ip", arguments);
    return ip.waitForFinished() && ip.exitStatus() == QProcess::NormalExit && ip.exitCode() == 0;
}

} // namespace

// The built relay and real clients together, as two friends meet them.
class TestEndToEnd : public QObject
{
    Q_OBJECT

    static int id(const Client *client) { return client->players.key(client->localPlayer, -1); }

private slots:
    // The server each window remembers goes to a place of the test's own.
    void initTestCase()
    {
        QVERIFY(settings.isValid());
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
    }

    // The relay on a port of its own, the players sent there by address and by name as
    // --server sends them: they meet, fight to the death and come back. A third, sent to a
    // name that does not resolve, meets the connection error box and the lobby. When the
    // relay dies, both friends meet the box and the lobby, and a new relay takes them back.
    void twoFriendsPlayThroughTheRelay()
    {
        ErrorBoxes boxes;
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost));
        const quint16 port = probe.serverPort();
        probe.close();
        QVERIFY(port != ServerAddress::standardPort);
        QProcess relay;
        const auto startRelay = [&relay, port] {
            relay.setReadChannel(QProcess::StandardError);
            relay.start(QCoreApplication::applicationDirPath() + "/../vorlen-server",
                        {"--port", QString::number(port)});
            return relay.waitForReadyRead(); // listening
        };
        QVERIFY(startRelay());
        MainWindow first, second, lost;
        first.server = *ServerAddress::parse("127.0.0.1:" + QString::number(port));
        second.server = *ServerAddress::parse("localhost:" + QString::number(port));
        lost.server = *ServerAddress::parse("arena.invalid");
        for (MainWindow *window : {&lost, &first, &second}) { // one after the other
            window->findChild<QPushButton *>("connect")->click();
            QTRY_VERIFY(window == &lost || window->client->localPlayer);
        }
        QTRY_VERIFY_WITH_TIMEOUT(!lost.client, 20000);
        QVERIFY(!lost.view->isVisible());
        QCOMPARE(boxes.seen, 1);
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

        relay.kill();
        QVERIFY(relay.waitForFinished());
        QTRY_VERIFY(!first.client && !second.client);
        QCOMPARE(boxes.seen, 3);
        QVERIFY(!first.view->isVisible() && !second.view->isVisible());
        QVERIFY(startRelay());
        first.findChild<QPushButton *>("connect")->click();
        QTRY_VERIFY(first.client->localPlayer);
        relay.terminate();
        QVERIFY(relay.waitForFinished());
    }

    // Two machines on one network, as two network namespaces joined by a virtual
    // Ethernet pair: a relay started as the host would start it, and on the other side
    // this test's lobby, which finds it by broadcast and enters its arena on a double
    // click.
    void lobbyFindsTheRelayNextDoor()
    {
        if (geteuid() != 0)
            QSKIP("two network namespaces joined by a veth pair need root");
        const QString tag = QString::number(QCoreApplication::applicationPid());
        const QString host = "vorlen-host-" + tag, guest = "vorlen-guest-" + tag;
        const QString hostEnd = "vh" + tag, guestEnd = "vg" + tag;
        const auto removeNamespaces = qScopeGuard([&] {
            ip({"netns", "del", host});
            ip({"netns", "del", guest});
        });
        const QList<QStringList> steps{
            {"netns", "add", host},
            {"netns", "add", guest},
            {"link", "add", hostEnd, "type", "veth", "peer", "name", guestEnd},
            {"link", "set", hostEnd, "netns", host},
            {"link", "set", guestEnd, "netns", guest},
            {"-n", host, "addr", "add", "10.77.0.1/24", "brd", "+", "dev", hostEnd},
            {"-n", guest, "addr", "add", "10.77.0.2/24", "brd", "+", "dev", guestEnd},
            {"-n", host, "link", "set", hostEnd, "mtu", "1500", "up"},
            {"-n", guest, "link", "set", guestEnd, "mtu", "1500", "up"},
        };
        for (const QStringList &step : steps)
            if (!ip(step))
                QSKIP(qPrintable("cannot make the network: ip " + step.join(' ') + " failed"));

        QProcess relay;
        relay.setReadChannel(QProcess::StandardError);
        relay.start("ip", {"netns", "exec", host,
                           QCoreApplication::applicationDirPath() + "/../vorlen-server", "--listen",
                           "any", "--name", "Arena Kasi"});
        QVERIFY(QTest::qWaitFor([&] {
            relay.waitForReadyRead(100);
            return relay.peek(4096).contains("answering");
        }));

        const int home = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
        const int there = open(qPrintable("/run/netns/" + guest), O_RDONLY | O_CLOEXEC);
        QVERIFY(home >= 0 && there >= 0);
        QCOMPARE(setns(there, CLONE_NEWNET), 0);
        const auto goHome = qScopeGuard([&] {
            setns(home, CLONE_NEWNET);
            close(home);
            close(there);
            relay.terminate();
            relay.waitForFinished();
        });
        QSettings("vorlen", "vorlen").clear();
        MainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QListWidget *rows = window.lanServers->rows;
        QTRY_COMPARE_WITH_TIMEOUT(rows->count(), 1, 2000);
        const QString row = rows->item(0)->text();
        QVERIFY2(row.startsWith("Arena Kasi · 0/64 · 10.77.0.1:7000 · "), qPrintable(row));

        // As the system reports a double click: a click, then a second press as a double click.
        const QPoint place = rows->visualItemRect(rows->item(0)).center();
        QTest::mouseClick(rows->viewport(), Qt::LeftButton, {}, place);
        QTest::mouseDClick(rows->viewport(), Qt::LeftButton, {}, place);
        QCOMPARE(window.serverField->edit->text(), QString("10.77.0.1:7000"));
        QVERIFY(window.client && window.view && window.view->isVisible());
        QTRY_VERIFY(window.client->localPlayer);
    }

private:
    QTemporaryDir settings;
};

QTEST_MAIN(TestEndToEnd)
#include "tst_endtoend.moc"
