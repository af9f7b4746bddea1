// SPDX-License-Identifier: GPL-3.0-or-later
#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "client.h"
#include "lanserverlist.h"
#include "lastserver.h"
#include "player.h"
#include "practicetoolview.h"
#include "serverfield.h"
#include "view.h"

#include <QButtonGroup>
#include <QEvent>
#include <QFontMetrics>
#include <QGraphicsPixmapItem>
#include <QGraphicsProxyWidget>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace {

// The rune catalogue. A main rune sets the stats it names and leaves the rest at
// the base; a sub-rune adds its bonus. Tooltip texts are flavour and do not
// always match the effect.
struct MainRune
{
    const char *name;
    const char *colour;
    const char *text;
    Stats stats;
};

struct SubRune
{
    const char *title;
    const char *text;
    Stats bonus;
};

const MainRune mainRunes[] = {
    {"Dominacja",
     "#e74c3c",
     "+20 Siły, +5 Szybkości\nZwiększa obrażenia fizyczne i szansę na trafienie krytyczne",
     {200, 5, 30, 0}},
    {"Determinacja",
     "#27ae60",
     "+30 Obrony, +100 Życia\nZwiększa wytrzymałość i regenerację zdrowia",
     {300, 5, 5, 40}},
    {"Precyzja", "#9b59b6", "+40 Magii, +10 Życia\nZwiększa obrażenia magiczne", {100, 15, 25, 0}},
    {"Inspiracja",
     "#3498db",
     "+10 Szybkości, +15 Siły, +30 Magii\nUniwersalne bonusy do wszystkich statystyk",
     {100, 15, 20, 20}},
};

const SubRune subRunes[] = {
    {"Życie", "+50 do maksymalnego zdrowia", {50, 0, 0, 0}},
    {"Szybkość", "+5 do szybkości poruszania", {0, 5, 0, 0}},
    {"Siła", "+12 do siły i obrażeń fizycznych", {0, 0, 12, 0}},
    {"Magia", "+24 do mocy magicznej", {24, 0, 0, 0}},
    {"Obrona", "+15 do obrony fizycznej", {0, 0, 0, 15}},
    {"Wytrzymałość", "+40 zdrowia, +15 obrony", {40, 0, 0, 15}},
    {"Zwinność", "+10 siły, +2 szybkości", {0, 2, 10, 0}},
    {"Moc", "+20 magii, +10 zdrowia", {30, 0, 0, 0}},
    {"Równowaga", "+3 szybkości, +3 siły, +6 magii", {0, 3, 3, 6}},
};

const char *const slotIconPaths[] = {
    nullptr,
    ":/resources/gun.png",
    ":/resources/shotgun.png",
    ":/resources/snipe.png",
    ":/resources/magicwand.png",
    ":/resources/crystal_ball.png",
    ":/resources/magichat.png",
};

// The round rune buttons are narrow: their names share one font, shrunk until the
// longest fits inside the border instead of being cut at both ends.
void fitTextInside(const QList<QToolButton *> &buttons, int width)
{
    QFont font = buttons.constFirst()->font();
    font.setBold(true);
    const auto widest = [&font, &buttons] {
        int most = 0;
        for (const QToolButton *button : buttons)
            most = std::max(most, QFontMetrics(font).horizontalAdvance(button->text()));
        return most;
    };
    while (widest() > width && font.pointSizeF() > 6)
        font.setPointSizeF(font.pointSizeF() - 0.5);
    for (QToolButton *button : buttons)
        button->setFont(font);
}

