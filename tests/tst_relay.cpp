#include "relay.h"

#include <QLoggingCategory>
#include <QProcess>
#include <QTcpSocket>
#include <QtTest>
#include <memory>
#include <vector>

// A client as the test sees it: a real socket, every line received and its latest id.
struct Peer
{
    explicit Peer(quint16 port)
    {
        QObject::connect(&socket, &QTcpSocket::readyRead, &socket, [this] {
            while (socket.canReadLine()) {
                lines << socket.readLine().chopped(1);
                if (lines.last().startsWith("0x"))
                    id = lines.last().split(';').first().mid(2).toInt();
            }
        });
        socket.connectToHost(QHostAddress::LocalHost, port);
    }
    QTcpSocket socket;
    QByteArrayList lines;
    int id = 0;
};

// The lines of text, with "%1", "%2"... standing for the ids in that order.
QByteArrayList expect(QByteArray text, const QList<int> &ids)
{
    for (int i = 0; i < ids.size(); ++i)
        text.replace('%' + QByteArray::number(i + 1), QByteArray::number(ids[i]));
    QByteArrayList lines = text.split('\n');
    lines.removeAll(QByteArray());
    return lines;
}

class TestRelay : public QObject
{
    Q_OBJECT

    std::unique_ptr<Relay> relay;
    std::vector<std::unique_ptr<Peer>> peers;
    Peer &join()
    {
        peers.push_back(std::make_unique<Peer>(relay->port()));
        // A MsgSpawn that never comes fails where the lines are compared.
        (void)QTest::qWaitFor([this] { return peers.back()->id != 0; }, 5000);
        return *peers.back();
    }

private slots:
    void init()
    {
        // Dropped lines are checked by what arrives after them, not by the log.
        QLoggingCategory::setFilterRules("default.info=false\ndefault.warning=false");
        peers.clear();
        relay = std::make_unique<Relay>();
        QVERIFY(relay->listen(QHostAddress::LocalHost, 0));
    }

    void relaysAndIntroduces_data()
    {
        // %1 is the sender's first id, %2 the other's, %3 the sender's latest, %4 the last to join.
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<QByteArray>("toSender");
        QTest::addColumn<QByteArray>("toOther");
        QTest::addColumn<QByteArray>("introduction");
        const auto row = [](const char *tag, auto... cells) {
            (QTest::newRow(tag) << ... << QByteArray(cells));
        };
        // The shot behind comes back to both, so anything else would arrive before it.
        const auto echoed = [&](const char *tag, const QByteArray &sent, const QByteArray &relayed,
                                const QByteArray &introduction = "1x%1;100;100") {
            row(tag, sent + "\n3x0;1;1", relayed + "\n3x%1;1;1", relayed + "\n3x%1;1;1",
                introduction);
        };
        const auto dropped = [&](const char *tag, auto sent) { echoed(tag, sent, ""); };
        echoed("walk target is the centre", "2x0;512;-12.5", "2x%1;512;-12.5", "1x%1;462;-62");
        echoed("shot as the other, damage", "3x%2;10;20\n7x%1;35;0", "3x%1;10;20\n7x%1;35;0");
        echoed("latest setup, weapon", "6x9;2;3\n6x0;1;7\n6x0;2;12\n4x-1;2;1",
               "6x%1;2;3\n6x%1;1;7\n6x%1;2;12\n4x%1;2;1",
               "1x%1;100;100\n6x%1;1;7\n6x%1;2;12\n4x%1;2;1");
        echoed("256 bytes", "3x0;5;" + QByteArray(250, '1'), "3x%1;5;" + QByteArray(250, '1'));
        row("position to the others only", "2x0;9;9\n9x0;300;-40.7\n3x0;1;1", "2x%1;9;9\n3x%1;1;1",
            "2x%1;9;9\n9x%1;300;-40.7\n3x%1;1;1", "1x%1;300;-40");
        row("dead", "4x0;1;1\n5x0;0;0", "4x%1;1;1\n5x%1;0;0", "4x%1;1;1\n5x%1;0;0", "");
        // The client has dropped its avatar, so a living one dies; a late shot goes to the new.
        for (const QByteArray dead : {"", "5x0;0;0\n2x0;5;5\n"})
            row(dead.isEmpty() ? "respawn while alive" : "respawn after death",
                dead + "rx-1;0;0\n3x%1;1;1", "5x%1;0;0\n0x%3;0;0\n3x%3;1;1",
                "5x%1;0;0\n1x%3;100;100\n3x%3;1;1", "1x%3;100;100");
        dropped("spawn", "0x0;0;0");
        dropped("new player", "1x0;100;100");
        dropped("reserved", "8x0;0;0");
        dropped("no x", "20;5;5");
        dropped("too few fields", "2x0;5");
        dropped("word for a value", "2x0;five;5");
        dropped("not a number", "3x0;5;nan");
        dropped("257 bytes", "2x0;5;" + QByteArray(251, '1'));
    }

