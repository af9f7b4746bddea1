// SPDX-License-Identifier: GPL-3.0-or-later
#include "discoverydatagram.h"
#include "discoveryresponder.h"
#include "lanbrowser.h"
#include "lanserverlist.h"
#include "relay.h"

#include <QtNetwork>
#include <QtTest>
#include <QtWidgets>
#include <memory>

namespace {

// Every message, kept for the tests instead of printed.
QStringList logged;
void keepMessage(QtMsgType, const QMessageLogContext &, const QString &message)
{
    logged << message;
}

QByteArray patched(QByteArray bytes, int at, char value)
{
    bytes[at] = value;
    return bytes;
}

QByteArray answerNamed(const QString &name)
{
    DiscoveryAnswer answer;
    answer.token = 7;
    answer.version = "1.0.0";
    answer.name = name;
    return DiscoveryDatagram::answer(answer);
}

QList<QNetworkDatagram> pending(QUdpSocket &socket)
{
    QList<QNetworkDatagram> datagrams;
    while (socket.hasPendingDatagrams())
        datagrams << socket.receiveDatagram();
    return datagrams;
}

} // namespace

// Finding relays on the local network: the two datagrams, the relay's answers and
// their limits, and the lobby's list.
class TestDiscovery : public QObject
{
    Q_OBJECT

    std::unique_ptr<Relay> relay;
    std::unique_ptr<DiscoveryResponder> responder;

    void startRelay(const DiscoveryResponder::Limits &limits)
    {
        relay = std::make_unique<Relay>();
        QVERIFY(relay->listen(QHostAddress::LocalHost, 0));
        responder = std::make_unique<DiscoveryResponder>(*relay, "Arena Kasi", 64, limits);
        QVERIFY(responder->listen(QHostAddress::LocalHost, relay->port()));
    }

    // Waits until the responder has taken everything sent before, by a malformed
    // datagram that its sweeps count; gives the queries it dropped over the rate.
    int settle()
    {
        QUdpSocket marker;
        marker.writeDatagram("?", QHostAddress::LocalHost, relay->port());
        int overRate = 0;
        const QRegularExpression summary("(\\d+) malformed, (\\d+) over the rate");
        const bool seen = QTest::qWaitFor([&] {
            logged.clear();
            responder->sweep();
            const QRegularExpressionMatch counts =
                summary.match(logged.isEmpty() ? QString() : logged.first());
            overRate += counts.captured(2).toInt();
            return counts.captured(1) == "1";
        });
        return seen ? overRate : -1;
    }

private slots:
    void initTestCase() { qInstallMessageHandler(keepMessage); }

    void readQuery_data()
    {
        QTest::addColumn<QByteArray>("datagram");
        QTest::addColumn<qint64>("token"); // -1 for a refused datagram
        const QByteArray good = DiscoveryDatagram::query(0x0102030405060708);
        QTest::newRow("good") << good << qint64(0x0102030405060708);
        QTest::newRow("padded further") << good + "more" << qint64(0x0102030405060708);
        QTest::newRow("too short") << good.chopped(1) << qint64(-1);
        QTest::newRow("empty") << QByteArray() << qint64(-1);
        QTest::newRow("wrong magic") << patched(good, 0, 'V') << qint64(-1);
        QTest::newRow("wrong version") << patched(good, 6, 2) << qint64(-1);
        QTest::newRow("an answer") << patched(good, 7, '!') << qint64(-1);
    }

    void readQuery()
    {
        QFETCH(QByteArray, datagram);
        const std::optional<quint64> token = DiscoveryDatagram::readQuery(datagram);
        QTEST(token ? qint64(*token) : qint64(-1), "token");
    }