// Where a picture of `size` sits centred in a 50 by 50 slot square.
QPointF centredInSlot(QSize size)
{
    return QPointF((50 - size.width()) / 2, (50 - size.height()) / 2);
}

} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
    , ui(new Ui::MainWindow)
{
    ui->setupUi(this);
    // Owned by the window rather than left to the end of the process.
    scene = new QGraphicsScene(this);
    scene->setSceneRect(QRectF(-2000, -2000, 4000, 4000));
    // Nearly everything in the arena moves every few milliseconds, so an index would be
    // rebuilt all the time; bullets find the avatars through the scene's roster instead.
    scene->setItemIndexMethod(QGraphicsScene::NoIndex);
    createRuneSystem();

    ui->connect->setStyleSheet(
        "QPushButton {  background-color: #2980b9;  color: white;  border: 1px solid #666;  "
        "border-radius: 5px;  padding: 8px 16px;}QPushButton:hover {  background-color: "
        "#2471a3;}QPushButton:pressed {  background-color: #333;}");
    ui->practice->setStyleSheet(
        "QPushButton {  background-color: #444;  color: white;  border: 1px solid #666;  "
        "border-radius: 5px;  padding: 8px 16px;}QPushButton:hover {  background-color: "
        "#555;}QPushButton:pressed {  background-color: #333;}");
    connect(ui->practice, &QPushButton::clicked, this, &MainWindow::openArmory);
    createServerChoice();

    runesButton = new QPushButton("RUNY", this);
    runesButton->setStyleSheet(
        "QPushButton {  background: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 1,    stop: 0 "
        "#8e44ad, stop: 1 #9b59b6);  color: white;  border: none;  border-radius: 8px;  padding: "
        "12px 20px;  font-weight: bold;  font-size: 14px;}QPushButton:hover { background: "
        "qlineargradient(x1: 0, y1: 0, x2: 0, y2: 1, stop: 0 #9b59b6, stop: 1 #8e44ad); "
        "}QPushButton:pressed { background-color: #6c3483; }");
    runesButton->move(QPoint(50, 60));
    runesButton->resize(QSize(180, 55));
    connect(runesButton, &QPushButton::clicked, this, &MainWindow::openRuneEditor);
}

MainWindow::~MainWindow()
{
    delete ui;
    // Before the scene, whose end would scroll the view and so move the head-up display.
    delete view;
}

void MainWindow::on_connect_clicked()
{
    if (!serverField->server())
        return serverField->refuse();
    client = new Client(scene, server, stats, this);
    connect(client, &Client::spawned, this, [chosen = server] { LastServer::store(chosen); });
    clearArena();

    delete view;
    view = new View(client, this);
    connect(view, &View::left, this, &MainWindow::clearArena);
    view->setScene(scene);
    view->setGeometry(rect());
    view->setBackgroundBrush(QBrush(QPixmap(":/resources/background.png")));
    // The picture is opaque and covers every pixel: no plain fill beneath it first.
    view->viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    view->show();
    view->centerOn(QPointF(0, 0));

    respawnButton = new QPushButton("Respawn");
    respawnButton->setStyleSheet(
        "QPushButton {  background-color: #444;  color: white;  border: 1px solid #666;  "
        "border-radius: 5px;  padding: 5px;}QPushButton:hover {  background-color: "
        "#555;}QPushButton:pressed {  background-color: #333;}");
    respawnProxy = scene->addWidget(respawnButton);
    respawnProxy->setZValue(9999);
    // The button moves with every scroll: copied from a cache, it is not styled anew.
    respawnProxy->setCacheMode(QGraphicsItem::DeviceCoordinateCache);
    placeRespawnButton();
    // Deferred, so that the respawn never runs inside the button's own scene event.
    connect(respawnButton, &QPushButton::clicked, this,
            [this] { QTimer::singleShot(0, this, &MainWindow::respawnPlayer); });

    for (int i = 0; i < 3; ++i) {
        slotFrames[i] = scene->addRect(QRectF(0, 0, 50, 50), QPen(Qt::white), QBrush(Qt::gray));
        slotFrames[i]->setZValue(9999);
        // The icon rides on its square. An empty one has no size, and Qt repaints the
        // whole scene when an item of no size moves, as the bar does with every scroll:
        // so an icon never moves by itself, and an empty one is hidden.
        slotIcons[i] = new QGraphicsPixmapItem(slotFrames[i]);
        slotIcons[i]->setZValue(10000);
        slotIcons[i]->hide();
    }
    placeSlotBar();
    // The head-up display keeps the corners of the window, wherever the view scrolls.
    for (const QScrollBar *bar : {view->horizontalScrollBar(), view->verticalScrollBar()})
        connect(bar, &QScrollBar::valueChanged, this, &MainWindow::placeHud);
    connect(client, &Client::inventoryChanged, this,
            [this](int slotIndex, int itemId) { updateSlotIcon(slotIndex, itemId); });
    view->setFocus(Qt::OtherFocusReason);
}

