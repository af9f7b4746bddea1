// SPDX-License-Identifier: GPL-3.0-or-later
#include "mainwindow.h"
#include "view.h"

#include <QtNetwork>
#include <QtTest>
#include <QtWidgets>

using Ints = QList<int>;

// The lobby, the rune editor with the stats it produces, and the arena's slot bar.
class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        w = new MainWindow;
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w));
    }

    void cleanup() { delete w; }

    // Rune buttons by name: m<i> is main rune i, s<i> sub-rune i; states as runeButtons() shows.
    void runes_data()
    {
        QTest::addColumn<QString>("clicks");
        QTest::addColumn<QString>("buttons");
        QTest::addColumn<Ints>("stats"); // health, speed, strength, defense
        QTest::addColumn<Ints>("bars");  // a value past the maximum leaves the bar as it was
        const auto row = [](const char *clicks, const char *buttons, Ints stats, Ints bars = {}) {
            QTest::newRow(clicks) << clicks << buttons << stats << (bars.isEmpty() ? stats : bars);
        };
        row("m0", "x--- ooo ooo ooo", {200, 5, 30, 0});
        row("m1", "-x-- ooo ooo ooo", {300, 5, 5, 40});
        row("m2", "--x- ooo ooo ooo", {100, 15, 25, 0});
        row("m3", "---x ooo ooo ooo", {100, 15, 20, 20});
        row("m1 s0 s5 s7", "-x-- xoo oox oxo", {420, 5, 5, 55}, {300, 5, 5, 55});
        row("m2 s1 s6 s8", "--x- oxo ooo xox", {100, 25, 38, 6});
        row("m0 s2 s6 s8", "x--- oox ooo xox", {200, 10, 55, 6}, {200, 10, 42, 6});
        row("m1 s4 s5 s8", "-x-- ooo oxx oox", {340, 8, 8, 76}, {300, 8, 8, 70});
        row("m1 s3", "-x-- ooo xoo ooo", {324, 5, 5, 40}, {300, 5, 5, 40});
        row("m2 s0 s1 s2 s3", "--x- xxx ooo ooo", {150, 20, 37, 0}); // a fourth is refused
        row("m2 s0 s1 s2 s1 s3", "--x- xox xoo ooo", {174, 15, 37, 0});
        row("m0 s0 s2 s4 m0 s1", "xooo ... ... ...", {100, 5, 5, 0}); // m0 keeps its look
    }

    void runes()
    {
        QFETCH(QString, clicks);
        QFETCH(QString, buttons);
        QFETCH(Ints, stats);
        QFETCH(Ints, bars);
        for (const QString &c : clicks.split(' '))
            (c[0] == 'm' ? w->mainRuneButtons : w->subRuneButtons).at(c.mid(1).toInt())->click();
        QCOMPARE(runeButtons(), buttons.remove(' '));
        QLabel *labels[]{w->healthLabel, w->speedLabel, w->strengthLabel, w->defenseLabel};
        QProgressBar *barsShown[]{w->healthBar, w->speedBar, w->strengthBar, w->defenseBar};
        const char *names[]{"Zdrowie", "Szybkość", "Siła", "Obrona"};
        for (int i = 0; i < 4; ++i) {
            QCOMPARE(labels[i]->text(), QString("%1: %2").arg(names[i]).arg(stats[i]));
            QCOMPARE(barsShown[i]->value(), bars[i]);
        }
    }

    void slotBar_data()
    {
        QTest::addColumn<int>("itemId");
        QTest::addColumn<QSize>("size");
        QTest::newRow("gun") << 1 << QSize(50, 50);
        QTest::newRow("shotgun") << 2 << QSize(50, 12);
        QTest::newRow("snipe") << 3 << QSize(50, 12);
        QTest::newRow("none") << 0 << QSize(0, 0);
        QTest::newRow("past the last") << 7 << QSize(0, 0);
    }

    void slotBar()
    {
        QFETCH(int, itemId);
        QFETCH(QSize, size);
        lobby("connect")->click();
        w->client->socket->abort();             // no server needed, nor a colleague's listening one
        emit w->client->inventoryChanged(0, 2); // an icon of another shape to replace
        emit w->client->inventoryChanged(0, itemId);
        QCOMPARE(w->slotIcons[0]->pixmap().size(), size);
        for (const QSize window : {w->size(), QSize(1000, 720)}) {
            w->resize(window);
            QTRY_COMPARE(w->view->viewport()->size(), window);
            for (int i = 0; i < 3; ++i) // from the bottom-left corner
                QCOMPARE(w->view->mapFromScene(w->slotFrames[i]->pos()),
                         QPoint(10 + 60 * i, window.height() - 60));
            if (!size.isEmpty()) // centred in its square
                QCOMPARE(w->slotIcons[0]->sceneBoundingRect().center(),
                         w->slotFrames[0]->pos() + QPointF(25, 25));
            // The lobby under the arena, top to bottom: RUNY, "Wejdź na arenę", "Practice tool".
            const auto top = [this](QWidget *button) { return button->mapTo(w, QPoint()).y(); };
            QVERIFY(top(w->runesButton) + w->runesButton->height() < top(lobby("connect")));
            QVERIFY(top(lobby("connect")) + lobby("connect")->height() < top(lobby("practice")));
        }
    }

private:
    QPushButton *lobby(const char *name) const { return w->findChild<QPushButton *>(name); }
    // One letter a rune button: '.' hidden, '-' disabled, 'o' free, 'x' checked, '#' both.
    QString runeButtons() const
    {
        QString state;
        for (const QToolButton *b : w->mainRuneButtons + w->subRuneButtons)
            state += b->isHidden() ? '.' : "-#ox"[b->isEnabled() * 2 + b->isChecked()];
        return state;
    }

    MainWindow *w = nullptr; // the window under test
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
