#include "client.h"
#include "mainwindow.h"
#include "player.h"
#include "recordingserver.h"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTextDocument>
#include <QToolButton>

// The rune editor: its rules, the stats panel they fill, the tooltip, and the way
// the chosen stats reach the avatar.
class TestRunes : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void startsWithNoRune();
    void runesGiveStats_data();
    void runesGiveStats();
    void reclickingTheMainRuneResets();
    void fourthSubRuneIsRefused();
    void uncheckingASubRuneFreesAPlace();
    void tooltip_data();
    void tooltip();
    void editorCoversTheLobby();
    void lobbyOrder_data();
    void lobbyOrder();
    void statsReachTheAvatar();

private:
    QList<int> stats() const;
    QPushButton *lobbyButton(const char *name) const;
    QList<int> barValues() const;
    QStringList labelTexts() const;
    void showWindow();
    void choose(int mainRune, const QList<int> &subRunes);
    void checkButtons(int mainRune, const QList<int> &checkedSubRunes) const;

    MainWindow *window = nullptr;
};

void TestRunes::init()
{
    window = new MainWindow;
}

void TestRunes::cleanup()
{
    delete window;
}

QList<int> TestRunes::stats() const
{
    const MainWindow::Stats &s = window->stats;
    return {s.health, s.speed, s.strength, s.defense};
}

// The form's buttons, by the object names it gives them.
QPushButton *TestRunes::lobbyButton(const char *name) const
{
    return window->findChild<QPushButton *>(name);
}

QList<int> TestRunes::barValues() const
{
    return {window->healthBar->value(), window->speedBar->value(), window->strengthBar->value(),
            window->defenseBar->value()};
}

QStringList TestRunes::labelTexts() const
{
    return {window->healthLabel->text(), window->speedLabel->text(), window->strengthLabel->text(),
            window->defenseLabel->text()};
}

void TestRunes::showWindow()
{
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window));
}

void TestRunes::choose(int mainRune, const QList<int> &subRunes)
{
    window->mainRuneButtons.at(mainRune)->click();
    for (const int id : subRunes)
        window->subRuneButtons.at(id)->click();
}

// Only the chosen main rune is enabled once there is one; the sub-runes are there
// exactly when a main rune is.
void TestRunes::checkButtons(int mainRune, const QList<int> &checkedSubRunes) const
{
    const bool chosen = mainRune != -1;
    for (int i = 0; i < 4; ++i) {
        const QToolButton *button = window->mainRuneButtons.at(i);
        QCOMPARE(button->isEnabled(), !chosen || i == mainRune);
        if (chosen)
            QCOMPARE(button->isChecked(), i == mainRune);
    }
    for (int i = 0; i < 9; ++i) {
        const QToolButton *button = window->subRuneButtons.at(i);
        QCOMPARE(button->isVisibleTo(window->runeEditor), chosen);
        QCOMPARE(button->isEnabled(), chosen);
        QCOMPARE(button->isChecked(), checkedSubRunes.contains(i));
    }
}

void TestRunes::startsWithNoRune()
{
    QCOMPARE(stats(), QList<int>({100, 5, 5, 0}));
    QCOMPARE(labelTexts(), QStringList({"Zdrowie: ", "Szybkość: ", "Siła: ", "Obrona: "}));
    const QList<QProgressBar *> bars = {window->healthBar, window->speedBar, window->strengthBar,
                                        window->defenseBar};
    const QList<QPair<int, int>> ranges = {{100, 300}, {5, 25}, {5, 50}, {0, 70}};
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(qMakePair(bars.at(i)->minimum(), bars.at(i)->maximum()), ranges.at(i));
        QVERIFY(bars.at(i)->text().isEmpty());
    }
    checkButtons(-1, {});
    QVERIFY(!window->runeEditor->isVisibleTo(window));
    QVERIFY(!window->runeTooltip->isVisibleTo(window->runeEditor));

    // Out of reach, so nothing changes.
    window->subRuneButtons.at(0)->click();
    QCOMPARE(stats(), QList<int>({100, 5, 5, 0}));
    QVERIFY(window->selectedSubRunes.isEmpty());
}

