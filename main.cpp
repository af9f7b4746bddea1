// SPDX-License-Identifier: GPL-3.0-or-later
#include "mainwindow.h"
#include "serverfield.h"
#include "startoptions.h"

#include <QApplication>
#include <QPalette>
#include <algorithm>

namespace {

// --help and --version need no display, so they answer on a bare terminal too;
// anything else goes on to the game.
void answerWithoutDisplay(int argc, char **argv)
{
    const QByteArrayList textOnly{"-h", "-?", "--help", "-v", "--version"};
    if (std::none_of(argv + 1, argv + argc,
                     [&textOnly](const char *arg) { return textOnly.contains(arg); }))
        return;
    QCoreApplication reader(argc, argv);
    StartOptions options;
    // Qt's own options, such as -platform, are the GUI application's to judge.
    options.parser.parse(reader.arguments());
    if (options.parser.isSet("version"))
        options.parser.showVersion();
    if (options.parser.isSet("help"))
        options.parser.showHelp();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication::setApplicationName("vorlen");
    QCoreApplication::setApplicationVersion(VORLEN_VERSION);
    answerWithoutDisplay(argc, argv);
    QApplication app(argc, argv);
    StartOptions options;
    options.parser.process(app);
    const std::optional<ServerAddress> server = options.server();
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
    window.serverField->setText(server->text());
    window.setWindowTitle("vorlen");
    window.show();
    return QApplication::exec();
}
