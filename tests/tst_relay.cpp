#include "relay.h"
#include "session.h"

#include <QLoggingCategory>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QtTest>
#include <memory>
#include <set>
#include <vector>

// A client as the test sees it: a real socket and every line that has come in.
struct Peer
{
    explicit Peer(quint16 port)
    {
        QObject::connect(&socket, &QTcpSocket::readyRead, &socket, [this] {
            QByteArrayList parts = (unfinished + socket.readAll()).split('\n');
            unfinished = parts.takeLast();
            lines += parts;
        });
        socket.connectToHost(QHostAddress::LocalHost, port);
    }

    // The id of the latest MsgSpawn, 0 before the first.
    int id() const
    {
        for (auto line = lines.crbegin(); line != lines.crend(); ++line) {
            if (line->startsWith("0x"))
                return line->mid(2, line->indexOf(';') - 2).toInt();
        }
        return 0;
    }

    QTcpSocket socket;
    QByteArrayList lines;
    QByteArray unfinished;
};

// %1 stands for the id of the player who sends, %2 for the other one's.
QByteArray fill(QByteArray text, int own, int other = 0)
{
    return text.replace("%1", QByteArray::number(own)).replace("%2", QByteArray::number(other));
}

QByteArrayList fill(const QByteArrayList &lines, int own)
{
    QByteArrayList filled;
    for (const QByteArray &line : lines)
        filled << fill(line, own);
    return filled;
}

QByteArray spawnOf(const Peer &peer)
{
    return fill("0x%1;0;0", peer.id());
}

QByteArray arrivalOf(const Peer &peer)
{
    return fill("1x%1;100;100", peer.id());
}

class TestRelay : public QObject
{
    Q_OBJECT

private:
    Peer &join();
    int sessions() const { return relay->findChildren<Session *>().size(); }

    std::unique_ptr<Relay> relay;
    std::vector<std::unique_ptr<Peer>> peers;

private slots:
    void init();
    void cleanup();

    void introducesLivingPlayers_data();
    void introducesLivingPlayers();
    void routesLines_data();
    void routesLines();
    void respawnStartsANewLife_data();
    void respawnStartsANewLife();
    void disconnectEndsTheLife_data();
    void disconnectEndsTheLife();
    void disconnectsEndlessLine();
    void disconnectsClientThatStopsReading();
    void logsConnections();
    void servesFiftyClients();
    void commandLine_data();
    void commandLine();
};

Peer &TestRelay::join()
{
    peers.push_back(std::make_unique<Peer>(relay->port()));
    Peer &peer = *peers.back();
    // Callers compare what arrived, so a MsgSpawn that never comes fails there.
    (void)QTest::qWaitFor([&] { return peer.id() != 0; }, 5000);
    return peer;
}

void TestRelay::init()
{
    QLoggingCategory::setFilterRules("default.info=false");
    relay = std::make_unique<Relay>();
    QVERIFY(relay->listen(QHostAddress::LocalHost, 0));
}

void TestRelay::cleanup()
{
    peers.clear();
    relay.reset();
}

