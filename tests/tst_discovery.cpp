// SPDX-License-Identifier: GPL-3.0-or-later
#include "discoverydatagram.h"
#include "discoveryresponder.h"
#include "lanbrowser.h"
#include "lanserverlist.h"
#include "relay.h"

#include "relayclients.h"

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
    return DiscoveryDatagram::answer({7, 0, 0, 0, 0, "1.0.0", name});
}

auto fields(const DiscoveryAnswer &a)
{
    return std::tie(a.token, a.instance, a.players, a.maxPlayers, a.port, a.version, a.name);
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

    void readDatagram_data()
    {
        columns<QByteArray, qint64, bool>("datagram", "token", "answer"); // token -1: no query
        const qint64 token = 0x0102030405060708;
        const QByteArray query = DiscoveryDatagram::query(token);
        const QByteArray answer = answerNamed("Arena");
        const int nameAt = int(answer.size()) - 6; // the name's length byte
        const qint64 none = -1;
        addRow("query", query, token, false);
        addRow("query padded further", query + "more", token, false);
        addRow("query too short", query.chopped(1), none, false);
        addRow("empty", QByteArray(), none, false);
        addRow("query of wrong magic", patched(query, 0, 'V'), none, false);
        addRow("query of wrong version", patched(query, 6, 2), none, false);
        addRow("unknown kind", patched(query, 7, '!'), none, false);
        addRow("answer", answer, none, true);
        addRow("answer cut short", answer.chopped(1), none, false);
        addRow("answer and a byte more", answer + 'x', none, false);
        addRow("answer of wrong magic", patched(answer, 1, 'O'), none, false);
        addRow("answer of wrong version", patched(answer, 6, 0), none, false);
        addRow("name over 32 bytes", patched(answer, nameAt, 33) + QByteArray(28, 'x'), none,
               false);
        addRow("name not UTF-8", patched(answer, nameAt + 1, char(0xff)), none, false);
        addRow("name with a line break", answerNamed("Arena\nKasi"), none, false);
        addRow("answer of a query's size", answer + QByteArray(DiscoveryDatagram::querySize, 0),
               none, false);
    }

    void readDatagram()
    {
        QFETCH(QByteArray, datagram);
        const std::optional<quint64> token = DiscoveryDatagram::readQuery(datagram);
        QTEST(token ? qint64(*token) : qint64(-1), "token");
        QTEST(DiscoveryDatagram::readAnswer(datagram).has_value(), "answer");
    }

    // Whatever the relay is called, its answer is no larger than a query.
    void answerName_data()
    {
        columns<QString, QString>("name", "sent");
        const QString thirtyTwo = QString("ą").repeated(16); // 32 bytes of UTF-8
        addRow("plain", "Arena Kasi", "Arena Kasi");
        addRow("empty", QString(), QString());
        addRow("32 bytes", thirtyTwo, thirtyTwo);
        addRow("33 bytes, cut before a character", "a" + thirtyTwo, "a" + thirtyTwo.chopped(1));
        addRow("33 bytes, cut after one", thirtyTwo + "a", thirtyTwo);
        addRow("far over", QString("x").repeated(300), QString("x").repeated(32));
    }

    void answerName()
    {
        QFETCH(QString, name);
        QFETCH(QString, sent);
        const QByteArray datagram = DiscoveryDatagram::answer(
            {~quint64(0), 12345, 3, 64, 7001, QString("9").repeated(40), name});
        QVERIFY(datagram.size() <= DiscoveryDatagram::querySize);
        const std::optional<DiscoveryAnswer> read = DiscoveryDatagram::readAnswer(datagram);
        QVERIFY(read);
        QCOMPARE(fields(*read),
                 fields({~quint64(0), 12345, 3, 64, 7001, QString("9").repeated(16), sent}));
    }

    // The relay's answer over a real socket: what it is, how full, its echo of the token.
    // Garbage sent before the query would be answered first, so it goes unanswered.
    void relayAnswers()
    {
        startRelay({});
        QTcpSocket player;
        player.connectToHost(QHostAddress::LocalHost, relay->port());
        QTRY_COMPARE(relay->players(), qsizetype(1));
        QUdpSocket lobby;
        const QByteArray query = DiscoveryDatagram::query(0xfeedface);
        for (const QByteArray &datagram :
             {QByteArray("x"), answerNamed("Arena"), QByteArray(500, 0), query})
            lobby.writeDatagram(datagram, QHostAddress::LocalHost, relay->port());
        QTRY_VERIFY(lobby.hasPendingDatagrams());
        const QByteArray datagram = lobby.receiveDatagram().data();
        QVERIFY(datagram.size() <= query.size());
        const std::optional<DiscoveryAnswer> answer = DiscoveryDatagram::readAnswer(datagram);
        QVERIFY(answer);
        QCOMPARE(fields(*answer), fields({0xfeedface, answer->instance, 1, 64, relay->port(),
                                          VORLEN_VERSION, "Arena Kasi"}));
    }

    // Two sources, A then B, each sending a burst; refills are off, so the counts are exact.
    void relayLimitsAnswers_data()
    {
        columns<double, double, int, int, int, int>("sourceBurst", "burst", "maxSources", "sent",
                                                    "answeredA", "answeredB");
        addRow("per source", 3.0, 100.0, 10, 10, 3, 3);
        addRow("overall", 100.0, 4.0, 10, 3, 3, 1);
        addRow("both", 2.0, 3.0, 10, 5, 2, 1);
        addRow("sources remembered", 5.0, 100.0, 1, 2, 2, 0);
    }

    void relayLimitsAnswers()
    {
        QFETCH(double, sourceBurst);
        QFETCH(double, burst);
        QFETCH(int, maxSources);
        QFETCH(int, sent);
        QFETCH(int, answeredA);
        QFETCH(int, answeredB);
        startRelay({0, sourceBurst, 0, burst, maxSources, INT_MAX});
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

    // Queries go to this machine on the game's port and the field's, only while no view
    // covers the lobby; answers count only with the token of a recent query, and their
    // row stays until the relay has been silent for silenceMs.
    void listAsksWhileTheLobbyShows()
    {
        QUdpSocket standard, field;
        QVERIFY(standard.bind(QHostAddress::LocalHost, 7000));
        QVERIFY(field.bind(QHostAddress::LocalHost));
        QWidget window;
        window.resize(400, 300);
        auto *list = new LanServerList(&window);
        list->rounds->stop(); // one round at showing, the others by hand
        list->setFieldPort(field.localPort());
        list->silenceMs = 1000;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTRY_VERIFY(standard.hasPendingDatagrams());
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
            const QString name = echoed == *token ? "echoed" : "forged";
            standard.writeDatagram(DiscoveryDatagram::answer({echoed, 0, 2, 64, 7000, {}, name}),
                                   QHostAddress::LocalHost, quint16(queries.first().senderPort()));
        }
        QTRY_COMPARE(list->rows->count(), 1);
        QCOMPARE(answered.count(), 1);
        const QString row = list->rows->item(0)->text();
        QVERIFY2(
            row.contains(QRegularExpression("^echoed · 2/64 · 127\\.0\\.0\\.1:7000 · \\d+ ms$")),
            qPrintable(row));
        QTRY_COMPARE(list->rows->count(), 0);
    }

    // One relay answering from several addresses keeps one row, on the address a
    // friend would type.
    void listKeepsOneRowARelay_data()
    {
        columns<QStringList, QString>("from", "shown");
        addRow("network after loopback", QStringList{"127.0.0.1", "192.168.1.20"},
               "192.168.1.20:7000");
        addRow("IPv4 over IPv6", QStringList{"fe80::1%lo", "127.0.0.1", "fe80::1%lo"},
               "127.0.0.1:7000");
        addRow("first of two on the network", QStringList{"10.0.0.2", "192.168.1.20"},
               "10.0.0.2:7000");
    }

    void listKeepsOneRowARelay()
    {
        QFETCH(QStringList, from);
        LanServerList list;
        DiscoveryAnswer answer{0, 42, 0, 0, 7000, {}, "Arena Kasi"};
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
        columns<QStringList, int, QString>("options", "status", "printed"); // printed: a pattern
        addRow("answer", QStringList{"--name", "Arena Kasi"}, 0,
               "^Arena Kasi · 0/64 · " VORLEN_VERSION " · \\d+ ms\n$");
        addRow("no discovery", QStringList{"--no-discovery"}, 1,
               "no answer from 127.0.0.1:\\d+ within 2 s\n$");
    }

    void queryFromTheCommandLine()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, printed);
        ServerProcess server(options);
        QVERIFY(server.port);
        QProcess query;
        query.start(server.process.program(),
                    {"--query", "127.0.0.1:" + QString::number(server.port)});
        QVERIFY(query.waitForFinished());
        QTEST(query.exitCode(), "status");
        const QString output = query.readAllStandardOutput() + query.readAllStandardError();
        QVERIFY2(QRegularExpression(printed).match(output).hasMatch(), qPrintable(output));
    }
};

QTEST_MAIN(TestDiscovery)
#include "tst_discovery.moc"
