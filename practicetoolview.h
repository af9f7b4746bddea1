// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef PRACTICETOOLVIEW_H
#define PRACTICETOOLVIEW_H

#include <QGraphicsView>

class Gun;
class Player;
class QCheckBox;
class QGraphicsScene;
class QGraphicsTextItem;
class QPushButton;
class QTimer;

// The offline sandbox: an avatar, an optional opponent, three weapons and perk
// cards, on a scene of its own, with no server.
class PracticeToolView : public QGraphicsView
{
    Q_OBJECT

public:
    explicit PracticeToolView(QWidget *parent = nullptr);
    ~PracticeToolView() override;

    void updateStats(Player *p);
    void add_perk();

    Player *player = nullptr;
    QGraphicsScene *scene = nullptr;
    Player *enemy = nullptr;
    Gun *gun = nullptr;
    Gun *enemyGun = nullptr;
    QTimer *enemyMoveTimer = nullptr;
    QTimer *enemyShootTimer = nullptr;
    QGraphicsTextItem *statsText = nullptr;

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void place(QWidget *widget, QPointF pos);
    QPushButton *addButton(const QString &text, const QString &style, QPointF pos,
                           const QString &icon = QString(), QSize iconSize = QSize());
    QCheckBox *addCheckBox(const QString &text, QPointF pos);
    template <class Weapon> void addWeaponButton(const QString &icon, int iconWidth, qreal x);
    void addEnemyControls();
    void addStatsOverlay();
    void addCacti();

    Player *addAvatar();
    void resetAvatar();
    void reportDamage(Player *subject, int amount);

    void spawnEnemy(bool walks, bool armed);
    Gun *randomWeapon(Player *owner);
    QTimer *startTick(int ms, void (PracticeToolView::*tick)());
    void enemyWalkTick();
    void enemyFireTick();
    void clearEnemy();
    void discardEnemySide();
};

#endif // PRACTICETOOLVIEW_H