void TestRelay::introducesLivingPlayers_data()
{
    // Each non-empty "sent" ends in a line the sender gets back, so that it is known
    // to have been handled before the newcomer arrives.
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QByteArrayList>("introduction");

    QTest::newRow("fresh") << QByteArray() << QByteArrayList{"1x%1;100;100"};
    QTest::newRow("walk target is the centre")
        << QByteArray("2x0;512;-12.5\n") << QByteArrayList{"1x%1;462;-62"};
    QTest::newRow("walk target in exponent form")
        << QByteArray("2x0;1.23457e+06;5\n") << QByteArrayList{"1x%1;1234520;-45"};
    QTest::newRow("position is the corner")
        << QByteArray("9x0;300;-40.7\n7x0;1;0\n") << QByteArrayList{"1x%1;300;-40"};
    QTest::newRow("walk after position")
        << QByteArray("9x0;300;40\n2x0;1000;1000\n") << QByteArrayList{"1x%1;950;950"};
    QTest::newRow("position after walk")
        << QByteArray("2x0;1000;1000\n9x0;300;40\n7x0;1;0\n") << QByteArrayList{"1x%1;300;40"};
    QTest::newRow("latest setup of each stat")
        << QByteArray("6x0;2;3\n6x0;1;7\n6x0;3;9\n6x0;2;12\n")
        << QByteArrayList{"1x%1;100;100", "6x%1;1;7", "6x%1;2;12"};
    QTest::newRow("weapon in hand")
        << QByteArray("4x0;2;1\n") << QByteArrayList{"1x%1;100;100", "4x%1;2;1"};
    QTest::newRow("any flag but 1 puts away")
        << QByteArray("4x0;2;1\n4x0;3;2\n") << QByteArrayList{"1x%1;100;100"};
    QTest::newRow("unknown item keeps the weapon")
        << QByteArray("4x0;3;1\n4x0;0;1\n") << QByteArrayList{"1x%1;100;100", "4x%1;3;1"};
    QTest::newRow("everything, in order")
        << QByteArray("6x0;2;12\n4x0;1;1\n2x0;150;250\n6x0;1;7\n")
        << QByteArrayList{"1x%1;100;200", "6x%1;1;7", "6x%1;2;12", "4x%1;1;1"};
    QTest::newRow("dead") << QByteArray("4x0;1;1\n5x0;0;0\n") << QByteArrayList();
}

void TestRelay::introducesLivingPlayers()
{
    QFETCH(QByteArray, sent);
    QFETCH(QByteArrayList, introduction);

    Peer &old = join();
    old.socket.write(sent);
    if (!sent.isEmpty()) {
        const QByteArray last = sent.chopped(1).split('\n').last();
        QTRY_COMPARE(old.lines.last(),
                     last.left(2) + QByteArray::number(old.id()) + last.mid(last.indexOf(';')));
    }
    const Peer &newcomer = join();
    QTRY_COMPARE(newcomer.lines, QByteArrayList{spawnOf(newcomer)} + fill(introduction, old.id()));
}

void TestRelay::routesLines_data()
{
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QByteArray>("toSender");
    QTest::addColumn<QByteArray>("toOther");
    QTest::addColumn<bool>("warned");

    const auto echoed = [](const char *tag, const QByteArray &sent, const QByteArray &relayed) {
        QTest::newRow(tag) << sent << relayed << relayed << false;
    };
    const auto dropped = [](const char *tag, const QByteArray &sent) {
        QTest::newRow(tag) << sent << QByteArray() << QByteArray() << true;
    };
    echoed("walk", "2x0;512;-12.5", "2x%1;512;-12.5");
    echoed("values kept as written", "2x%1;1.23457e+06;5.0", "2x%1;1.23457e+06;5.0");
    echoed("shot in another's name", "3x%2;10;20", "3x%1;10;20");
    echoed("weapon without id", "4x-1;2;1", "4x%1;2;1");
    echoed("setup", "6x999;2;12", "6x%1;2;12");
    echoed("damage", "7x%1;35;0", "7x%1;35;0");
    echoed("blanks around values", "2x0; 5;6 ", "2x%1;5;6");
    const QByteArray zeros(125, '0');
    echoed("256 bytes", "2x0;" + zeros + ';' + zeros + '7', "2x%1;" + zeros + ';' + zeros + '7');
    QTest::newRow("position, to others only")
        << QByteArray("9x0;300;-40") << QByteArray() << QByteArray("9x%1;300;-40") << false;
    QTest::newRow("empty line, silently") << QByteArray() << QByteArray() << QByteArray() << false;
    dropped("spawn", "0x0;0;0");
    dropped("new player", "1x0;100;100");
    dropped("reserved", "8x0;0;0");
    dropped("no x", "20;5;5");
    dropped("unknown type letter", "qx0;5;5");
    dropped("two-digit type", "10x0;5;5");
    dropped("too few fields", "2x0;5");
    dropped("extra field", "2x0;5;5;5");
    dropped("word for a value", "2x0;five;5");
    dropped("word for an id", "2xme;5;5");
    dropped("not a number", "3x0;5;nan");
    dropped("out of range", "2x0;1e400;5");
    dropped("zero byte", QByteArray("2x0;5\0;5", 9));
    dropped("257 bytes", "2x0;5;" + QByteArray(251, '1'));
    dropped("4096 bytes", QByteArray(4096, '2'));
}

