// SPDX-License-Identifier: GPL-3.0-or-later
#include "lastserver.h"
#include "serveraddress.h"
#include "startoptions.h"

#include <QtTest>

// The game server named at start: the form of its address, and the program's command line.
class TestServerAddress : public QObject
{
    Q_OBJECT

private slots:
    // The user's settings go to a place of the test's own.
    void initTestCase()
    {
        QVERIFY(settings.isValid());
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
    }

    void parse_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("parsed");  // host and port, empty for a refused text
        QTest::addColumn<QString>("written"); // as the lobby's field shows it
        const auto row = [](const char *text, const char *parsed = "", const char *written = "") {
            QTest::newRow(*text ? text : "empty") << text << parsed << written;
        };
        row("192.168.1.20", "192.168.1.20 7000", "192.168.1.20:7000");
        row("Game.Example.org:65535", "game.example.org 65535", "game.example.org:65535");
        row("[::1]", "::1 7000", "[::1]:7000");
        row("[fe80::1]:1", "fe80::1 1", "[fe80::1]:1");
        row("[fe80::1%25eth0]:7001", "fe80::1%eth0 7001", "[fe80::1%25eth0]:7001");
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
        QTEST(server ? server->text() : QString(), "written");
    }

    // What the lobby's field starts with: the option, else the variable, else the server
    // last played on, else the build's own.
    void startingServer_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QString>("environment");
        QTest::addColumn<QString>("remembered");
        QTest::addColumn<QString>("chosen"); // empty for a refusal
        const QString standard = ServerAddress::standard().text();
        QTest::newRow("option") << "a.example:1"
                                << "b.example"
                                << "c.example:3"
                                << "a.example:1";
        QTest::newRow("variable") << ""
                                  << "b.example"
                                  << "c.example:3"
                                  << "b.example:7000";
        QTest::newRow("remembered") << ""
                                    << ""
                                    << "c.example:3"
                                    << "c.example:3";
        QTest::newRow("default") << ""
                                 << ""
                                 << "" << standard;
        QTest::newRow("remembered unreadable") << ""
                                               << ""
                                               << "c.example:0" << standard;
        QTest::newRow("bad variable") << ""
                                      << "b.example:0"
                                      << "c.example:3"
                                      << "";
    }

    void startingServer()
    {
        QFETCH(QString, option);
        QFETCH(QString, environment);
        QFETCH(QString, remembered);
        qputenv("VORLEN_SERVER", environment.toUtf8());
        QSettings("vorlen", "vorlen").setValue("server", remembered);
        StartOptions options;
        QStringList arguments{"vorlen"};
        if (!option.isEmpty())
            arguments << "--server" << option;
        QVERIFY(options.parser.parse(arguments));
        const std::optional<ServerAddress> chosen = options.server();
        QTEST(chosen ? chosen->text() : QString(), "chosen");
    }

    // Only the one setting, under the organisation and application "vorlen".
    void remembersTheServer()
    {
        QSettings("vorlen", "vorlen").clear();
        LastServer::store(*ServerAddress::parse("[::1]:7001"));
        QCOMPARE(LastServer::load()->text(), QString("[::1]:7001"));
        QSettings stored("vorlen", "vorlen");
        QCOMPARE(stored.allKeys(), QStringList{"server"});
        QCOMPARE(QFileInfo(stored.fileName()).absolutePath(), settings.path() + "/vorlen");
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
        env.insert("XDG_CONFIG_HOME", settings.path());
        env.insert("XDG_RUNTIME_DIR",
                   runtime.path()); // keeps the platform's own notes off standard error
        vorlen.setProcessEnvironment(env);
        vorlen.start(QCoreApplication::applicationDirPath() + "/../vorlen", arguments);
        return vorlen.waitForFinished();
    }

    QTemporaryDir runtime;
    QTemporaryDir settings;
    QProcess vorlen;
};

QTEST_MAIN(TestServerAddress)
#include "tst_serveraddress.moc"
