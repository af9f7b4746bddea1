// SPDX-License-Identifier: GPL-3.0-or-later
#include "relayclients.h"

#include <QtNetwork>
#include <QtTest>
#include <fcntl.h>
#include <memory>
#include <sched.h>
#include <unistd.h>
#include <vector>

// A link shaped like Ethernet (MTU 1500, where loopback has 64 KiB): a private network
// namespace for the relay behind a veth pair, whose near end the test's clients use.
// `failure` says why it could not be made.
struct EthernetLink
{
    EthernetLink()
    {
        if (geteuid() != 0) {
            failure = "making a network namespace needs root";
            return;
        }
        const QList<QStringList> steps{
            {"netns", "add", name},
            {"link", "add", near, "mtu", "1500", "type", "veth", "peer", "name", far, "mtu",
             "1500"},
            {"link", "set", far, "netns", name},
            {"addr", "add", "10.78.0.1/24", "dev", near},
            {"addr", "add", "fd00:78::a/64", "dev", near, "nodad"},
            {"addr", "add", "fd00:78::b/64", "dev", near, "nodad"},
            {"link", "set", near, "up"},
            {"-n", name, "addr", "add", relayIPv4.toString() + "/24", "dev", far},
            {"-n", name, "addr", "add", relayIPv6.toString() + "/64", "dev", far, "nodad"},
            {"-n", name, "link", "set", far, "up"},
        };
        for (const QStringList &step : steps) {
            if (const QString error = ip(step); !error.isEmpty()) {
                failure = "cannot make a network namespace: ip " + step.join(' ') + ": " + error;
                return;
            }
        }
    }
    ~EthernetLink()
    {
        // Both ends at once: the namespace itself goes away only some time later.
        ip({"link", "delete", near});
        ip({"netns", "delete", name});
    }
    // Runs the relay inside.
    void enter(QProcess &relay) const
    {
        relay.setArguments(QStringList{"netns", "exec", name, relay.program()} + relay.arguments());
        relay.setProgram("ip");
    }
    static QString ip(const QStringList &arguments)
    {
        QProcess ip;
        ip.start("ip", arguments);
        if (!ip.waitForFinished())
            return ip.errorString();
        return ip.exitCode() == 0 ? QString() : QString(ip.readAllStandardError()).trimmed();
    }

    const QString id = QString::number(QCoreApplication::applicationPid());
    const QString name = "vorlen-test-" + id;
    const QString near = "vtn" + id;
    const QString far = "vtf" + id;
    const QHostAddress relayIPv4{"10.78.0.2"};
    const QHostAddress relayIPv6{"fd00:78::2"};
    QString failure;
};

class TestRelayNetwork : public QObject
{
    Q_OBJECT

    std::unique_ptr<EthernetLink> link;
    std::unique_ptr<ServerProcess> relay;
    std::vector<std::unique_ptr<Peer>> peers;

    void start(const QStringList &options)
    {
        relay = std::make_unique<ServerProcess>(
            options, [this](QProcess &process) { link->enter(process); });
        QVERIFY2(relay->port, relay->log.constData());
    }
    Peer &connect(const QHostAddress &from, const QHostAddress &to)
    {
        return *peers.emplace_back(std::make_unique<Peer>(relay->port, from, to));
    }

private slots:
    void init()
    {
        link = std::make_unique<EthernetLink>();
        if (!link->failure.isEmpty())
            QSKIP(qPrintable(link->failure));
    }
    void cleanup()
    {
        peers.clear();
        relay.reset();
        link.reset();
    }

    // Every player sends one second of play at once, all within every limit, and a
    // bystander only reads: nobody is cut, and everybody gets every line.
    void burstCutsNobody()
    {
        start({"--listen", link->relayIPv4.toString(), "--max-per-address", "0"});
        const int players = 60, lines = 30;
        for (int i = 0; i <= players; ++i)
            connect(QHostAddress("10.78.0.1"), link->relayIPv4).keepLines = false;
        for (const auto &peer : peers)
            QTRY_COMPARE_WITH_TIMEOUT(peer->count, players + 1, 20000);
        // Damage lines of 250 bytes, a fight's worth.
        const QByteArray line = "7x0;" + QByteArray(243, '1') + ";0\n";
        for (int i = 0; i < players; ++i)
            peers[size_t(i)]->socket.write(line.repeated(lines));
        for (const auto &peer : peers)
            QTRY_COMPARE_WITH_TIMEOUT(peer->count, players + 1 + players * lines, 30000);
        QVERIFY2(!relay->log.contains("disconnected"), relay->log.constData());
    }

    void nonReaderIsCut()
    {
        start({"--listen", link->relayIPv4.toString(), "--line-rate", "0"});
        Peer &reader = connect(QHostAddress("10.78.0.1"), link->relayIPv4);
        QTRY_VERIFY(reader.id > 0);
        QTcpSocket nonReader;
        // Qt stops taking data from the system once this much waits unread.
        nonReader.setReadBufferSize(1);
        nonReader.connectToHost(link->relayIPv4, relay->port);
        QTRY_COMPARE(reader.lines.size(), 2);
        const QByteArray nonReaderId = reader.lines[1].split(';').first().mid(2);
        reader.keepLines = false;
        // Far more than the backlog allowed and the system buffers on both ends hold.
        const int lines = 32000;
        reader.socket.write(("3x0;5;" + QByteArray(240, '1') + '\n').repeated(lines));
        QTRY_VERIFY2_WITH_TIMEOUT(relay->log.contains("player " + nonReaderId + " from"),
                                  relay->log.constData(), 30000);
        QTRY_COMPARE_WITH_TIMEOUT(reader.count, 2 + lines + 1, 30000);
        QVERIFY(reader.isConnected());
        QCOMPARE(relay->log.count("disconnected"), 1);
    }

    // Two addresses of one /64 are one host; an IPv4 address is its own.
    void slash64IsOneAddress()
    {
        start({"--listen", "any", "--max-per-address", "2"});
        const QHostAddress a("fd00:78::a"), b("fd00:78::b");
        for (const QHostAddress &from : {a, b, b, QHostAddress("10.78.0.1")}) {
            Peer &peer =
                connect(from, from.protocol() == QAbstractSocket::IPv4Protocol ? link->relayIPv4
                                                                               : link->relayIPv6);
            QTRY_VERIFY(peer.id > 0 || peer.socket.state() == QAbstractSocket::UnconnectedState);
        }
        QCOMPARE(peers[2]->id, 0);
        QVERIFY(peers[0]->id > 0 && peers[1]->id > 0 && peers[3]->id > 0);
        QTRY_VERIFY2(relay->log.contains("refused 1 connections: already 2 players from their "
                                         "address"),
                     relay->log.constData());
    }
};

QTEST_MAIN(TestRelayNetwork)
#include "tst_relaynetwork.moc"