    // Whatever the relay is called, its answer is no larger than a query.
    void answerName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("sent");
        const QString thirtyTwo = QString("ą").repeated(16); // 32 bytes of UTF-8
        QTest::newRow("plain") << "Arena Kasi"
                               << "Arena Kasi";
        QTest::newRow("empty") << ""
                               << "";
        QTest::newRow("32 bytes") << thirtyTwo << thirtyTwo;
        QTest::newRow("33 bytes, cut before a character")
            << "a" + thirtyTwo << "a" + thirtyTwo.chopped(1);
        QTest::newRow("33 bytes, cut after one") << thirtyTwo + "a" << thirtyTwo;
        QTest::newRow("far over") << QString("x").repeated(300) << QString("x").repeated(32);
    }

    void answerName()
    {
        QFETCH(QString, name);
        DiscoveryAnswer answer;
        answer.token = ~quint64(0);
        answer.instance = 12345;
        answer.players = 3;
        answer.maxPlayers = 64;
        answer.port = 7001;
        answer.version = QString("9").repeated(40);
        answer.name = name;
        const QByteArray datagram = DiscoveryDatagram::answer(answer);
        QVERIFY(datagram.size() <= DiscoveryDatagram::querySize);
        const std::optional<DiscoveryAnswer> read = DiscoveryDatagram::readAnswer(datagram);
        QVERIFY(read);
        QCOMPARE(read->token, answer.token);
        QCOMPARE(read->instance, answer.instance);
        QCOMPARE(read->players, answer.players);
        QCOMPARE(read->maxPlayers, answer.maxPlayers);
        QCOMPARE(read->port, answer.port);
        QCOMPARE(read->version, QString("9").repeated(16));
        QTEST(read->name, "sent");
    }

    void readAnswerRefuses_data()
    {
        QTest::addColumn<QByteArray>("datagram");
        const QByteArray good = answerNamed("Arena");
        const int nameAt = int(good.size()) - 6; // the name's length byte
        QTest::newRow("cut short") << good.chopped(1);
        QTest::newRow("a byte more") << good + 'x';
        QTest::newRow("wrong magic") << patched(good, 1, 'O');
        QTest::newRow("wrong version") << patched(good, 6, 0);
        QTest::newRow("a query") << patched(good, 7, '?');
        QTest::newRow("name over 32 bytes") << patched(good, nameAt, 33) + QByteArray(28, 'x');
        QTest::newRow("not UTF-8") << patched(good, nameAt + 1, char(0xff));
        QTest::newRow("a line break") << answerNamed("Arena\nKasi");
        QTest::newRow("a query's size") << good + QByteArray(DiscoveryDatagram::querySize, 0);
    }

    void readAnswerRefuses()
    {
        QFETCH(QByteArray, datagram);
        QVERIFY(!DiscoveryDatagram::readAnswer(datagram));
    }

    // The relay's answer over a real socket: what it is, how full, its echo of the token.
    void relayAnswers()
    {
        startRelay({});
        QTcpSocket player;
        player.connectToHost(QHostAddress::LocalHost, relay->port());
        QTRY_COMPARE(relay->players(), qsizetype(1));
        QUdpSocket lobby;
        const QByteArray query = DiscoveryDatagram::query(0xfeedface);
        lobby.writeDatagram(query, QHostAddress::LocalHost, relay->port());
        QTRY_VERIFY(lobby.hasPendingDatagrams());
        const QByteArray datagram = lobby.receiveDatagram().data();
        QVERIFY(datagram.size() <= query.size());
        const std::optional<DiscoveryAnswer> answer = DiscoveryDatagram::readAnswer(datagram);
        QVERIFY(answer);
        QCOMPARE(answer->token, quint64(0xfeedface));
        QCOMPARE(answer->players, quint32(1));
        QCOMPARE(answer->maxPlayers, quint32(64));
        QCOMPARE(answer->port, relay->port());
        QCOMPARE(answer->version, QString(VORLEN_VERSION));
        QCOMPARE(answer->name, QString("Arena Kasi"));
    }

    // Two sources, A then B, each sending a burst; refills are off, so the counts are exact.
    void relayLimitsAnswers_data()
    {
        QTest::addColumn<double>("sourceBurst");
        QTest::addColumn<double>("burst");
        QTest::addColumn<int>("maxSources");
        QTest::addColumn<int>("sent");
        QTest::addColumn<int>("answeredA");
        QTest::addColumn<int>("answeredB");
        QTest::newRow("per source") << 3.0 << 100.0 << 10 << 10 << 3 << 3;
        QTest::newRow("overall") << 100.0 << 4.0 << 10 << 3 << 3 << 1;
        QTest::newRow("both") << 2.0 << 3.0 << 10 << 5 << 2 << 1;
        QTest::newRow("sources remembered") << 5.0 << 100.0 << 1 << 2 << 2 << 0;
    }

    void relayLimitsAnswers()
    {
        QFETCH(double, sourceBurst);
        QFETCH(double, burst);
        QFETCH(int, maxSources);
        QFETCH(int, sent);
        QFETCH(int, answeredA);
        QFETCH(int, answeredB);
        DiscoveryResponder::Limits limits;
        limits.sourceRate = 0;
        limits.sourceBurst = sourceBurst;
        limits.rate = 0;
        limits.burst = burst;
        limits.maxSources = maxSources;
        limits.sweepIntervalMs = INT_MAX;
        startRelay(limits);
        QUdpSocket a, b;
        QVERIFY(a.bind(QHostAddress("127.0.0.2")));
        QVERIFY(b.bind(QHostAddress("127.0.0.3")));
        for (QUdpSocket *source : {&a, &b})
            for (int i = 0; i < sent; ++i)
                source->writeDatagram(DiscoveryDatagram::query(i), QHostAddress::LocalHost,
                                      relay->port());
        QCOMPARE(settle(), 2 * sent - answeredA - answeredB);
        QCOMPARE(pending(a).size(), answeredA);
        QCOMPARE(pending(b).size(), answeredB);
    }

    // Garbage is dropped without an answer, and the log sums it up once a sweep.
    void relayCountsMalformed()
    {
        startRelay({});
        logged.clear();
        QUdpSocket sender;
        for (const QByteArray &junk : {QByteArray("x"), answerNamed("Arena"), QByteArray(500, 0)})
            sender.writeDatagram(junk, QHostAddress::LocalHost, relay->port());
        QTRY_COMPARE(logged,
                     QStringList{"discovery dropped 3 datagrams: 3 malformed, 0 over the rate"});
        QVERIFY(pending(sender).isEmpty());
    }

    // A relay answering on loopback, asked on the field's port: its row, until it falls silent.
    void listShowsRelays()
    {
        startRelay({});
        QWidget window;
        window.resize(400, 300);
        auto *list = new LanServerList(&window);
        list->setFieldPort(relay->port());
        list->silenceMs = 300;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTRY_COMPARE(list->rows->count(), 1);
        const QString row = list->rows->item(0)->text();
        const QString where = "127.0.0.1:" + QString::number(relay->port());
        QVERIFY2(QRegularExpression("^Arena Kasi · 0/64 · " + QRegularExpression::escape(where) +
                                    " · \\d+ ms$")
                     .match(row)
                     .hasMatch(),
                 qPrintable(row));

        responder.reset(); // silent from now on
        QTRY_COMPARE(list->rows->count(), 0);
    }

    // Queries go to this machine on the game's port and the field's, only while no view
    // covers the lobby; answers count only with the token of a recent query.
    void listAsksWhileTheLobbyShows()
    {
        QUdpSocket standard, field;
        QVERIFY(standard.bind(QHostAddress::LocalHost, 7000));
        QVERIFY(field.bind(QHostAddress::LocalHost));
        QWidget window;
        window.resize(400, 300);
        auto *list = new LanServerList(&window);
        list->rounds->stop();
        list->setFieldPort(field.localPort());
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTRY_VERIFY(standard.hasPendingDatagrams()); // the round at showing
        QCOMPARE(pending(standard).size(), 1);
        QCOMPARE(pending(field).size(), 1);

        auto *cover = new QWidget(&window);
        cover->setGeometry(window.rect());
        cover->show();
        list->browse();
        QCOMPARE(pending(standard).size(), 0);
        cover->hide();
        list->browse();
        const QList<QNetworkDatagram> queries = pending(standard);
        QCOMPARE(queries.size(), 1);
        QCOMPARE(pending(field).size(), 1);

        const std::optional<quint64> token = DiscoveryDatagram::readQuery(queries.first().data());
        QVERIFY(token);
        QSignalSpy answered(list->browser, &LanBrowser::answered);
        for (const quint64 echoed : {*token + 1, *token}) {
            DiscoveryAnswer answer;
            answer.token = echoed;
            answer.name = echoed == *token ? "echoed" : "forged";
            standard.writeDatagram(DiscoveryDatagram::answer(answer), QHostAddress::LocalHost,
                                   quint16(queries.first().senderPort()));
        }
        QTRY_COMPARE(list->rows->count(), 1);
        QCOMPARE(answered.count(), 1);
        QCOMPARE(list->rows->item(0)->text().section(" · ", 0, 0), QString("echoed"));
    }

    // One relay answering from several addresses keeps one row, on the address a
    // friend would type.
    void listKeepsOneRowARelay_data()
    {
        QTest::addColumn<QStringList>("from");
        QTest::addColumn<QString>("shown");
        QTest::newRow("network after loopback")
            << QStringList{"127.0.0.1", "192.168.1.20"} << "192.168.1.20:7000";
        QTest::newRow("IPv4 over IPv6")
            << QStringList{"fe80::1%lo", "127.0.0.1", "fe80::1%lo"} << "127.0.0.1:7000";
        QTest::newRow("first of two on the network")
            << QStringList{"10.0.0.2", "192.168.1.20"} << "10.0.0.2:7000";
    }

    void listKeepsOneRowARelay()
    {
        QFETCH(QStringList, from);
        LanServerList list;
        DiscoveryAnswer answer;
        answer.instance = 42;
        answer.port = 7000;
        answer.name = "Arena Kasi";
        for (const QString &address : from)
            emit list.browser->answered(answer, QHostAddress(address), 2);
        QCOMPARE(list.rows->count(), 1);
        QTEST(list.rows->item(0)->data(Qt::UserRole).toString(), "shown");
        answer.instance = 43;
        emit list.browser->answered(answer, QHostAddress(from.first()), 2);
        QCOMPARE(list.rows->count(), 2);
    }

    // The relay program: --query asks it, --no-discovery silences it.
    void queryFromTheCommandLine_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("printed"); // a pattern
        QTest::newRow("answer") << QStringList{"--name", "Arena Kasi"} << 0
                                << "^Arena Kasi · 0/64 · " VORLEN_VERSION " · \\d+ ms\n$";
        QTest::newRow("no discovery")
            << QStringList{"--no-discovery"} << 1 << "no answer from 127.0.0.1:\\d+ within 2 s\n$";
    }

    void queryFromTheCommandLine()
    {
        QFETCH(QStringList, options);
        const QString program = QCoreApplication::applicationDirPath() + "/../vorlen-server";
        QProcess server;
        server.setReadChannel(QProcess::StandardError);
        server.start(program, options + QStringList{"--port", "0"});
        QVERIFY(server.waitForReadyRead());
        const QByteArray listening = server.readLine();
        const QString port = QString(listening).trimmed().section(':', -1);
        QProcess query;
        query.start(program, {"--query", "127.0.0.1:" + port});
        QVERIFY(query.waitForFinished());
        QTEST(query.exitCode(), "status");
        QFETCH(QString, printed);
        const QString output = query.readAllStandardOutput() + query.readAllStandardError();
        QVERIFY2(QRegularExpression(printed).match(output).hasMatch(), qPrintable(output));
        server.kill();
        server.waitForFinished();
    }
};

QTEST_MAIN(TestDiscovery)
#include "tst_discovery.moc"
