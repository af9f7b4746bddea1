// SPDX-License-Identifier: GPL-3.0-or-later
#include "serveraddress.h"

#include <QtTest>

// The game server named at start: the form of its address, and the program's command line.
class TestServerAddress : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("parsed"); // host and port, empty for a refused text
        const auto row = [](const char *text, const char *parsed = "") {
            QTest::newRow(*text ? text : "empty") << text << parsed;
        };
        row("192.168.1.20", "192.168.1.20 7000");
        row("Game.Example.org:65535", "game.example.org 65535");
        row("[::1]", "::1 7000");
        row("[fe80::1]:1", "fe80::1 1");
        for (const char *bad :
             {"", ":7000", "host:", "host:0", "host:65536", "host:-1", "fe80::1:7000",
              "[10.0.0.1]:7000", "[::1:7000", "me@host", "host/arena", "my host", "host:70:70"})
            row(bad);
    }

    void parse()
    {
        QFETCH(QString, text);
        const std::optional<ServerAddress> server = ServerAddress::parse(text);
        QTEST(server ? server->host + ' ' + QString::number(server->port) : QString(), "parsed");
    }

    void commandLine_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("environment"); // VORLEN_SERVER
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("out");
        QTest::addColumn<QByteArray>("error");
        const auto refused = [](const char *name, QStringList arguments, const char *env,
                                const char *what) {
            const QByteArray error =
                QByteArray("vorlen: ") + what +
                " is not HOST[:PORT], such as 192.168.1.20:7000 or [::1]:7000\n";
            QTest::newRow(name) << arguments << env << 2 << QByteArray() << error;
        };
        QTest::newRow("version") << QStringList{"--version"} << QString() << 0
                                 << QByteArray("vorlen " VORLEN_VERSION "\n") << QByteArray();
        refused("bad option", {"--server", "127.0.0.1:0"}, "", "--server \"127.0.0.1:0\"");
        refused("bad environment", {}, "::1", "VORLEN_SERVER \"::1\"");
        refused("option over environment", {"--server="}, "localhost", "--server \"\"");
    }

    void commandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, environment);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("VORLEN_SERVER", environment);
        QVERIFY(run(arguments, env));
        QTEST(vorlen.exitCode(), "status");
        QTEST(vorlen.readAllStandardOutput(), "out");
        QTEST(vorlen.readAllStandardError(), "error");
    }

    // As over a terminal with no graphical session: a display would be refused.
    void answersWithoutADisplay_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("shown");
        QTest::newRow("help") << QStringList{"--help"} << QByteArray("--server <HOST[:PORT]>");
        QTest::newRow("version beside Qt's own option")
            << QStringList{"-platform", "xcb", "--version"} << QByteArray(VORLEN_VERSION);
    }

    void answersWithoutADisplay()
    {
        QFETCH(QStringList, arguments);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "xcb");
        env.remove("DISPLAY");
        env.remove("WAYLAND_DISPLAY");
        QVERIFY(run(arguments, env));
        QCOMPARE(vorlen.exitCode(), 0);
        QFETCH(QByteArray, shown);
        QVERIFY(vorlen.readAllStandardOutput().contains(shown));
        QCOMPARE(vorlen.readAllStandardError(), QByteArray());
    }

private:
    bool run(const QStringList &arguments, QProcessEnvironment env)
    {
        env.insert("XDG_RUNTIME_DIR",
                   runtime.path()); // keeps the platform's own notes off standard error
        vorlen.setProcessEnvironment(env);
        vorlen.start(QCoreApplication::applicationDirPath() + "/../vorlen", arguments);
        return vorlen.waitForFinished();
    }

    QTemporaryDir runtime;
    QProcess vorlen;
};

QTEST_MAIN(TestServerAddress)
#include "tst_serveraddress.moc"
