// SPDX-License-Identifier: GPL-3.0-or-later
#include "mainwindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QPalette>
#include <algorithm>
#include <cstdio>

namespace {

// Declares the program's options and gives back the one that names the game server.
QCommandLineOption describeOptions(QCommandLineParser &parser)
{
    const ServerAddress standard = ServerAddress::standard();
    parser.setApplicationDescription("Top-down arena shooter for a few friends.");
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption server(
        "server",
        QString("Game server: a name, an IPv4 address or a bracketed IPv6 address ([::1]:7000); "
                "also read from VORLEN_SERVER (default %1:%2).")
            .arg(standard.host)
            .arg(standard.port),
        "HOST[:PORT]");
    parser.addOption(server);
    return server;
}

// --help and --version need no display, so they answer on a bare terminal too;
// anything else goes on to the game.
void answerWithoutDisplay(int argc, char **argv)
{
    const QByteArrayList textOnly{"-h", "-?", "--help", "-v", "--version"};
    if (std::none_of(argv + 1, argv + argc,
                     [&textOnly](const char *arg) { return textOnly.contains(arg); }))
        return;
    QCoreApplication reader(argc, argv);
    QCommandLineParser parser;
    describeOptions(parser);
    // Qt's own options, such as -platform, are the GUI application's to judge.
    parser.parse(reader.arguments());
    if (parser.isSet("version"))
        parser.showVersion();
    if (parser.isSet("help"))
        parser.showHelp();
}

// The game server named by --server, else by VORLEN_SERVER, else the build's own;
// none for a malformed name, which is reported here.
std::optional<ServerAddress> chosenServer(const QApplication &app)
{
    QCommandLineParser parser;
    const QCommandLineOption serverOption = describeOptions(parser);
    parser.process(app);

    const bool named = parser.isSet(serverOption);
    if (!named && qEnvironmentVariableIsEmpty("VORLEN_SERVER"))
        return ServerAddress::standard();
    const QString text = named ? parser.value(serverOption) : qEnvironmentVariable("VORLEN_SERVER");
    std::optional<ServerAddress> server = ServerAddress::parse(text);
    if (!server)
        std::fprintf(
            stderr,
            "vorlen: %s \"%s\" is not HOST[:PORT], such as 192.168.1.20:7000 or [::1]:7000\n",
            named ? "--server" : "VORLEN_SERVER", qPrintable(text));
    return server;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication::setApplicationName("vorlen");
    QCoreApplication::setApplicationVersion(VORLEN_VERSION);
    answerWithoutDisplay(argc, argv);
    QApplication app(argc, argv);
    const std::optional<ServerAddress> server = chosenServer(app);
    if (!server)
        return 2;

    QPalette palette;
    const auto paint = [&palette](QPalette::ColorRole role, const QColor &colour) {
        palette.setBrush(QPalette::All, role, QBrush(colour, Qt::SolidPattern));
    };
    paint(QPalette::Window, QColor(53, 53, 53));
    paint(QPalette::WindowText, Qt::white);
    paint(QPalette::Base, QColor(25, 25, 25));
    paint(QPalette::AlternateBase, QColor(53, 53, 53));
    paint(QPalette::ToolTipBase, Qt::white);
    paint(QPalette::ToolTipText, Qt::white);
    paint(QPalette::Text, Qt::white);
    paint(QPalette::Button, QColor(70, 70, 70));
    paint(QPalette::ButtonText, Qt::white);
    paint(QPalette::BrightText, Qt::red);
    QApplication::setPalette(palette);

    MainWindow window;
    window.server = *server;
    window.setWindowTitle("vorlen");
    window.show();
    return QApplication::exec();
}
