#ifndef PRACTICETOOLVIEW_H
#define PRACTICETOOLVIEW_H

#include <QGraphicsView>

class Gun;
class Player;
class QGraphicsScene;
class QGraphicsTextItem;
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
};

#endif // PRACTICETOOLVIEW_H
