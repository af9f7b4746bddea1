// SPDX-License-Identifier: GPL-3.0-or-later
#include "client.h"
#include "lanserverlist.h"
#include "lastserver.h"
#include "mainwindow.h"
#include "practicetoolview.h"
#include "serverfield.h"
#include "view.h"

#include "errorboxes.h"

#include <QtNetwork>
#include <QtTest>
#include <QtWidgets>

using Ints = QList<int>;

// The lobby, the rune editor with the stats it produces, the arena's head-up display,
// and visits that end, by the user or by the server, without leaving anything behind.
class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    // The remembered server goes to a place of the test's own.
    void initTestCase()
    {
        QVERIFY(settings.isValid());
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
        QVERIFY(server.listen(QHostAddress::LocalHost));
    }

    void init()
    {
        w = new MainWindow;
        w->server = {"127.0.0.1", server.serverPort()};
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w));
    }

    void cleanup()
    {
        delete w;
        while (QTcpSocket *old = server.nextPendingConnection())
            delete old;
    }

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

    // Hovering a rune shows its name and effect 5 pixels right of it, until the pointer leaves.
    void tooltip()
    {
        w->runesButton->click();
        w->mainRuneButtons.at(1)->click();    // shows the sub-runes
        QCoreApplication::sendPostedEvents(); // and lays them out
        const QList<std::pair<QToolButton *, QString>> hovered{
            {w->mainRuneButtons.at(0), "<b>Dominacja</b><br>+20 Siły, +5 Szybkości\nZwiększa "
                                       "obrażenia fizyczne i szansę na trafienie krytyczne"},
            {w->subRuneButtons.at(3), "<b>Magia</b><br>+24 do mocy magicznej"}};
        for (const auto &[button, text] : hovered) {
            QEvent enter(QEvent::Enter), leave(QEvent::Leave);
            QCoreApplication::sendEvent(button, &enter);
            QVERIFY(w->runeTooltip->isVisible());
            QCOMPARE(w->runeTooltip->text(), text);
            QCOMPARE(w->runeTooltip->mapToGlobal(QPoint()),
                     button->mapToGlobal(QPoint(button->width() + 5, 0)));
            QCoreApplication::sendEvent(button, &leave);
            QVERIFY(!w->runeTooltip->isVisible());
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
        QTest::newRow("negative") << -1 << QSize(0, 0);
    }

    void slotBar()
    {
        QFETCH(int, itemId);
        QFETCH(QSize, size);
        enterArena();
        emit w->client->inventoryChanged(0, 2); // an icon of another shape to replace
        emit w->client->inventoryChanged(0, itemId);
        QCOMPARE(w->slotIcons[0]->pixmap().size(), size);
        for (const QSize window : {w->size(), QSize(1000, 720)}) {
            w->resize(window);
            QTRY_COMPARE(w->view->viewport()->size(), window);
            slotBarAtBottomLeft();
            if (!size.isEmpty()) // centred in its square
                QCOMPARE(w->slotIcons[0]->sceneBoundingRect().center(),
                         w->slotFrames[0]->pos() + QPointF(25, 25));
        }
    }

    // The Respawn button keeps the top right corner and the slot bar the bottom left,
    // however far the view has followed the user's avatar. Moving along, the slot bar
    // reports its own place changed, not the whole scene, which would be painted whole.
    void hudFollowsTheView()
    {
        QTcpSocket *peer = enterArena();
        peer->write("0x1;0;0\n");
        QTRY_VERIFY(w->client->localPlayer);
        Player *own = w->client->localPlayer;
        own->target = QPointF(1500, -1200);
        QSignalSpy changes(w->scene, &QGraphicsScene::changed);
        own->moveStep();
        QTRY_VERIFY(!changes.isEmpty()); // with all that the spawn changed
        changes.clear();
        for (int step = 1; step < 400; ++step)
            own->moveStep();
        QVERIFY(!own->moveTimer->isActive());
        const QSize viewport = w->view->viewport()->size();
        QTRY_VERIFY(!changes.isEmpty());
        for (const QList<QVariant> &change : std::as_const(changes))
            for (const QRectF &rect : change.at(0).value<QList<QRectF>>())
                QVERIFY(rect.width() < viewport.width());
        QVERIFY(w->view->mapToScene(QPoint()).y() < -1000);
        const QRectF button = w->respawnProxy->sceneBoundingRect();
        QCOMPARE(w->view->mapFromScene(button.topRight()), QPoint(viewport.width() - 10, 10));
        slotBarAtBottomLeft();
    }

    // However the connection ends, the user meets one box, and closing it shows the lobby
    // with the arena's scene empty; entering again connects afresh.
    void lostConnection_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("the server closes it") << "closed";
        QTest::newRow("nobody listens") << "refused";
        QTest::newRow("the server never answers") << "silent";
    }

    void lostConnection()
    {
        QFETCH(QString, how);
        ErrorBoxes boxes;
        boxes.whileOpen = [this] { // what once opened a box each
            QMetaObject::invokeMethod(w->client->positionTimer, "timeout");
            QTest::mouseClick(w->view->viewport(), Qt::LeftButton);
        };
        QTcpServer silent;
        QTcpSocket filler; // takes the one place in the queue, so the kernel leaves us waiting
        if (how == "refused") {
            QTcpServer gone;
            QVERIFY(gone.listen(QHostAddress::LocalHost));
            w->server.port = gone.serverPort();
        } else if (how == "silent") {
            silent.setListenBacklogSize(0);
            QVERIFY(silent.listen(QHostAddress::LocalHost));
            silent.pauseAccepting();
            filler.connectToHost(QHostAddress::LocalHost, silent.serverPort());
            QVERIFY(filler.waitForConnected(2000));
            w->server.port = silent.serverPort();
        }
        QTcpSocket *peer = enterArena(how == "closed");
        if (how == "closed") {
            peer->write("0x1;0;0\n");
            QTRY_VERIFY(w->client->localPlayer);
            peer->close();
        } else if (how == "silent") {
            QCOMPARE(w->client->socket->state(), QAbstractSocket::ConnectingState);
            QMetaObject::invokeMethod(w->client->connectTimer, "timeout");
        }
        QTRY_VERIFY(!w->client);
        QCOMPARE(boxes.title, QString("Błąd połączenia"));
        QCOMPARE(boxes.mostOpen, 1);
        QVERIFY(!w->view->isVisible());
        QVERIFY(w->scene->items().isEmpty());
        QCOMPARE(boxes.seen, 1);
        w->server.port = server.serverPort();
        enterArena();
        QVERIFY(w->client->isConnected());
    }

    // Escape in the middle of a fight stops every clock of the visit at once: walks,
    // weapons, bullets, effects and the connection's own.
    void leavingStopsTheVisit()
    {
        QTcpSocket *peer = enterArena();
        peer->write("0x1;0;0\n1x2;300;100\n4x2;2;1\n3x2;150;150\n2x1;900;900\n7x2;5;0\n");
        QTRY_VERIFY(w->client->playerGuns.size() == 1 &&
                    w->client->localPlayer->moveTimer->isActive());
        w->client->localPlayer->takeDamage(1);
        QList<QPointer<QTimer>> clocks;
        for (QTimer *timer : w->client->findChildren<QTimer *>())
            clocks << timer;
        for (QGraphicsItem *item : w->scene->items())
            if (auto *object = dynamic_cast<QObject *>(item))
                for (QTimer *timer : object->findChildren<QTimer *>())
                    clocks << timer;
        const auto running = [&clocks] {
            return std::count_if(clocks.begin(), clocks.end(), [](const QPointer<QTimer> &timer) {
                return timer && timer->isActive();
            });
        };
        QVERIFY(running() >= 10); // walk, weapon, pellets, drops, bleeding, number, reports
        QTest::keyClick(w->view, Qt::Key_Escape);
        QCOMPARE(running(), 0);
        QVERIFY(w->scene->items().isEmpty());
        QVERIFY(!w->view->isVisible());
        QTRY_VERIFY(!w->client);
    }

    // The practice tool ends when the user leaves it, and only its latest follows resizes.
    void practiceToolEndsOnLeaving()
    {
        lobby("practice")->click();
        QPointer<PracticeToolView> tool = w->practiceView;
        QVERIFY(tool && tool->isVisible());
        QTest::keyClick(tool, Qt::Key_Escape);
        QTRY_VERIFY(!tool);
        QVERIFY(!w->practiceView);
        w->resize(900, 700);
        lobby("practice")->click();
        QCOMPARE(w->practiceView->size(), QSize(900, 700));
    }

    // The lobby's column, top to bottom at any size: RUNY, "Wejdź na arenę", "Practice tool",
    // the server field and the relays found, the last two centred under "Practice tool".
    void lobbyColumn()
    {
        for (const QSize window : {w->size(), QSize(1000, 720), QSize(640, 560)}) {
            w->resize(window);
            QTRY_COMPARE(w->size(), window);
            const QList<QWidget *> column{w->runesButton, lobby("connect"), lobby("practice"),
                                          w->serverField, w->lanServers};
            for (int i = 1; i < column.size(); ++i)
                QVERIFY(column[i - 1]->mapTo(w, QPoint(0, column[i - 1]->height())).y() <
                        column[i]->mapTo(w, QPoint()).y());
            const auto centre = [](QWidget *widget) { return widget->geometry().center().x(); };
            QCOMPARE(centre(w->serverField), centre(lobby("practice")));
            QCOMPARE(centre(w->lanServers), centre(lobby("practice")));
        }
        QCOMPARE(w->serverField->findChild<QLabel *>()->text(), QString("Serwer:"));
        QCOMPARE(w->lanServers->findChild<QLabel *>()->text(), QString("Serwery w sieci lokalnej"));
    }

    void serverEntry_data()
    {
        QTest::addColumn<QString>("typed"); // %1 for the test server's port
        QTest::addColumn<bool>("refused");
        QTest::newRow("spaces around") << " 127.0.0.1:%1 " << false;
        QTest::newRow("port 0") << "127.0.0.1:0" << true;
    }

    // A refused entry turns the field red with a note, and entering the arena then shows
    // the note's text instead of connecting. An accepted one is what the next visit uses,
    // and is remembered once that server has given the player an id, not at connecting.
    void serverEntry()
    {
        QFETCH(QString, typed);
        QFETCH(bool, refused);
        QSettings("vorlen", "vorlen").clear();
        w->server.port = 1;
        w->serverField->edit->clear();
        QTest::keyClicks(w->serverField->edit, typed.arg(server.serverPort()));
        QCOMPARE(w->serverField->note->text(), refused ? "Niepoprawny adres serwera" : "");
        QCOMPARE(w->serverField->edit->styleSheet().contains("#e74c3c"), refused);
        if (refused) {
            lobby("connect")->click();
            QVERIFY(!w->client && !w->view);
            auto *box = w->findChild<QMessageBox *>();
            QVERIFY(box && box->isVisible());
            QCOMPARE(box->text(), QString("Niepoprawny adres serwera"));
            QVERIFY(!w->serverField->isHidden() && w->serverField->isEnabled());
            return;
        }
        QTcpSocket *peer = enterArena();
        QVERIFY(peer && w->client->isConnected());
        peer->write("1x4;400;100\n"); // another player, not an id of our own
        QTRY_VERIFY(w->client->players.contains(4));
        QVERIFY(!LastServer::load());
        peer->write("0x5;0;0\n");
        QTRY_VERIFY(w->client->localPlayer);
        QCOMPARE(LastServer::load()->text(), typed.arg(server.serverPort()).trimmed());
    }

