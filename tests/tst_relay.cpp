// SPDX-License-Identifier: GPL-3.0-or-later
#include "relay.h"

#include <QtNetwork>
#include <QtTest>
#include <climits>
#include <csignal>
#include <memory>
#include <sys/resource.h>
#include <vector>

// A client as the test sees it: a real socket, every line received and its latest id.
struct Peer
{
    explicit Peer(quint16 port, const QHostAddress &from = QHostAddress::LocalHost)
    {
        QObject::connect(&socket, &QTcpSocket::readyRead, &socket, [this] {
            while (socket.canReadLine()) {
                const QByteArray line = socket.readLine().chopped(1);
                ++count;
                id = line.startsWith("0x") ? line.split(';').first().mid(2).toInt() : id;
                if (keepLines)
                    lines << line;
            }
        });
        socket.bind(from);
        socket.connectToHost(QHostAddress::LocalHost, port);
    }
    bool isConnected() const { return socket.state() == QAbstractSocket::ConnectedState; }
    QTcpSocket socket;
    QByteArrayList lines;
    bool keepLines = true;
    int count = 0;
    int id = 0;
};

// The built relay program, started with these options on a free port; `port` stays
// 0 if it never says where it listens.
struct ServerProcess
{
    explicit ServerProcess(QStringList options, std::function<void()> inChild = {})
    {
        if (inChild)
            process.setChildProcessModifier(inChild);
        QObject::connect(&process, &QProcess::readyReadStandardError, &process,
                         [this] { log += process.readAllStandardError(); });
        process.start(QCoreApplication::applicationDirPath() + "/../vorlen-server",
                      options + QStringList{"--port", "0"});
        const auto listening = [this] { return log.mid(log.indexOf("listening on")); };
        if (QTest::qWaitFor([&] { return listening().contains('\n'); }, 10000))
            port = listening().split('\n').first().split(':').last().toUShort();
    }
    ~ServerProcess()
    {
        process.kill();
        process.waitForFinished();
    }
    QProcess process;
    QByteArray log;
    quint16 port = 0;
};

// Every message of the relay, kept for the tests instead of printed.
QStringList logged;
void keepMessage(QtMsgType, const QMessageLogContext &, const QString &message)
{
    logged << message;
}

// The lines of text, with "%1", "%2"... standing for the ids in that order.
QByteArrayList expect(QByteArray text, const QList<int> &ids)
{
    for (int i = 0; i < ids.size(); ++i)
        text.replace('%' + QByteArray::number(i + 1), QByteArray::number(ids[i]));
    QByteArrayList lines = text.split('\n');
    lines.removeAll(QByteArray());
    return lines;
}

// Columns of these types and names, and rows of cells in the same order.
template <typename... Types, typename... Names> void columns(Names... names)
{
    (QTest::addColumn<Types>(names), ...);
}
template <typename... Cells> void addRow(const char *tag, const Cells &...cells)
{
    (QTest::newRow(tag) << ... << cells);
}

class TestRelay : public QObject
{
    Q_OBJECT

    std::unique_ptr<Relay> relay;
    std::vector<std::unique_ptr<Peer>> peers;
    Peer &join(const QHostAddress &from = QHostAddress::LocalHost)
    {
        Peer &peer = *peers.emplace_back(std::make_unique<Peer>(relay->port(), from));
        // A MsgSpawn that never comes fails where the lines are compared.
        const auto settled = [&peer] {
            return peer.id || peer.socket.state() == QAbstractSocket::UnconnectedState;
        };
        (void)QTest::qWaitFor(settled, 5000);
        return peer;
    }
    void connectMany(quint16 port, int count, bool keepLines = true)
    {
        while (count--)
            peers.emplace_back(std::make_unique<Peer>(port))->keepLines = keepLines;
    }
    RelayLimits limits;
    void restart()
    {
        peers.clear();
        relay = std::make_unique<Relay>(limits);
        QVERIFY(relay->listen(QHostAddress::LocalHost, 0));
    }
    // Waits until the relay has taken all that the peer sent before, by its echo.
    static void roundTrip(Peer &peer)
    {
        const QByteArray mark = QByteArray::number(peer.lines.size());
        peer.socket.write("3x0;" + mark + ";7\n");
        const QByteArray echo = "3x" + QByteArray::number(peer.id) + ';' + mark + ";7";
        QVERIFY(QTest::qWaitFor([&] { return peer.lines.endsWith(echo); }, 5000));
    }

private slots:
    void initTestCase() { qInstallMessageHandler(keepMessage); }

    // Sweeps come when the test calls them, unless it sets an interval.
    void init()
    {
        logged.clear();
        limits = RelayLimits();
        limits.sweepIntervalMs = INT_MAX;
        restart();
    }

