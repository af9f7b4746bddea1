// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef MAINWINDOW_H
#define MAINWINDOW_H

#include "serveraddress.h"
#include "stats.h"

#include <QList>
#include <QMainWindow>
#include <QPointer>

QT_BEGIN_NAMESPACE
namespace Ui {
class MainWindow;
}
QT_END_NAMESPACE

class Client;
class LanServerList;
class PracticeToolView;
class QButtonGroup;
class QGraphicsPixmapItem;
class QGraphicsProxyWidget;
class QGraphicsRectItem;
class QGraphicsScene;
class QLabel;
class QProgressBar;
class QPushButton;
class QToolButton;
class ServerField;
class View;

// The one top-level window: the lobby, the arena scene, the rune editor and the
// stats that the rune choice produces.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

    Stats stats;
    ServerAddress server = ServerAddress::standard(); // every visit to the arena connects here

    Ui::MainWindow *ui;
    QGraphicsScene *scene = nullptr;
    View *view = nullptr;
    QPointer<Client> client; // deletes itself when the user leaves the arena
    QPushButton *respawnButton = nullptr;
    QGraphicsProxyWidget *respawnProxy = nullptr;
    QGraphicsRectItem *slotFrames[3] = {};
    QGraphicsPixmapItem *slotIcons[3] = {};
    QPointer<PracticeToolView> practiceView; // ends itself when the user leaves it
    ServerField *serverField = nullptr;
    LanServerList *lanServers = nullptr;

    QPushButton *runesButton = nullptr;
    QWidget *runeEditor = nullptr;
    QButtonGroup *mainRuneGroup = nullptr;
    QButtonGroup *subRuneGroup = nullptr;
    QList<QToolButton *> mainRuneButtons;
    QList<QToolButton *> subRuneButtons;
    QLabel *runeTooltip = nullptr;
    int selectedMainRune = -1;
    QList<int> selectedSubRunes;
    QProgressBar *healthBar = nullptr;
    QProgressBar *speedBar = nullptr;
    QProgressBar *strengthBar = nullptr;
    QProgressBar *defenseBar = nullptr;
    QLabel *healthLabel = nullptr;
    QLabel *speedLabel = nullptr;
    QLabel *strengthLabel = nullptr;
    QLabel *defenseLabel = nullptr;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private slots:
    void on_connect_clicked();
    void updateSlotIcon(int slotIndex, int itemId);
    void respawnPlayer();
    void openArmory();
    void onMainRuneSelected(int runeId);
    void onSubRuneSelected(int runeId);
    void showRuneTooltip(int runeId, bool isMainRune);
    void hideTooltip();

private:
    void createRuneSystem();
    void setupStatsBars();
    QWidget *createStatWidget(QLabel *label, QProgressBar *bar);
    void updateStats();
    void updateRuneButtons();
    void updateStatsFromRunes();
    void openRuneEditor();
    void clearArena();
    void placeHud();
    void placeRespawnButton();
    void placeSlotBar();
    void createServerChoice();
    QPointF viewportCornerInScene(int x, int y) const;
};

#endif // MAINWINDOW_H