    void relaysAndIntroduces()
    {
        QFETCH(QByteArray, sent);
        QFETCH(QByteArray, toSender);
        QFETCH(QByteArray, toOther);
        QFETCH(QByteArray, introduction);
        Peer &other = join();
        Peer &sender = join();
        const int first = sender.id;
        const auto ids = [&] { return QList<int>{first, other.id, sender.id, peers.back()->id}; };
        sender.socket.write(expect(sent, ids()).join('\n') + '\n');
        QTRY_COMPARE(sender.lines, expect("0x%1;0;0\n1x%2;100;100\n" + toSender, ids()));
        QTRY_COMPARE(other.lines, expect("0x%2;0;0\n1x%1;100;100\n" + toOther, ids()));
        QCOMPARE(sender.id != first, sent.contains("rx"));
        join().socket.write("3x0;1;1\n");
        QTRY_COMPARE(peers.back()->lines,
                     expect("0x%4;0;0\n1x%2;100;100\n" + introduction + "\n3x%4;1;1", ids()));
    }

    void disconnectEndsTheLife_data()
    {
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("hang up") << QByteArray();
        QTest::newRow("unfinished line past 4 KiB") << QByteArray(4097, '2');
    }
    void disconnectEndsTheLife()
    {
        QFETCH(QByteArray, sent);
        Peer &leaving = join();
        Peer &staying = join();
        leaving.socket.write(sent);
        if (sent.isEmpty())
            leaving.socket.disconnectFromHost();
        QTRY_COMPARE(staying.lines,
                     expect("0x%2;0;0\n1x%1;100;100\n5x%1;0;0", {leaving.id, staying.id}));
    }

    void servesFiftyClients()
    {
        for (int i = 0; i < 50; ++i)
            peers.push_back(std::make_unique<Peer>(relay->port()));
        QSet<int> ids;
        for (const auto &peer : peers) {
            QTRY_VERIFY(peer->id > 0);
            QCOMPARE(peer->lines.first(), expect("0x%1;0;0", {peer->id}).first());
            ids << peer->id;
        }
        QCOMPARE(ids.size(), 50);
        peers.front()->socket.write("2x0;5;5\n");
        for (const auto &peer : peers)
            QTRY_COMPARE(peer->lines.last(), expect("2x%1;5;5", {peers.front()->id}).first());
    }

    void helpNamesTheOptions()
    {
        QProcess server;
        server.start(QCoreApplication::applicationDirPath() + "/../vorlen-server", {"--help"});
        if (!server.waitForStarted())
            QSKIP("vorlen-server is not built");
        QVERIFY(server.waitForFinished() && server.exitCode() == 0);
        const QByteArray printed = server.readAllStandardOutput();
        QVERIFY2(printed.contains("--listen") && printed.contains("--port"), printed.constData());
    }
};

QTEST_MAIN(TestRelay)
#include "tst_relay.moc"