    void relaysAndIntroduces_data()
    {
        // %1 is the sender's first id, %2 the other's, %3 the sender's latest, %4 the last to join.
        columns<QByteArray, QByteArray, QByteArray, QByteArray>("sent", "toSender", "toOther",
                                                                "introduction");
        const auto row = [](const char *tag, auto... cells) { addRow(tag, QByteArray(cells)...); };
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
        // Server-only types, and lines without an x, three fields or numbers.
        for (const char *sent : {"0x0;0;0", "1x0;100;100", "8x0;0;0", "20;5;5", "2x0;5",
                                 "2x0;five;5", "3x0;5;nan", "2x0; 1 ;  "})
            dropped(sent, sent);
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
        columns<QByteArray, QString>("sent", "reason");
        addRow("hang up", QByteArray(), QString("hung up"));
        addRow("unfinished line past 4 KiB", QByteArray(4097, '2'),
               QString("sent an endless line"));
        addRow("line left unfinished", QByteArray("2x0;5"),
               QString("left a line unfinished for 0 s"));
    }
    void disconnectEndsTheLife()
    {
        QFETCH(QByteArray, sent);
        QFETCH(QString, reason);
        limits.lineTimeoutMs = 0;
        restart();
        Peer &leaving = join();
        Peer &staying = join();
        // A line that did end never times out.
        roundTrip(leaving);
        leaving.socket.write(sent);
        if (sent.isEmpty())
            leaving.socket.disconnectFromHost();
        QTRY_COMPARE(
            (relay->sweep(), staying.lines),
            expect("0x%2;0;0\n1x%1;100;100\n3x%1;2;7\n5x%1;0;0", {leaving.id, staying.id}));
        QCOMPARE(logged.filter("disconnected: ").size(), 1);
        QCOMPARE(logged.filter("disconnected: " + reason).size(), 1);
    }

    void burstCutsNoReader()
    {
        ServerProcess server({"--line-rate", "0", "--max-per-address", "0"});
        QVERIFY2(server.port, server.log.constData());
        const int clients = 32, lines = 1000;
        connectMany(server.port, clients, false);
        // Its id and an introduction of everybody else.
        for (const auto &peer : peers)
            QTRY_COMPARE(peer->count, clients);
        const QByteArray burst = QByteArray("2x0;123;456\n").repeated(lines);
        for (const auto &peer : peers)
            peer->socket.write(burst);
        for (const auto &peer : peers)
            QTRY_COMPARE_WITH_TIMEOUT(peer->count, clients + clients * lines, 60000);
        QVERIFY2(!server.log.contains("disconnected"), server.log.constData());
    }

    void nonReaderIsCut_data()
    {
        columns<qint64, qint64, QString>("maxBacklog", "stallTimeoutMs", "reason");
        addRow("backlog", qint64(16 * 1024), qint64(3600000), QString("disconnected: left "));
        addRow("stall", qint64(1) << 30, qint64(100),
               QString("disconnected: read nothing for 0.1 s"));
    }
    void nonReaderIsCut()
    {
        QFETCH(qint64, maxBacklog);
        QFETCH(qint64, stallTimeoutMs);
        QFETCH(QString, reason);
        limits.lineRate = 0;
        limits.sweepIntervalMs = 20;
        limits.maxBacklog = maxBacklog;
        limits.stallTimeoutMs = stallTimeoutMs;
        restart();
        Peer &reader = join();
        QTcpSocket nonReader;
        // Qt stops taking data from the system once this much waits unread.
        nonReader.setReadBufferSize(1);
        nonReader.connectToHost(QHostAddress::LocalHost, relay->port());
        QTRY_COMPARE(reader.lines.size(), 2);
        const int nonReaderId = reader.lines[1].split(';').first().mid(2).toInt();
        reader.keepLines = false;
        // More than the system buffers on both ends hold.
        const int lines = 32000;
        reader.socket.write(("3x0;5;" + QByteArray(240, '1') + '\n').repeated(lines));
        // The non-reader does not even read the end of its connection.
        QTRY_COMPARE_WITH_TIMEOUT(
            logged.filter(QString("player %1 from").arg(nonReaderId)).filter(reason).size(), 1,
            30000);
        QTRY_COMPARE_WITH_TIMEOUT(reader.count, 2 + lines + 1, 30000);
        QVERIFY(reader.isConnected());
    }