// Everything of a visit goes with it: avatars, weapons, bullets and effects stop at
// once, instead of running on behind the lobby until the next entry.
void MainWindow::clearArena()
{
    scene->clear();
    respawnProxy = nullptr;
    std::fill(std::begin(slotFrames), std::end(slotFrames), nullptr);
    std::fill(std::begin(slotIcons), std::end(slotIcons), nullptr);
}

void MainWindow::placeHud()
{
    if (respawnProxy)
        placeRespawnButton();
    placeSlotBar();
}

QPointF MainWindow::viewportCornerInScene(int x, int y) const
{
    return view->mapToScene(QPoint(x, y));
}

void MainWindow::placeRespawnButton()
{
    const int width = view->viewport()->width();
    const QPointF p = viewportCornerInScene(width, 0);
    respawnProxy->setPos(p.x() - respawnProxy->boundingRect().width() - 10, p.y() + 10);
}

void MainWindow::placeSlotBar()
{
    const QPointF p = viewportCornerInScene(0, view->viewport()->height());
    for (int i = 0; i < 3; ++i) {
        if (slotFrames[i])
            slotFrames[i]->setPos(p.x() + 10 + 60 * i, p.y() - 60);
    }
}

void MainWindow::respawnPlayer()
{
    if (client)
        client->respawn();
}

void MainWindow::resizeEvent(QResizeEvent *event)
{
    QMainWindow::resizeEvent(event);
    if (view && view->isVisible()) {
        view->setGeometry(rect());
        placeHud();
    }

    const QSize central = ui->centralwidget->size();
    ui->connect->move((central.width() - ui->connect->width()) / 2,
                      (central.height() - ui->connect->height()) / 2);
    ui->practice->move((central.width() - ui->practice->width()) / 2,
                       (central.height() - ui->practice->height() + 150) / 2);
    runesButton->move((width() - runesButton->width()) / 2,
                      (height() - runesButton->height() - 160) / 2);
    const int below = ui->practice->y() + ui->practice->height() + 12;
    serverField->move((central.width() - serverField->width()) / 2, below);
    lanServers->move((central.width() - lanServers->width()) / 2,
                     below + serverField->height() + 6);

    if (practiceView)
        practiceView->setGeometry(rect());
    if (runeEditor)
        runeEditor->setGeometry(rect());
}

// The field starts with the window's server; a click on a found relay puts it in the
// field, a double click also enters its arena.
void MainWindow::createServerChoice()
{
    serverField = new ServerField(ui->centralwidget);
    lanServers = new LanServerList(ui->centralwidget);
    connect(serverField, &ServerField::serverChanged, this, [this](const ServerAddress &chosen) {
        server = chosen;
        lanServers->setFieldPort(chosen.port);
    });
    serverField->setText(server.text());
    connect(lanServers, &LanServerList::picked, serverField, &ServerField::setText);
    connect(lanServers, &LanServerList::chosen, this, [this](const QString &chosen) {
        serverField->setText(chosen);
        on_connect_clicked();
    });
}

void MainWindow::updateSlotIcon(int slotIndex, int itemId)
{
    qDebug() << "Dodano nowa bron do" << slotIndex + 1 << "slotu o id" << itemId;
    if (slotIndex < 0 || slotIndex > 2 || !slotIcons[slotIndex])
        return;
    QGraphicsPixmapItem *icon = slotIcons[slotIndex];
    const bool weapon = itemId >= 1 && itemId <= 6;
    icon->setVisible(weapon);
    if (!weapon) {
        icon->setPixmap(QPixmap());
        return;
    }
    icon->setPixmap(QPixmap(slotIconPaths[itemId])
                        .scaled(QSize(50, 50), Qt::KeepAspectRatio, Qt::SmoothTransformation));
    icon->setPos(centredInSlot(icon->pixmap().size()));
}