void TestRunes::runesGiveStats_data()
{
    QTest::addColumn<int>("mainRune");
    QTest::addColumn<QList<int>>("subRunes");
    QTest::addColumn<QList<int>>("expected"); // health, speed, strength, defense
    QTest::addColumn<QList<int>>("bars");     // a value past the maximum leaves the bar alone

    QTest::newRow("Dominacja") << 0 << QList<int>() << QList<int>({200, 5, 30, 0})
                               << QList<int>({200, 5, 30, 0});
    QTest::newRow("Determinacja") << 1 << QList<int>() << QList<int>({300, 5, 5, 40})
                                  << QList<int>({300, 5, 5, 40});
    QTest::newRow("Precyzja") << 2 << QList<int>() << QList<int>({100, 15, 25, 0})
                              << QList<int>({100, 15, 25, 0});
    QTest::newRow("Inspiracja") << 3 << QList<int>() << QList<int>({100, 15, 20, 20})
                                << QList<int>({100, 15, 20, 20});
    QTest::newRow("highest health")
        << 1 << QList<int>({0, 5, 7}) << QList<int>({420, 5, 5, 55}) << QList<int>({300, 5, 5, 55});
    QTest::newRow("highest speed") << 2 << QList<int>({1, 6, 8}) << QList<int>({100, 25, 38, 6})
                                   << QList<int>({100, 25, 38, 6});
    QTest::newRow("highest speed, Inspiracja")
        << 3 << QList<int>({8, 1, 6}) << QList<int>({100, 25, 33, 26})
        << QList<int>({100, 25, 33, 26});
    QTest::newRow("highest strength") << 0 << QList<int>({2, 6, 8}) << QList<int>({200, 10, 55, 6})
                                      << QList<int>({200, 10, 42, 6});
    QTest::newRow("highest defense")
        << 1 << QList<int>({4, 5, 8}) << QList<int>({340, 8, 8, 76}) << QList<int>({300, 8, 8, 70});
    QTest::newRow("magic goes to health")
        << 1 << QList<int>({3}) << QList<int>({324, 5, 5, 40}) << QList<int>({300, 5, 5, 40});
}

void TestRunes::runesGiveStats()
{
    QFETCH(int, mainRune);
    QFETCH(QList<int>, subRunes);
    QFETCH(QList<int>, expected);
    QFETCH(QList<int>, bars);

    window->mainRuneButtons.at(mainRune)->click();
    checkButtons(mainRune, {});
    QList<int> checked;
    for (const int id : subRunes) {
        window->subRuneButtons.at(id)->click();
        checked << id;
        checkButtons(mainRune, checked);
    }
    QCOMPARE(window->selectedMainRune, mainRune);
    QCOMPARE(window->selectedSubRunes, subRunes);
    QCOMPARE(stats(), expected);
    QCOMPARE(labelTexts(), QStringList({QString("Zdrowie: %1").arg(expected.at(0)),
                                        QString("Szybkość: %1").arg(expected.at(1)),
                                        QString("Siła: %1").arg(expected.at(2)),
                                        QString("Obrona: %1").arg(expected.at(3))}));
    QCOMPARE(barValues(), bars);
}

void TestRunes::reclickingTheMainRuneResets()
{
    choose(0, {0, 2, 4});
    QCOMPARE(stats(), QList<int>({250, 5, 42, 15}));

    window->mainRuneButtons.at(0)->click();
    QCOMPARE(window->selectedMainRune, -1);
    QVERIFY(window->selectedSubRunes.isEmpty());
    QCOMPARE(stats(), QList<int>({100, 5, 5, 0}));
    QCOMPARE(labelTexts(), QStringList({"Zdrowie: 100", "Szybkość: 5", "Siła: 5", "Obrona: 0"}));
    QCOMPARE(barValues(), QList<int>({100, 5, 5, 0}));
    checkButtons(-1, {});
    // The exclusive group will not let the last checked button go.
    QVERIFY(window->mainRuneButtons.at(0)->isChecked());

    window->mainRuneButtons.at(2)->click();
    checkButtons(2, {});
    QCOMPARE(stats(), QList<int>({100, 15, 25, 0}));
}

void TestRunes::fourthSubRuneIsRefused()
{
    choose(2, {0, 1, 2});
    QSignalSpy healthChanges(window->healthBar, &QProgressBar::valueChanged);
    const QStringList labels = labelTexts();

    window->subRuneButtons.at(3)->click();
    checkButtons(2, {0, 1, 2});
    QCOMPARE(window->selectedSubRunes, QList<int>({0, 1, 2}));
    QCOMPARE(stats(), QList<int>({150, 20, 37, 0}));
    QCOMPARE(labelTexts(), labels);
    QCOMPARE(healthChanges.count(), 0);
}

void TestRunes::uncheckingASubRuneFreesAPlace()
{
    choose(0, {0, 1, 2});
    QCOMPARE(stats(), QList<int>({250, 10, 42, 0}));

    window->subRuneButtons.at(1)->click();
    checkButtons(0, {0, 2});
    QCOMPARE(stats(), QList<int>({250, 5, 42, 0}));

    window->subRuneButtons.at(4)->click();
    checkButtons(0, {0, 2, 4});
    QCOMPARE(window->selectedSubRunes, QList<int>({0, 2, 4}));
    QCOMPARE(stats(), QList<int>({250, 5, 42, 15}));
}

