// SPDX-License-Identifier: GPL-3.0-or-later
#include "relay.h"
#include "relayclients.h"

#include <QtNetwork>
#include <QtTest>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

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

class TestRelay : public QObject
{
    Q_OBJECT

    std::unique_ptr<Relay> relay;
    Peers peers;
    Peer &join(const QHostAddress &from = QHostAddress::LocalHost)
    {
        Peer &peer = *peers.emplace_back(std::make_unique<Peer>(relay->port(), from));
        // A MsgSpawn that never comes fails where the lines are compared.
        (void)QTest::qWaitFor([&peer] { return peer.settled(); }, 5000);
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
        connectMany(server.port, 33, false);
        burstCutsNobody(peers, server, "2x0;123;456\n", 1000);
    }

    void nonReaderIsCut_data()
    {
        // The backlog allowed is every player's burst at once, or 256 KiB if more: 256
        // KiB, or 532 MB.
        columns<double, qint64, QString>("lineBurst", "stallTimeoutMs", "reason");
        addRow("backlog", 1.0, qint64(3600000), QString("disconnected: left "));
        addRow("stall", 1e6, qint64(100), QString("disconnected: read nothing for 0.1 s"));
    }
    void nonReaderIsCut()
    {
        QFETCH(double, lineBurst);
        QFETCH(qint64, stallTimeoutMs);
        QFETCH(QString, reason);
        limits.lineRate = 0;
        limits.sweepIntervalMs = 20;
        limits.lineBurst = lineBurst;
        limits.stallTimeoutMs = stallTimeoutMs;
        restart();
        ::nonReaderIsCut(join(), QHostAddress::LocalHost, relay->port(), [&](const QByteArray &id) {
            return logged.filter(QString("player %1 from").arg(id)).filter(reason).size() == 1;
        });
    }