void TestRelay::routesLines()
{
    QFETCH(QByteArray, sent);
    QFETCH(QByteArray, toSender);
    QFETCH(QByteArray, toOther);
    QFETCH(bool, warned);

    if (warned)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^player \\d+ dropped "));
    else
        QTest::failOnWarning(QRegularExpression(".*"));
    Peer &sender = join();
    const Peer &other = join();
    // The shot behind it shows that the line has been dealt with, and that the
    // connection still works.
    sender.socket.write(fill(sent, sender.id(), other.id()) + "\n3x0;1;1\n");
    const auto expected = [&](const Peer &to, const Peer &from, const QByteArray &relayed) {
        QByteArrayList lines{spawnOf(to), arrivalOf(from)};
        if (!relayed.isEmpty())
            lines << fill(relayed, sender.id());
        return lines << fill("3x%1;1;1", sender.id());
    };
    QTRY_COMPARE(sender.lines, expected(sender, other, toSender));
    QTRY_COMPARE(other.lines, expected(other, sender, toOther));
}

void TestRelay::respawnStartsANewLife_data()
{
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<bool>("droppedWhileDead");

    QTest::newRow("after death") << QByteArray("5x0;0;0\n2x0;5;5\nrx-1;0;0\n") << true;
    // A client asks only when it thinks itself dead, so the old life ends like a death.
    QTest::newRow("while alive") << QByteArray("rx-1;0;0\n") << false;
}

void TestRelay::respawnStartsANewLife()
{
    QFETCH(QByteArray, sent);
    QFETCH(bool, droppedWhileDead);

    if (droppedWhileDead)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("no living avatar"));
    Peer &player = join();
    const Peer &other = join();
    const int oldId = player.id();
    player.socket.write(sent);
    QTRY_VERIFY(player.id() != oldId);
    QVERIFY(player.id() > other.id());

    // A late line of the old life reaches only the new one.
    player.socket.write(fill("2x%1;5;5\n", oldId));
    const QByteArray death = fill("5x%1;0;0", oldId), walk = fill("2x%1;5;5", player.id());
    QTRY_COMPARE(player.lines, QByteArrayList({fill("0x%1;0;0", oldId), arrivalOf(other), death,
                                               spawnOf(player), walk}));
    QTRY_COMPARE(other.lines, QByteArrayList({spawnOf(other), fill("1x%1;100;100", oldId), death,
                                              arrivalOf(player), walk}));
}

void TestRelay::disconnectEndsTheLife_data()
{
    QTest::addColumn<QByteArray>("sent");

    QTest::newRow("alive") << QByteArray();
    QTest::newRow("in the middle of a line") << QByteArray("2x0;12");
    QTest::newRow("dead") << QByteArray("5x0;0;0\n");
}

void TestRelay::disconnectEndsTheLife()
{
    QFETCH(QByteArray, sent);

    Peer &leaving = join();
    Peer &staying = join();
    const QByteArray death = fill("5x%1;0;0", leaving.id());
    leaving.socket.write(sent);
    leaving.socket.disconnectFromHost();
    QTRY_COMPARE(sessions(), 1);
    staying.socket.write("3x0;0;0\n");
    QTRY_COMPARE(staying.lines, QByteArrayList({spawnOf(staying), arrivalOf(leaving), death,
                                                fill("3x%1;0;0", staying.id())}));
}

