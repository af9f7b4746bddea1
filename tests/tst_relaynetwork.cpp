// SPDX-License-Identifier: GPL-3.0-or-later
#include "relayclients.h"

#include <QtNetwork>
#include <QtTest>
#include <unistd.h>

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
            {"addr", "add", clientIPv4.toString() + "/24", "dev", near},
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
    const QHostAddress clientIPv4{"10.78.0.1"};
    const QHostAddress relayIPv4{"10.78.0.2"};
    const QHostAddress relayIPv6{"fd00:78::2"};
    QString failure;
};

class TestRelayNetwork : public QObject
{
    Q_OBJECT

    std::unique_ptr<EthernetLink> link;
    std::unique_ptr<ServerProcess> relay;
    Peers peers;

    // The relay inside the namespace.
    void start(const QStringList &options)
    {
        relay = std::make_unique<ServerProcess>(options, [this](QProcess &process) {
            process.setArguments(QStringList{"netns", "exec", link->name, process.program()} +
                                 process.arguments());
            process.setProgram("ip");
        });
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

    // Every player sends one second of play at once, all within every limit.
    void burstCutsNobody()
    {
        start({"--listen", link->relayIPv4.toString(), "--max-per-address", "0"});
        for (int i = 0; i <= 60; ++i)
            connect(link->clientIPv4, link->relayIPv4).keepLines = false;
        // Damage lines of 250 bytes, a fight's worth.
        ::burstCutsNobody(peers, *relay, "7x0;" + QByteArray(243, '1') + ";0\n", 30);
    }

    void nonReaderIsCut()
    {
        start({"--listen", link->relayIPv4.toString(), "--line-rate", "0"});
        ::nonReaderIsCut(connect(link->clientIPv4, link->relayIPv4), link->relayIPv4, relay->port,
                         [this](const QByteArray &id) {
                             return relay->log.contains("player " + id + " from") &&
                                    relay->log.count("disconnected") == 1;
                         });
    }

    // Two addresses of one /64 are one host; an IPv4 address is its own.
    void slash64IsOneAddress()
    {
        start({"--listen", "any", "--max-per-address", "2"});
        const QHostAddress a("fd00:78::a"), b("fd00:78::b");
        for (const QHostAddress &from : {a, b, b, link->clientIPv4}) {
            Peer &peer =
                connect(from, from == link->clientIPv4 ? link->relayIPv4 : link->relayIPv6);
            QTRY_VERIFY(peer.settled());
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