void MainWindow::openArmory()
{
    practiceView = new PracticeToolView(this);
    practiceView->setGeometry(rect());
    practiceView->setBackgroundBrush(QBrush(QPixmap(":/resources/background2.png")));
    practiceView->show();
    practiceView->setFocus(Qt::OtherFocusReason);

    // The tool's child: a tool left before the stats arrive takes the transfer with it.
    auto *transfer = new QTimer(practiceView);
    connect(transfer, &QTimer::timeout, this, [this, transfer, view = practiceView.data()] {
        Player *player = view->player;
        player->hp = stats.health;
        player->lastHp = stats.health;
        player->speed = stats.speed;
        player->damage = stats.strength;
        player->defense = stats.defense;
        view->updateStats(player);
        transfer->stop();
        transfer->deleteLater();
    });
    transfer->start(50);
}

void MainWindow::createRuneSystem()
{
    runeEditor = new QWidget(this);
    runeEditor->setObjectName("runeEditor");
    runeEditor->setStyleSheet("QWidget#runeEditor {  background-color: #1a1a2e;  border-radius: "
                              "15px;  border: 3px solid #34495e;}");
    runeEditor->setVisible(false);
    runeEditor->setGeometry(rect());
    mainRuneGroup = new QButtonGroup(this);
    subRuneGroup = new QButtonGroup(this);
    subRuneGroup->setExclusive(false);

    auto *layout = new QHBoxLayout(runeEditor);
    layout->setSpacing(20);
    layout->setContentsMargins(20, 20, 20, 20);

    auto *left = new QWidget;
    left->setFixedWidth(250);
    auto *leftLayout = new QVBoxLayout(left);
    auto *avatar = new QLabel;
    avatar->setPixmap(QPixmap(":/resources/player.png")
                          .scaled(QSize(200, 200), Qt::KeepAspectRatio, Qt::SmoothTransformation));
    avatar->setAlignment(Qt::AlignCenter);
    avatar->setStyleSheet(
        "QLabel { background-color: #16213e; border-radius: 10px; padding: 10px; }");
    leftLayout->addWidget(avatar);
    setupStatsBars();
    auto *statsBox = new QWidget;
    statsBox->setStyleSheet(
        "QWidget { background-color: #16213e; border-radius: 10px; padding: 10px; }");
    auto *statsLayout = new QVBoxLayout(statsBox);
    statsLayout->setSpacing(8);
    statsLayout->addWidget(createStatWidget(healthLabel, healthBar));
    statsLayout->addWidget(createStatWidget(speedLabel, speedBar));
    statsLayout->addWidget(createStatWidget(strengthLabel, strengthBar));
    statsLayout->addWidget(createStatWidget(defenseLabel, defenseBar));
    leftLayout->addWidget(statsBox);
    leftLayout->addStretch(0);

    auto *right = new QWidget;
    auto *rightLayout = new QVBoxLayout(right);
    auto *mainHeading = new QLabel("GŁÓWNE RUNY:");
    mainHeading->setStyleSheet("QLabel { color: #ecf0f1; font-size: 16px; font-weight: bold; "
                               "margin-bottom: 10px; }");
    rightLayout->addWidget(mainHeading);
    auto *mainRow = new QWidget;
    auto *mainRowLayout = new QHBoxLayout(mainRow);
    mainRowLayout->setSpacing(15);
    for (int i = 0; i < 4; ++i) {
        auto *button = new QToolButton;
        button->setCheckable(true);
        button->setFixedSize(80, 80);
        button->setStyleSheet(
            QString("QToolButton {  background-color: %1;  border-radius: 40px;  border: 3px solid "
                    "#ecf0f1;  color: white;  font-weight: bold;}QToolButton:checked {  border: "
                    "3px solid #f39c12;  background-color: %1;}QToolButton:hover {  border: 3px "
                    "solid #f1c40f;}QToolButton:disabled {  background-color: #7f8c8d;  border: "
                    "3px solid #95a5a6;}")
                .arg(mainRunes[i].colour));
        button->setText(mainRunes[i].name);
        mainRuneGroup->addButton(button, i);
        mainRuneButtons.append(button);
        mainRowLayout->addWidget(button);
        connect(button, &QToolButton::clicked, this, [this, i] { onMainRuneSelected(i); });
        button->installEventFilter(this);
    }
    fitTextInside(mainRuneButtons, 68);
    rightLayout->addWidget(mainRow);

    auto *subHeading = new QLabel("PODRUNY:");
    subHeading->setStyleSheet("QLabel { color: #ecf0f1; font-size: 16px; font-weight: bold; "
                              "margin: 20px 0 10px 0; }");
    rightLayout->addWidget(subHeading);
    auto *grid = new QWidget;
    auto *gridLayout = new QGridLayout(grid);
    gridLayout->setSpacing(8);
    for (int i = 0; i < 9; ++i) {
        auto *button = new QToolButton;
        button->setCheckable(true);
        button->setFixedSize(60, 60);
        button->setStyleSheet(
            "QToolButton {  background-color: #34495e;  border-radius: 30px;  border: 2px solid "
            "#7f8c8d;  color: #ecf0f1;  font-size: 10px;}QToolButton:checked {  background-color: "
            "#3498db;  border: 2px solid #2980b9;}QToolButton:hover {  background-color: "
            "#4a6b82;}QToolButton:disabled {  background-color: #2c3e50;  border: 2px solid "
            "#34495e;  color: #7f8c8d;}");
        button->setText(QString("Runa %1").arg(i + 1));
        subRuneGroup->addButton(button, i);
        subRuneButtons.append(button);
        gridLayout->addWidget(button, i / 3, i % 3);
        connect(button, &QToolButton::clicked, this, [this, i] { onSubRuneSelected(i); });
        button->installEventFilter(this);
    }
    rightLayout->addWidget(grid);

    runeTooltip = new QLabel(runeEditor);
    runeTooltip->setWordWrap(true);
    runeTooltip->setStyleSheet(
        "QLabel {  background-color: rgba(26, 26, 46, 220);  color: #ecf0f1;  border: 2px solid "
        "#3498db;  border-radius: 8px;  padding: 10px;  font-size: 12px;}");
    runeTooltip->hide();
    runeTooltip->setFixedWidth(250);

    rightLayout->addStretch(0);
    auto *save = new QPushButton("ZAPISZ I ZAMKNIJ");
    save->setStyleSheet(
        "QPushButton {  background-color: #27ae60;  color: white;  border: none;  border-radius: "
        "8px;  padding: 12px;  font-weight: bold;  margin-top: 20px;}QPushButton:hover { "
        "background-color: #229954; }QPushButton:pressed { background-color: #1e8449; }");
    connect(save, &QPushButton::clicked, runeEditor, &QWidget::hide);
    rightLayout->addWidget(save);

    layout->addWidget(left);
    layout->addWidget(right);
    updateRuneButtons();
}