    void capsRefuseAtOnce_data()
    {
        columns<int, int, QStringList, QList<bool>, QString>("maxPlayers", "maxPerAddress",
                                                             "sources", "served", "refusal");
        const QString one = "127.0.0.1", two = "127.0.0.2";
        addRow("total", 2, 0, QStringList{one, one, two}, QList<bool>{true, true, false},
               QString("refused 1 connections: already 2 players"));
        addRow("per address", 64, 2, QStringList{one, one, one, two},
               QList<bool>{true, true, false, true},
               QString("refused 1 connections: already 2 players from their address"));
        addRow("no cap per address", 64, 0, QStringList(50, one), QList<bool>(50, true), QString());
    }
    void capsRefuseAtOnce()
    {
        QFETCH(int, maxPlayers);
        QFETCH(int, maxPerAddress);
        QFETCH(QStringList, sources);
        QFETCH(QList<bool>, served);
        QFETCH(QString, refusal);
        limits.maxPlayers = maxPlayers;
        limits.maxPerAddress = maxPerAddress;
        restart();
        QString refusedFrom;
        for (int i = 0; i < sources.size(); ++i) {
            Peer &peer = join(QHostAddress(sources[i]));
            QCOMPARE(peer.id > 0, served[i]);
            if (!served[i]) {
                QTRY_VERIFY(!peer.isConnected());
                QCOMPARE(peer.lines, QByteArrayList());
                refusedFrom = sources[i];
            }
        }
        relay->sweep();
        QCOMPARE(logged.filter("refused"),
                 refusal.isEmpty() ? QStringList() : QStringList{refusal});
        // A place that comes free is taken at once.
        peers.front()->socket.disconnectFromHost();
        QTRY_VERIFY(logged.filter("disconnected").size() == 1);
        QVERIFY(join(QHostAddress(refusedFrom.isEmpty() ? sources[0] : refusedFrom)).id > 0);
    }

    void ratesKeepTheGamePace_data()
    {
        columns<QByteArray, int, int>("sent", "relayed", "dropped");
        const auto times = [](const char *line, int n) { return QByteArray(line).repeated(n); };
        // Setup of a life, clicks, keys, hits taken and a position report, quickly.
        const QByteArray player = "6x0;1;5\n6x0;2;5\n" + times("2x0;1;1\n", 10) +
                                  times("3x0;1;1\n", 8) + "4x0;1;1\n4x0;0;0\n" +
                                  times("7x0;5;0\n", 20) + "9x0;1;1\n";
        addRow("a player in a fight", player, 43, 0);
        addRow("weapon keys faster than fingers", times("4x0;1;1\n", 50), 6, 44);
        addRow("shots faster than clicks", times("3x0;1;1\n", 30), 10, 20);
        // 80 lines, every kind within its own pace, and then more of the slowest kind.
        const QByteArray mixed = times("7x0;5;0\n", 40) + times("2x0;1;1\n", 20) +
                                 times("3x0;1;1\n", 10) + times("4x0;1;1\n", 6) +
                                 times("9x0;1;1\n", 4) + times("4x0;2;1\n", 20);
        addRow("over the line rate", mixed, 80, 20);
        addRow("flood", times("2x0;1;1\n", 3000), -1, -1);
    }
    void ratesKeepTheGamePace()
    {
        QFETCH(QByteArray, sent);
        QFETCH(int, relayed);
        QFETCH(int, dropped);
        Peer &other = join();
        Peer &sender = join();
        sender.socket.write(sent);
        if (relayed < 0) {
            QTRY_VERIFY(!sender.isConnected());
            QCOMPARE(logged.filter("disconnected: kept sending lines over the line rate").size(),
                     1);
            // Coming straight back would make a flood of connections of it.
            QVERIFY(!join().isConnected());
            QVERIFY(join(QHostAddress("127.0.0.2")).id > 0);
            return;
        }
        // The summary counts every line once all have been read.
        const QString prefix = QString("player %1 dropped ").arg(sender.id);
        const auto droppedInAll = [&] {
            int total = 0;
            for (const QString &message : logged.filter(prefix))
                total += message.mid(prefix.size()).section(' ', 0, 0).toInt();
            return total;
        };
        QTRY_COMPARE((relay->sweep(), droppedInAll()), dropped);
        QTRY_COMPARE(other.lines.size() - 2, relayed);
        QVERIFY(sender.isConnected());
    }

    void logsSumUpDrops()
    {
        limits.lineRate = 0;
        restart();
        Peer &sender = join();
        QCOMPARE(logged.filter("connected from 127.0.0.1:").size(), 1);
        sender.socket.write(QByteArray("junk\n").repeated(300) +
                            QByteArray("0x0;0;0\n").repeated(200));
        roundTrip(sender);
        relay->sweep();
        relay->sweep();
        const QString prefix = QString("player %1 dropped ").arg(sender.id);
        QCOMPARE(logged.filter(prefix),
                 QStringList{prefix + "500 lines: 300 unparsable, 200 server-only type"});
        sender.socket.write(QByteArray("junk\n").repeated(7));
        roundTrip(sender);
        relay->sweep();
        QCOMPARE(logged.filter(prefix).last(), prefix + "7 lines: 7 unparsable");
        QCOMPARE(logged.filter(prefix).size(), 2);
    }