    void capsRefuseAtOnce_data()
    {
        // Clients from 127.0.0.<digit>, in this order; the third is the one refused, if any.
        columns<int, int, QByteArray, QString>("maxPlayers", "maxPerAddress", "sources", "refusal");
        addRow("total", 2, 0, QByteArray("112"),
               QString("refused 1 connections: already 2 players"));
        addRow("per address", 64, 2, QByteArray("1112"),
               QString("refused 1 connections: already 2 players from their address"));
        addRow("no cap per address", 64, 0, QByteArray(50, '1'), QString());
    }
    void capsRefuseAtOnce()
    {
        QFETCH(int, maxPlayers);
        QFETCH(int, maxPerAddress);
        QFETCH(QByteArray, sources);
        QFETCH(QString, refusal);
        limits.maxPlayers = maxPlayers;
        limits.maxPerAddress = maxPerAddress;
        restart();
        const auto from = [&](int i) { return QHostAddress("127.0.0." + QString(sources[i])); };
        for (int i = 0; i < sources.size(); ++i) {
            Peer &peer = join(from(i));
            const bool refused = i == 2 && !refusal.isEmpty();
            QCOMPARE(peer.id > 0, !refused);
            if (refused) {
                QTRY_VERIFY(!peer.isConnected());
                QCOMPARE(peer.lines, QByteArrayList());
            }
        }
        relay->sweep();
        QCOMPARE(logged.filter("refused"),
                 refusal.isEmpty() ? QStringList() : QStringList{refusal});
        // A place that comes free is taken at once.
        peers.front()->socket.disconnectFromHost();
        QTRY_COMPARE(logged.filter("disconnected").size(), 1);
        QVERIFY(join(from(2)).id > 0);
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
        addRow("flood of empty lines", times("\n", 3000), -1, -1);
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

    // A player who dies as soon as it lives: the respawns past the rate's burst wait
    // for their turn instead of being lost, and every death reaches the others.
    void earlyRespawnsWait()
    {
        Peer &other = join();
        Peer &player = join();
        QList<int> ids{other.id, player.id};
        QByteArray seen = "0x%1;0;0\n1x%2;100;100\n";
        for (int life = 2; life < 9; ++life) {
            player.socket.write("5x0;0;0\nrx-1;0;0\n");
            QTRY_VERIFY(player.id != ids.last());
            ids << player.id;
            seen += "5x%" + QByteArray::number(life) + ";0;0\n1x%" + QByteArray::number(life + 1) +
                    ";100;100\n";
        }
        QTRY_COMPARE(other.lines, expect(seen, ids));
        relay->sweep();
        QCOMPARE(logged.filter(" dropped "), QStringList());
    }

    void silenceEndsTheConnection_data()
    {
        columns<bool, qint64, qint64, QString>("dead", "livingIdleMs", "idleTimeoutMs", "reason");
        const qint64 hour = 3600000, now = 0;
        addRow("alive", false, now, hour, QString("sent nothing for 0 s while alive"));
        addRow("alive, within its time", false, hour, now, QString());
        addRow("dead", true, hour, now, QString("sent nothing for 0 s while dead"));
        addRow("dead, within its time", true, now, hour, QString());
    }
    void silenceEndsTheConnection()
    {
        QFETCH(bool, dead);
        QFETCH(qint64, livingIdleMs);
        QFETCH(qint64, idleTimeoutMs);
        QFETCH(QString, reason);
        limits.livingIdleMs = livingIdleMs;
        limits.idleTimeoutMs = idleTimeoutMs;
        restart();
        Peer &player = join();
        if (dead) {
            player.socket.write("5x0;0;0\n");
            QTRY_COMPARE(player.lines.last(), "5x" + QByteArray::number(player.id) + ";0;0");
        }
        relay->sweep();
        const QStringList ended = logged.filter("disconnected: ");
        QCOMPARE(ended.size(), reason.isEmpty() ? 0 : 1);
        QVERIFY2(reason.isEmpty() || ended.first().endsWith(reason), qPrintable(ended.join('\n')));
        QTRY_COMPARE(player.isConnected(), reason.isEmpty());
    }

    void logsSumUpDrops()
    {
        limits.lineRate = 0;
        restart();
        Peer &sender = join();
        sender.socket.write(QByteArray("junk\n").repeated(300) +
                            QByteArray("0x0;0;0\n").repeated(200));
        roundTrip(sender);
        relay->sweep();
        sender.socket.write(QByteArray("junk\n").repeated(7));
        roundTrip(sender);
        relay->sweep();
        relay->sweep();
        const QString prefix = QString("player %1 dropped ").arg(sender.id);
        QCOMPARE(logged.filter(prefix),
                 (QStringList{prefix + "500 lines: 300 unparsable, 200 server-only type",
                              prefix + "7 lines: 7 unparsable"}));
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
        // The soft limit is 24.
        columns<int>("hard");
        addRow("soft limit raised", 4096);
        addRow("hard limit reached", 24);
    }
    void descriptorsRunOut()
    {
        QFETCH(int, hard);
        ServerProcess server({"--max-per-address", "0"}, [hard](QProcess &process) {
            process.setChildProcessModifier([hard] {
                const rlimit limit{24, rlim_t(hard)};
                setrlimit(RLIMIT_NOFILE, &limit);
            });
        });
        QVERIFY2(server.port, server.log.constData());
        const int clients = 30;
        connectMany(server.port, clients);
        const auto served = [this] {
            return int(std::count_if(peers.cbegin(), peers.cend(), [](const auto &peer) {
                return peer->id > 0 && peer->isConnected();
            }));
        };
        if (hard > 24) {
            QTRY_COMPARE(served(), clients);
            return;
        }
        QTRY_VERIFY(server.log.contains("out of file descriptors"));
        const int accepted = server.log.count("connected from");
        QVERIFY(accepted > 0 && accepted < clients);
        QTRY_COMPARE(served(), accepted);
        // Those in are still served, and those waiting come in as places free up.
        // The system does not promise to accept in the order of connecting.
        std::stable_partition(peers.begin(), peers.end(),
                              [](const auto &peer) { return peer->id > 0; });
        peers[0]->socket.write("2x0;3;4\n");
        QTRY_COMPARE(peers[0]->lines.last(), "2x" + QByteArray::number(peers[0]->id) + ";3;4");
        for (int i = 0; i < 3; ++i)
            peers[size_t(i)]->socket.disconnectFromHost();
        // Generous, for a loaded machine: what counts is that accepting resumes at all.
        QTRY_VERIFY2_WITH_TIMEOUT(server.log.count("connected from") == accepted + 3,
                                  server.log.constData(), 20000);
        QTRY_COMPARE(served(), accepted);
    }

    void stopsOnSignals_data()
    {
        columns<int>("signal");
        addRow("SIGTERM", int(SIGTERM));
        addRow("SIGINT", int(SIGINT));
    }
    void stopsOnSignals()
    {
        QFETCH(int, signal);
        ServerProcess server({});
        QVERIFY2(server.port, server.log.constData());
        connectMany(server.port, 1);
        QTRY_VERIFY(peers.back()->id > 0);
        ::kill(pid_t(server.process.processId()), signal);
        QVERIFY(server.process.waitForFinished(10000));
        QCOMPARE(server.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(server.process.exitCode(), 0);
        QVERIFY2(server.log.contains("disconnected: server shutting down"), server.log.constData());
        QTRY_VERIFY(!peers.back()->isConnected());
    }

    void commandLine_data()
    {
        columns<QStringList, int, QByteArray>("arguments", "status", "printed");
        addRow("help", QStringList{"--help"}, 0,
               QByteArray("--listen --port --max-players --max-per-address --line-rate "
                          "--line-burst --line-timeout --idle-timeout --name --no-discovery "
                          "--query"));
        addRow("version", QStringList{"--version"}, 0, QByteArray(VORLEN_VERSION));
        addRow("no players", QStringList{"--max-players", "0"}, 2,
               QByteArray("invalid --max-players 0"));
        addRow("bad port", QStringList{"--port", "70000"}, 2, QByteArray("invalid --port 70000"));
        // 33 bytes: more than an answer to the lobbies carries.
        addRow("long name", QStringList{"--name", "a" + QString("ą").repeated(16)}, 2,
               QByteArray("invalid --name"));
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

    // Connections come and go while nobody reads the log, which a pipe of one page
    // holds: the relay serves on, and says what it lost once it can write again.
    void unreadLogStopsNothing()
    {
        int ends[2];
        QVERIFY(pipe2(ends, O_CLOEXEC) == 0);
        fcntl(ends[0], F_SETPIPE_SZ, 4096);
        QProcess server;
        server.setChildProcessModifier([&ends] { dup2(ends[1], STDERR_FILENO); });
        server.start(QCoreApplication::applicationDirPath() + "/../vorlen-server",
                     {"--port", "0", "--max-per-address", "0"});
        ::close(ends[1]);
        QFile log;
        QVERIFY(log.open(ends[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));
        const QByteArray listening = log.readLine();
        QVERIFY2(listening.startsWith("listening on"), listening.constData());
        const quint16 port = listening.trimmed().split(':').last().toUShort();
        // Half the cap at a time, since the last round may not have left yet.
        for (int round = 0; round < 20; ++round) {
            connectMany(port, 32, false);
            for (const auto &peer : peers)
                QTRY_VERIFY(peer->id > 0);
            peers.clear();
        }
        Peer &player = *peers.emplace_back(std::make_unique<Peer>(port));
        QTRY_VERIFY(player.id > 0);
        roundTrip(player);
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
        (void)log.readAll();
        player.socket.disconnectFromHost();
        QByteArray after;
        QTRY_VERIFY((after += log.readAll()).contains("disconnected"));
        QVERIFY2(QRegularExpression("^\\d+ lines of the log were lost").match(after).hasMatch(),
                 after.constData());
        server.kill();
        server.waitForFinished();
    }

    void tellsTheServiceManager()
    {
#ifndef VORLEN_HAVE_SYSTEMD
        QSKIP("built without libsystemd, so the relay tells systemd nothing");
#endif
        QTemporaryDir dir;
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray path = QFile::encodeName(dir.filePath("notify"));
        qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
        const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        QVERIFY(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0);
        QByteArrayList told;
        const auto said = [&] {
            char message[256];
            for (ssize_t size; (size = recv(fd, message, sizeof message, 0)) > 0;)
                told << QByteArray(message, size);
            return told;
        };
        ServerProcess server({}, [&path](QProcess &process) {
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert("NOTIFY_SOCKET", path);
            environment.insert("WATCHDOG_USEC", "100000");
            process.setProcessEnvironment(environment);
        });
        QVERIFY2(server.port, server.log.constData());
        QTRY_COMPARE(said().mid(0, 2), (QByteArrayList{"READY=1", "STATUS=0 players"}));
        connectMany(server.port, 2);
        QTRY_VERIFY(said().contains("STATUS=2 players"));
        // Every 50 ms, for as long as the event loop turns.
        QTRY_VERIFY(said().count("WATCHDOG=1") >= 5);
        ::kill(pid_t(server.process.processId()), SIGTERM);
        QVERIFY(server.process.waitForFinished(10000));
        QTRY_VERIFY(said().contains("STOPPING=1"));
        ::close(fd);
    }

    // Each default stands once, in the limits, and --help shows it; what the manual
    // page, the README and the units say must agree.
    void defaultsAgree_data()
    {
        // The options stated in the parts of the file that `within` matches.
        columns<QString, QString, QString, bool>("file", "within", "pattern", "complete");
        const QString whole = "(?s).+";
        addRow("manual page", QString("packaging/vorlen-server.8"), whole,
               QString(R"(\.BI \\-\\-(\S+) .*\n(?:(?!\.TP).*\n)*?.*Default \\fB([^\\]+)\\fR)"),
               true);
        addRow("README", QString("README.md"), whole,
               QString(R"(\| `--([a-z-]+) \S+` \| ([^|]+) \|)"), false);
        // The address and the port are the units' own choice.
        for (const char *unit : {"vorlen-server.service", "vorlen-server@.service"})
            addRow(unit, QString("packaging/") + unit, QString("(?m)^ExecStart=.*$"),
                   QString(R"(--((?!listen|port)[a-z-]+) (\S+))"), false);
    }
    void defaultsAgree()
    {
        QFETCH(QString, file);
        QFETCH(QString, within);
        QFETCH(QString, pattern);
        QFETCH(bool, complete);
        QProcess server;
        server.start(QCoreApplication::applicationDirPath() + "/../vorlen-server", {"--help"});
        QVERIFY(server.waitForFinished());
        const QString help = QString(server.readAllStandardOutput()).simplified();
        QMap<QString, QString> byDefault;
        const QRegularExpression option(R"(--([a-z-]+) <\w+> .*?\(default ([^)]+)\))");
        for (const QRegularExpressionMatch &match : option.globalMatch(help))
            byDefault.insert(match.captured(1), match.captured(2));
        const RelayLimits limits;
        QCOMPARE(byDefault.value("max-players"), QString::number(limits.maxPlayers));
        QCOMPARE(byDefault.value("max-per-address"), QString::number(limits.maxPerAddress));
        QCOMPARE(byDefault.value("line-rate"), QString::number(limits.lineRate));
        QCOMPARE(byDefault.value("line-burst"), QString::number(limits.lineBurst));
        QCOMPARE(byDefault.value("line-timeout"), QString::number(limits.lineTimeoutMs / 1000));
        QCOMPARE(byDefault.value("idle-timeout"), QString::number(limits.idleTimeoutMs / 1000));
        // The sources, not the manual page configured into the build tree.
        QFile source(QT_TESTCASE_SOURCEDIR "/../" + file);
        QVERIFY2(source.open(QIODevice::ReadOnly), qPrintable(file));
        QMap<QString, QString> stated;
        for (const QRegularExpressionMatch &part :
             QRegularExpression(within).globalMatch(QString(source.readAll()))) {
            for (const QRegularExpressionMatch &match :
                 QRegularExpression(pattern).globalMatch(part.captured()))
                stated.insert(match.captured(1).replace("\\-", "-"), match.captured(2).trimmed());
        }
        QVERIFY(!stated.isEmpty() || !complete);
        for (auto it = stated.cbegin(); it != stated.cend(); ++it)
            QCOMPARE(it.key() + ' ' + it.value(), it.key() + ' ' + byDefault.value(it.key()));
        if (complete)
            QCOMPARE(stated.keys(), byDefault.keys());
    }
};

QTEST_MAIN(TestRelay)
#include "tst_relay.moc"