void MainWindow::openRuneEditor()
{
    if (!runeEditor) {
        qWarning("runeEditor is null!");
        return;
    }
    runeEditor->move((width() - runeEditor->width()) / 2, (height() - runeEditor->height()) / 2);
    runeEditor->show();
    runeEditor->raise();
}

void MainWindow::setupStatsBars()
{
    const QString labelStyle = "QLabel {  color: #ecf0f1;  font-weight: bold;  font-size: 13px;  "
                               "background-color: #34495e;  padding: 5px;  border-radius: 5px;}";
    const QString barStyle =
        "QProgressBar {  border: 2px solid #34495e;  border-radius: 5px;  text-align: center;  "
        "background-color: #2c3e50;  color: #ecf0f1;  font-weight: bold;}QProgressBar::chunk {  "
        "background-color: qlineargradient(    x1: 0, y1: 0, x2: 1, y2: 0,    stop: 0 #3498db, "
        "stop: 1 #2980b9  );  border-radius: 4px;}";
    const auto makeRow = [&](QLabel *&label, QProgressBar *&bar, const QString &prefix, int min,
                             int max) {
        label = new QLabel(prefix);
        label->setStyleSheet(labelStyle);
        bar = new QProgressBar;
        bar->setStyleSheet(barStyle);
        bar->setRange(min, max);
        bar->setTextVisible(true);
    };
    makeRow(healthLabel, healthBar, "Zdrowie: ", 100, 300);
    makeRow(speedLabel, speedBar, "Szybkość: ", 5, 25);
    makeRow(strengthLabel, strengthBar, "Siła: ", 5, 50);
    makeRow(defenseLabel, defenseBar, "Obrona: ", 0, 70);
}

QWidget *MainWindow::createStatWidget(QLabel *label, QProgressBar *bar)
{
    auto *row = new QWidget;
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    label->setFixedWidth(120);
    bar->setFixedHeight(20);
    layout->addWidget(label);
    layout->addWidget(bar);
    return row;
}