private:
    // Enters the arena, and takes the connection on the server's side when one comes.
    QTcpSocket *enterArena(bool connecting = true)
    {
        lobby("connect")->click();
        if (!connecting)
            return nullptr;
        if (!QTest::qWaitFor([this] { return server.hasPendingConnections(); }))
            return nullptr;
        QTcpSocket *peer = server.nextPendingConnection();
        (void)QTest::qWaitFor([this] { return w->client->isConnected(); });
        return peer;
    }

    void slotBarAtBottomLeft() const
    {
        for (int i = 0; i < 3; ++i)
            QCOMPARE(w->view->mapFromScene(w->slotFrames[i]->pos()),
                     QPoint(10 + 60 * i, w->view->viewport()->height() - 60));
    }

    QTemporaryDir settings;
    QPushButton *lobby(const char *name) const { return w->findChild<QPushButton *>(name); }
    // One letter a rune button: '.' hidden, '-' disabled, 'o' free, 'x' checked, '#' both.
    QString runeButtons() const
    {
        QString state;
        for (const QToolButton *b : w->mainRuneButtons + w->subRuneButtons)
            state += b->isHidden() ? '.' : "-#ox"[b->isEnabled() * 2 + b->isChecked()];
        return state;
    }

    QTcpServer server;       // the game server of every visit, unless a test sends elsewhere
    MainWindow *w = nullptr; // the window under test
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
