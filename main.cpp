#include "mainwindow.h"

#include <QApplication>
#include <QPalette>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);

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
    window.setWindowTitle("vorlen");
    window.show();
    return QApplication::exec();
}