void TestRunes::tooltip_data()
{
    QTest::addColumn<bool>("isMainRune");
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("text");

    QTest::newRow("Dominacja") << true << 0
                               << "<b>Dominacja</b><br>+20 Siły, +5 Szybkości\nZwiększa obrażenia "
                                  "fizyczne i szansę na trafienie krytyczne";
    QTest::newRow("Inspiracja") << true << 3
                                << "<b>Inspiracja</b><br>+10 Szybkości, +15 Siły, +30 "
                                   "Magii\nUniwersalne bonusy do wszystkich statystyk";
    QTest::newRow("Życie") << false << 0 << "<b>Życie</b><br>+50 do maksymalnego zdrowia";
    QTest::newRow("Magia") << false << 3 << "<b>Magia</b><br>+24 do mocy magicznej";
    QTest::newRow("Równowaga") << false << 8
                               << "<b>Równowaga</b><br>+3 szybkości, +3 siły, +6 magii";
}

void TestRunes::tooltip()
{
    QFETCH(bool, isMainRune);
    QFETCH(int, id);
    QFETCH(QString, text);

    showWindow();
    window->runesButton->click();
    if (!isMainRune)
        window->mainRuneButtons.at(1)->click();
    QCoreApplication::sendPostedEvents(); // lets the layout place the sub-runes just shown
    QToolButton *button = (isMainRune ? window->mainRuneButtons : window->subRuneButtons).at(id);
    QLabel *tip = window->runeTooltip;

    QEvent enter(QEvent::Enter);
    QCoreApplication::sendEvent(button, &enter);
    QVERIFY(tip->isVisible());
    QCOMPARE(tip->text(), text);
    QVERIFY(Qt::mightBeRichText(tip->text()));
    QCOMPARE(tip->pos(), button->mapTo(window->runeEditor, QPoint(button->width() + 5, 0)));
    QCOMPARE(tip->width(), 250);
    QCOMPARE(window->runeEditor->children().last(), tip); // raised over the panel

    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(button, &leave);
    QVERIFY(!tip->isVisible());
}

void TestRunes::editorCoversTheLobby()
{
    showWindow();
    QWidget *editor = window->runeEditor;
    const QPoint connectCentre = lobbyButton("connect")->geometry().center();
    const QPoint runesCentre = window->runesButton->geometry().center();

    window->runesButton->click();
    QVERIFY(editor->isVisible());
    QCOMPARE(editor->geometry(), window->rect());
    QVERIFY(editor->isAncestorOf(
        window->childAt(window->centralWidget()->mapTo(window, connectCentre))));
    QVERIFY(editor->isAncestorOf(window->childAt(runesCentre)));

    window->resize(1000, 720);
    QTRY_COMPARE(window->size(), QSize(1000, 720));
    QCOMPARE(editor->geometry(), window->rect());

    QPushButton *save = nullptr;
    for (QPushButton *button : editor->findChildren<QPushButton *>()) {
        if (button->text() == "ZAPISZ I ZAMKNIJ")
            save = button;
    }
    QVERIFY(save);
    save->click();
    QVERIFY(!editor->isVisible());
    QCOMPARE(window->childAt(window->runesButton->geometry().center()), window->runesButton);
}

void TestRunes::lobbyOrder_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("start size") << QSize(800, 600);
    QTest::newRow("larger") << QSize(1280, 900);
    QTest::newRow("smaller") << QSize(600, 480);
}

void TestRunes::lobbyOrder()
{
    QFETCH(QSize, size);
    showWindow();
    window->resize(size);
    QTRY_COMPARE(window->size(), size);

    const QWidget *central = window->centralWidget();
    const QRect runes = window->runesButton->geometry();
    const QRect arena(central->mapTo(window, lobbyButton("connect")->pos()),
                      lobbyButton("connect")->size());
    const QRect practice(central->mapTo(window, lobbyButton("practice")->pos()),
                         lobbyButton("practice")->size());
    QVERIFY(runes.bottom() < arena.top());
    QVERIFY(arena.bottom() < practice.top());
    for (const QRect &button : {runes, arena, practice})
        QVERIFY(qAbs(button.center().x() - size.width() / 2) <= 1);
}

void TestRunes::statsReachTheAvatar()
{
    choose(3, {0, 1, 2});
    QCOMPARE(stats(), QList<int>({150, 20, 32, 20}));

    RecordingServer server;
    // A colleague's run may hold the fixed port for a moment.
    QVERIFY2(QTest::qWaitFor([&server] { return server.listen(); }, 30000), "port 7000 is taken");
    lobbyButton("connect")->click();
    QVERIFY(server.accept(*window->client));
    server.send("0x5;0;0\n");
    QTRY_VERIFY(server.received.size() + server.peer->bytesAvailable() >= 18);
    server.received += server.peer->readAll();
    QCOMPARE(server.received, QByteArray("6x5;1;20\n6x5;2;32\n"));

    const Player *avatar = window->client->localPlayer;
    QVERIFY(avatar);
    QCOMPARE(avatar->hp, 150);
    QCOMPARE(avatar->lastHp, 150);
    QCOMPARE(avatar->speed, 20);
    QCOMPARE(avatar->defense, 20);
    QCOMPARE(avatar->damage, 5);
}

QTEST_MAIN(TestRunes)
#include "tst_runes.moc"
