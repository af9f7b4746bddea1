#include "client.h"
#include "mainwindow.h"
#include "player.h"
#include "serveraddress.h"

#include <QApplication>
#include <QProcess>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

// The game server named at start: the form of its address, the program's command
// line, and two players meeting on a relay that no build knows of.
class TestServerAddress : public QObject
{
    Q_OBJECT

    static QString program(const char *name)
    {
        return QCoreApplication::applicationDirPath() + "/../" + name;
    }

    // A port that nothing listens on at the moment.
    static quint16 freePort()
    {
        QTcpServer probe;
        return probe.listen(QHostAddress::LocalHost) ? probe.serverPort() : 0;
    }

    static void enterArena(MainWindow &window)
    {
        window.findChild<QPushButton *>("connect")->click();
    }

private slots:
    void parse_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("host"); // empty for a refused text
        QTest::addColumn<int>("port");
        const auto good = [](const char *text, const char *host, int port) {
            QTest::newRow(text) << text << host << port;
        };
        const auto bad = [](const char *name, const char *text) {
            QTest::newRow(name) << text << QString() << 0;
        };
        good("192.168.1.20", "192.168.1.20", 7000);
        good("192.168.1.20:7001", "192.168.1.20", 7001);
        good("localhost", "localhost", 7000);
        good("Game.Example.org:65535", "game.example.org", 65535);
        good("[::1]", "::1", 7000);
        good("[fe80::1]:1", "fe80::1", 1);
        bad("empty", "");
        bad("port only", ":7000");
        bad("empty port", "host:");
        bad("port 0", "host:0");
        bad("port 65536", "host:65536");
        bad("port abc", "host:abc");
        bad("negative port", "host:-1");
        bad("unbracketed IPv6", "::1");
        bad("unbracketed IPv6 with port", "fe80::1:7000");
        bad("IPv4 in brackets", "[10.0.0.1]:7000");
        bad("unclosed bracket", "[::1:7000");
        bad("user", "me@host");
        bad("path", "host/arena");
        bad("space", "my host");
        bad("two ports", "host:70:70");
    }

    void parse()
    {
        QFETCH(QString, text);
        QFETCH(QString, host);
        const std::optional<ServerAddress> server = ServerAddress::parse(text);
        QCOMPARE(server.has_value(), !host.isEmpty());
        if (server) {
            QCOMPARE(server->host, host);
            QTEST(int(server->port), "port");
        }
    }

    void commandLine_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("environment"); // VORLEN_SERVER
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("out");
        QTest::addColumn<QByteArray>("error");
        QTest::newRow("version") << QStringList{"--version"} << QString() << 0
                                 << QByteArray("vorlen " VORLEN_VERSION "\n") << QByteArray();
        QTest::newRow("bad option")
            << QStringList{"--server", "127.0.0.1:0"} << QString() << 2 << QByteArray()
            << QByteArray("vorlen: --server \"127.0.0.1:0\" is not HOST[:PORT], such as "
                          "192.168.1.20:7000 or [::1]:7000\n");
        QTest::newRow("bad environment")
            << QStringList() << QString("::1") << 2 << QByteArray()
            << QByteArray("vorlen: VORLEN_SERVER \"::1\" is not HOST[:PORT], such as "
                          "192.168.1.20:7000 or [::1]:7000\n");
        QTest::newRow("option over environment")
            << QStringList{"--server="} << QString("localhost") << 2 << QByteArray()
            << QByteArray("vorlen: --server \"\" is not HOST[:PORT], such as "
                          "192.168.1.20:7000 or [::1]:7000\n");
    }

    void commandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, environment);
        QTemporaryDir runtime; // keeps the platform's own notes off standard error
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("XDG_RUNTIME_DIR", runtime.path());
        env.insert("VORLEN_SERVER", environment);
        QProcess vorlen;
        vorlen.setProcessEnvironment(env);
        vorlen.start(program("vorlen"), arguments);
        QVERIFY(vorlen.waitForFinished());
        QTEST(vorlen.exitCode(), "status");
        QTEST(vorlen.readAllStandardOutput(), "out");
        QTEST(vorlen.readAllStandardError(), "error");
    }

    void help()
    {
        QProcess vorlen;
        vorlen.start(program("vorlen"), {"--help"});
        QVERIFY(vorlen.waitForFinished());
        QCOMPARE(vorlen.exitCode(), 0);
        const QByteArray printed = vorlen.readAllStandardOutput();
        QVERIFY2(printed.contains("Top-down arena shooter for a few friends.") &&
                     printed.contains("--server <HOST[:PORT]>") &&
                     printed.contains("VORLEN_SERVER"),
                 printed.constData());
    }

    // The built relay on a port of its own, and two players sent there, one by address
    // and one by name.
    void twoFriendsMeet()
    {
        const quint16 port = freePort();
        QVERIFY(port != 0 && port != Client::serverPort);
        QProcess relay;
        relay.start(program("vorlen-server"), {"--port", QString::number(port)});
        QVERIFY(relay.waitForStarted());
        QVERIFY(QTest::qWaitFor([port] {
            QTcpSocket probe;
            probe.connectToHost(QHostAddress::LocalHost, port);
            return probe.waitForConnected(1000);
        }));

        MainWindow first;
        MainWindow second;
        first.server = *ServerAddress::parse("127.0.0.1:" + QString::number(port));
        second.server = *ServerAddress::parse("localhost:" + QString::number(port));
        for (MainWindow *window : {&first, &second}) {
            enterArena(*window);
            QTRY_VERIFY(window->client->localPlayer);
        }
        const int firstId = first.client->players.key(first.client->localPlayer);
        const int secondId = second.client->players.key(second.client->localPlayer);
        QTRY_COMPARE(first.client->players.keys(), QList<int>({firstId, secondId}));
        QTRY_COMPARE(second.client->players.keys(), QList<int>({firstId, secondId}));

        relay.terminate();
        QVERIFY(relay.waitForFinished());
    }

    // Looked up by Qt, and refused like an absent server: at the first thing sent.
    void unknownNameIsAnAbsentServer()
    {
        MainWindow window;
        window.server = *ServerAddress::parse("arena.invalid");
        enterArena(window);
        QTRY_COMPARE_WITH_TIMEOUT(window.client->socket->state(), QAbstractSocket::UnconnectedState,
                                  20000);
        QString title;
        QTimer::singleShot(0, this, [&title] {
            QWidget *box = QApplication::activeModalWidget();
            title = box->windowTitle();
            box->close();
        });
        window.client->sendData(MsgMove, "1;1");
        QCOMPARE(title, QString("Błąd połączenia"));
    }
};

QTEST_MAIN(TestServerAddress)
#include "tst_serveraddress.moc"