void MainWindow::updateStats()
{
    if (!healthBar || !speedBar || !strengthBar || !defenseBar)
        return;
    // A value past a bar's maximum leaves the bar as it was; the label tells the truth.
    healthBar->setValue(stats.health);
    speedBar->setValue(stats.speed);
    strengthBar->setValue(stats.strength);
    defenseBar->setValue(stats.defense);
    if (healthLabel)
        healthLabel->setText(QString("Zdrowie: %1").arg(stats.health));
    if (speedLabel)
        speedLabel->setText(QString("Szybkość: %1").arg(stats.speed));
    if (strengthLabel)
        strengthLabel->setText(QString("Siła: %1").arg(stats.strength));
    if (defenseLabel)
        defenseLabel->setText(QString("Obrona: %1").arg(stats.defense));
}

bool MainWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Enter) {
        auto *button = qobject_cast<QToolButton *>(watched);
        if (const int i = mainRuneButtons.indexOf(button); button && i >= 0) {
            showRuneTooltip(i, true);
            return true;
        }
        if (const int i = subRuneButtons.indexOf(button); button && i >= 0) {
            showRuneTooltip(i, false);
            return true;
        }
    } else if (event->type() == QEvent::Leave) {
        hideTooltip();
        return true;
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::showRuneTooltip(int runeId, bool isMainRune)
{
    const QList<QToolButton *> &buttons = isMainRune ? mainRuneButtons : subRuneButtons;
    if (runeId < 0 || runeId >= buttons.size())
        return;
    const char *title = isMainRune ? mainRunes[runeId].name : subRunes[runeId].title;
    const char *text = isMainRune ? mainRunes[runeId].text : subRunes[runeId].text;
    runeTooltip->setText(QString("<b>%1</b><br>%2").arg(title, text));
    runeTooltip->adjustSize();
    QToolButton *button = buttons.at(runeId);
    runeTooltip->move(button->mapTo(runeEditor, QPoint(button->width() + 5, 0)));
    runeTooltip->raise();
    runeTooltip->show();
}

void MainWindow::hideTooltip()
{
    runeTooltip->hide();
}

void MainWindow::onMainRuneSelected(int runeId)
{
    if (selectedMainRune != runeId) {
        selectedMainRune = runeId;
        for (int i = 0; i < mainRuneButtons.size(); ++i) {
            if (i != runeId)
                mainRuneButtons.at(i)->setChecked(false);
        }
    } else {
        // The exclusive group keeps the button looking checked; that is the look of
        // "no main rune" until another one is clicked.
        selectedMainRune = -1;
        mainRuneButtons.at(runeId)->setChecked(false);
    }
    selectedSubRunes.clear();
    updateRuneButtons();
    updateStatsFromRunes();
}

void MainWindow::updateRuneButtons()
{
    for (int i = 0; i < mainRuneButtons.size(); ++i)
        mainRuneButtons.at(i)->setEnabled(selectedMainRune == -1 || selectedMainRune == i);
    const bool visible = selectedMainRune != -1;
    for (QToolButton *button : std::as_const(subRuneButtons)) {
        button->setVisible(visible);
        button->setEnabled(visible);
        button->setChecked(false);
    }
    selectedSubRunes.clear();
}

void MainWindow::onSubRuneSelected(int runeId)
{
    if (selectedSubRunes.contains(runeId)) {
        selectedSubRunes.removeOne(runeId);
        updateStatsFromRunes();
        return;
    }
    if (selectedSubRunes.size() >= 3) {
        subRuneButtons.at(runeId)->setChecked(false);
        return;
    }
    selectedSubRunes.append(runeId);
    updateStatsFromRunes();
}

void MainWindow::updateStatsFromRunes()
{
    stats =
        selectedMainRune >= 0 && selectedMainRune < 4 ? mainRunes[selectedMainRune].stats : Stats{};
    for (const int id : std::as_const(selectedSubRunes)) {
        const Stats &bonus = subRunes[id].bonus;
        stats.health += bonus.health;
        stats.speed += bonus.speed;
        stats.strength += bonus.strength;
        stats.defense += bonus.defense;
    }
    updateStats();
}