    void idsWrapAroundPastTheTop()
    {
        relay->startIdsAfter(INT_MAX - 1);
        QCOMPARE(join().id, INT_MAX);
        QCOMPARE(join().id, 1);
        relay->startIdsAfter(INT_MAX - 1);
        QCOMPARE(join().id, 2);
    }

    void descriptorsRunOut_data()
    {
        columns<int, int>("soft", "hard");
        addRow("soft limit raised", 24, 4096);
        addRow("hard limit reached", 24, 24);
    }
    void descriptorsRunOut()
    {
        QFETCH(int, soft);
        QFETCH(int, hard);
        ServerProcess server({"--max-per-address", "0"}, [soft, hard] {
            const rlimit limit{rlim_t(soft), rlim_t(hard)};
            setrlimit(RLIMIT_NOFILE, &limit);
        });
        QVERIFY2(server.port, server.log.constData());
        const int clients = 30;
        connectMany(server.port, clients);
        const auto served = [this] {
            return int(std::count_if(peers.cbegin(), peers.cend(), [](const auto &peer) {
                return peer->id > 0 && peer->isConnected();
            }));
        };
        if (soft < hard) {
            QTRY_COMPARE(served(), clients);
            return;
        }
        QTRY_VERIFY(server.log.contains("out of file descriptors"));
        const int accepted = server.log.count("connected from");
        QVERIFY(accepted > 0 && accepted < clients);
        QTRY_COMPARE(served(), accepted);
        // Those in are still served, and those waiting come in as places free up.
        // The system does not promise to accept in the order of connecting.
        std::vector<Peer *> in;
        for (const auto &peer : peers)
            if (peer->id > 0)
                in.push_back(peer.get());
        in[0]->socket.write("2x0;3;4\n");
        QTRY_COMPARE(in[0]->lines.last(), "2x" + QByteArray::number(in[0]->id) + ";3;4");
        for (int i = 0; i < 3; ++i)
            in[i]->socket.disconnectFromHost();
        // Generous, for a loaded machine: what counts is that accepting resumes at all.
        QTRY_VERIFY2_WITH_TIMEOUT(server.log.count("connected from") == accepted + 3,
                                  server.log.constData(), 20000);
        QTRY_COMPARE(served(), accepted);
    }

    void stopsOnSignals_data()
    {
        columns<int, QByteArray>("signal", "name");
        addRow("SIGTERM", int(SIGTERM), QByteArray("Terminated"));
        addRow("SIGINT", int(SIGINT), QByteArray("Interrupt"));
    }
    void stopsOnSignals()
    {
        QFETCH(int, signal);
        QFETCH(QByteArray, name);
        ServerProcess server({});
        QVERIFY2(server.port, server.log.constData());
        connectMany(server.port, 1);
        QTRY_VERIFY(peers.back()->id > 0);
        ::kill(pid_t(server.process.processId()), signal);
        QVERIFY(server.process.waitForFinished(10000));
        QCOMPARE(server.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(server.process.exitCode(), 0);
        QVERIFY2(server.log.contains("shutting down on " + name), server.log.constData());
        QVERIFY2(server.log.contains("disconnected: server shutting down"), server.log.constData());
        QTRY_VERIFY(!peers.back()->isConnected());
    }

    void commandLine_data()
    {
        columns<QStringList, int, QByteArray>("arguments", "status", "printed");
        addRow("help", QStringList{"--help"}, 0,
               QByteArray("--listen --port --max-players --max-per-address --line-rate "
                          "--line-burst --line-timeout"));
        addRow("version", QStringList{"--version"}, 0, QByteArray(VORLEN_VERSION));
        addRow("no players", QStringList{"--max-players", "0"}, 2,
               QByteArray("invalid --max-players 0"));
        addRow("bad port", QStringList{"--port", "70000"}, 2, QByteArray("invalid --port 70000"));
    }
    void commandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, printed);
        QProcess server;
        server.start(QCoreApplication::applicationDirPath() + "/../vorlen-server", arguments);
        QVERIFY(server.waitForFinished());
        QTEST(server.exitCode(), "status");
        const QByteArray output = server.readAllStandardOutput() + server.readAllStandardError();
        for (const QByteArray &word : printed.split(' '))
            QVERIFY2(output.contains(word), output.constData());
    }
};

QTEST_MAIN(TestRelay)
#include "tst_relay.moc"
