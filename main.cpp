#include "mainwindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QPalette>
#include <cstdio>

namespace {

// The game server named by --server, else by VORLEN_SERVER, else the build's own;
// none for a malformed name, which is reported here.
std::optional<ServerAddress> chosenServer(const QApplication &app)
{
    const ServerAddress standard = ServerAddress::standard();
    QCommandLineParser parser;
    parser.setApplicationDescription("Top-down arena shooter for a few friends.");
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption serverOption(
        "server",
        QString("Game server: a name, an IPv4 address or a bracketed IPv6 address ([::1]:7000); "
                "also read from VORLEN_SERVER (default %1:%2).")
            .arg(standard.host)
            .arg(standard.port),
        "HOST[:PORT]");
    parser.addOption(serverOption);
    parser.process(app);

    const bool named = parser.isSet(serverOption);
    if (!named && qEnvironmentVariableIsEmpty("VORLEN_SERVER"))
        return standard;
    const QString text = named ? parser.value(serverOption) : qEnvironmentVariable("VORLEN_SERVER");
    const std::optional<ServerAddress> server = ServerAddress::parse(text);
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
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName("vorlen");
    QCoreApplication::setApplicationVersion(VORLEN_VERSION);
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