void TestRelay::disconnectsEndlessLine()
{
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("endless line"));
    Peer &flooding = join();
    const Peer &other = join();
    flooding.socket.write(QByteArray(4097, '2'));
    QTRY_COMPARE(flooding.socket.state(), QAbstractSocket::UnconnectedState);
    QTRY_COMPARE(other.lines, QByteArrayList({spawnOf(other), arrivalOf(flooding),
                                              fill("5x%1;0;0", flooding.id())}));
}

void TestRelay::disconnectsClientThatStopsReading()
{
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("bytes unread, disconnecting"));
    Peer &talking = join();
    Peer &deaf = join();
    QObject::disconnect(&deaf.socket, &QTcpSocket::readyRead, nullptr, nullptr);
    deaf.socket.setReadBufferSize(1);
    const Session *deafSession = relay->findChildren<Session *>().last(); // joined last
    QSignalSpy overflowed(deafSession, &Session::backlogOverflowed);

    // Far more than kernel buffers and the relay's limit together can hold.
    const QByteArray line = "3x0;" + QByteArray(125, '0') + ';' + QByteArray(125, '1') + '\n';
    talking.socket.write(line.repeated(64 * 1024));
    QVERIFY(overflowed.wait(20000));
    QVERIFY(overflowed.first().first().toLongLong() > Session::maxBacklog);
    QTRY_VERIFY(talking.lines.contains(fill("5x%1;0;0", deaf.id())));
}

void TestRelay::logsConnections()
{
    QLoggingCategory::setFilterRules("default.info=true");
    QTest::ignoreMessage(QtInfoMsg,
                         QRegularExpression("^player \\d+ connected from 127\\.0\\.0\\.1:\\d+$"));
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression("^player \\d+ disconnected$"));
    join().socket.disconnectFromHost();
    QTRY_COMPARE(sessions(), 0);
}

void TestRelay::servesFiftyClients()
{
    for (int i = 0; i < 50; ++i)
        peers.push_back(std::make_unique<Peer>(relay->port()));
    std::set<int> ids;
    for (const auto &peer : peers) {
        QTRY_VERIFY(peer->id() > 0);
        QCOMPARE(peer->lines.first(), spawnOf(*peer));
        ids.insert(peer->id());
    }
    QCOMPARE(ids.size(), 50u);

    peers.front()->socket.write("2x0;5;5\n");
    const QByteArray walk = fill("2x%1;5;5", peers.front()->id());
    for (const auto &peer : peers)
        QTRY_COMPARE(peer->lines.last(), walk);
}

void TestRelay::commandLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QStringList>("output");

    QTest::newRow("help") << QStringList{"--help"} << 0 << QStringList{"--listen", "--port"};
    QTest::newRow("bad port") << QStringList{"--port", "70000"} << 1
                              << QStringList{"invalid port 70000"};
    QTest::newRow("bad address") << QStringList{"--listen", "nowhere"} << 1
                                 << QStringList{"invalid address nowhere"};
    QTest::newRow("port taken") << QStringList{"--port", "%1"} << 1
                                << QStringList{"cannot listen on 127.0.0.1:%1"};
}

void TestRelay::commandLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QStringList, output);

    const QDir here(QCoreApplication::applicationDirPath());
    const QString program = QFileInfo::exists(here.filePath("vorlen-server"))
                                ? here.filePath("vorlen-server")
                                : here.filePath("../vorlen-server");
    if (!QFileInfo::exists(program))
        QSKIP("vorlen-server is not built");
    const QString port = QString::number(relay->port());
    arguments.replaceInStrings("%1", port);

    QProcess server;
    server.start(program, arguments);
    QVERIFY(server.waitForFinished(5000));
    QCOMPARE(server.exitCode(), exitCode);
    const QString printed = server.readAllStandardOutput() + server.readAllStandardError();
    for (const QString &expected : output)
        QVERIFY2(printed.contains(QString(expected).replace("%1", port)), qPrintable(printed));
}

QTEST_MAIN(TestRelay)
#include "tst_relay.moc"
