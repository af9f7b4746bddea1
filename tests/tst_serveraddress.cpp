// SPDX-License-Identifier: GPL-3.0-or-later
#include "serveraddress.h"
#include "startoptions.h"

#include "relayclients.h"

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
        columns<QString, QString, QString, QString>("option", "environment", "remembered",
                                                    "chosen"); // chosen: empty for a refusal
        const QString standard = ServerAddress::standard().text(), none;
        addRow("option", "a.example:1", "b.example", "c.example:3", "a.example:1");
        addRow("variable", none, "b.example", "c.example:3", "b.example:7000");
        addRow("remembered", none, none, "c.example:3", "c.example:3");
        addRow("default", none, none, none, standard);
        addRow("remembered unreadable", none, none, "c.example:0", standard);
        addRow("bad variable", none, "b.example:0", "c.example:3", none);
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

    // The built program, with no display to be had: --help and --version answer without
    // one, beside Qt's own options; a bad server is refused before the game opens.
    void commandLine_data()
    {
        columns<QStringList, QString, int, QString, QByteArray>("arguments", "environment",
                                                                "status", "out", "error");
        const auto refused = [](const char *name, QStringList arguments, const char *env,
                                const char *what) {
            addRow(name, arguments, QString(env), 2, "^$",
                   QByteArray("vorlen: ") + what +
                       " is not HOST[:PORT], such as 192.168.1.20:7000 or [::1]:7000\n");
        };
        addRow("help", QStringList{"--help", "-platform", "xcb"}, QString(), 0,
               "--server <HOST\\[:PORT\\]>", QByteArray());
        addRow("version", QStringList{"-platform", "xcb", "--version"}, QString(), 0,
               "^vorlen " VORLEN_VERSION "\n$", QByteArray());
        refused("bad option", {"--server", "127.0.0.1:0"}, "", "--server \"127.0.0.1:0\"");
        refused("bad environment", {}, "::1", "VORLEN_SERVER \"::1\"");
        refused("option over environment", {"--server="}, "localhost", "--server \"\"");
    }

    void commandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, environment);
        QFETCH(QString, out);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("VORLEN_SERVER", environment);
        env.insert("XDG_CONFIG_HOME", settings.path());
        env.insert("XDG_RUNTIME_DIR", runtime.path()); // keeps the platform's notes off stderr
        env.remove("DISPLAY");
        env.remove("WAYLAND_DISPLAY");
        QProcess vorlen;
        vorlen.setProcessEnvironment(env);
        vorlen.start(QCoreApplication::applicationDirPath() + "/../vorlen", arguments);
        QVERIFY(vorlen.waitForFinished());
        QTEST(vorlen.exitCode(), "status");
        const QString printed = vorlen.readAllStandardOutput();
        QVERIFY2(printed.contains(QRegularExpression(out)), qPrintable(printed));
        QTEST(vorlen.readAllStandardError(), "error");
    }

private:
    QTemporaryDir runtime;
    QTemporaryDir settings;
};

QTEST_MAIN(TestServerAddress)
#include "tst_serveraddress.moc"
