// SPDX-License-Identifier: GPL-3.0-or-later
#include "practicetoolview.h"

#include "gun.h"
#include "perkcard.h"
#include "player.h"
#include "shotgun.h"
#include "snipe.h"

#include <QCheckBox>
#include <QGraphicsProxyWidget>
#include <QGraphicsScene>
#include <QGraphicsTextItem>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTimer>

#include <array>

namespace {

const QString panelStyle =
    QStringLiteral("background-color: rgba(0, 0, 0, 100);border-radius: 15px;border: 1px solid "
                   "rgba(255,255,255,80);color: white;font-size: 16px;padding: 5px;");
const QString smallPanelStyle =
    QStringLiteral("background-color: rgba(0, 0, 0, 100);border-radius: 15px;border: 1px solid "
                   "rgba(255,255,255,80);color: white;font-size: 12px;padding: 5px;");
const QString checkStyle = QStringLiteral("color: white; font-size: 14px;");

// A replaced object goes later, as a tick of its own may be on the stack; the field
// lets go of it at once.
template <class T> void discardLater(T *&field)
{
    if (field)
        field->deleteLater();
    field = nullptr;
}

} // namespace

PracticeToolView::PracticeToolView(QWidget *parent)
    : QGraphicsView(parent)
{
    setAttribute(Qt::WA_DeleteOnClose);
    scene = new QGraphicsScene(this);
    setScene(scene);
    scene->setSceneRect(QRectF(0, 0, 800, 600));
    player = addAvatar();
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    addWeaponButton<Gun>(QStringLiteral(":/resources/gun.png"), 70, 0);
    addWeaponButton<Shotgun>(QStringLiteral(":/resources/shotgun.png"), 90, 100);
    addWeaponButton<Snipe>(QStringLiteral(":/resources/snipe.png"), 120, 220);
    addEnemyControls();
    connect(addButton(QStringLiteral("Reset"), smallPanelStyle, QPointF(760, 0)),
            &QAbstractButton::clicked, this, &PracticeToolView::resetAvatar);
    connect(addButton(QStringLiteral("add stats"), smallPanelStyle, QPointF(700, 0)),
            &QAbstractButton::clicked, this, &PracticeToolView::add_perk);
    addStatsOverlay();
    updateStats(player);
    addCacti();
}

PracticeToolView::~PracticeToolView()
{
    delete scene;
}

void PracticeToolView::place(QWidget *widget, QPointF pos)
{
    scene->addWidget(widget)->setPos(pos);
}

QPushButton *PracticeToolView::addButton(const QString &text, const QString &style, QPointF pos,
                                         const QString &icon, QSize iconSize)
{
    auto *button = new QPushButton(text);
    button->setFlat(true);
    if (!icon.isEmpty()) {
        button->setIcon(QIcon(icon));
        button->setIconSize(iconSize);
    }
    button->setStyleSheet(style);
    place(button, pos);
    return button;
}

QCheckBox *PracticeToolView::addCheckBox(const QString &text, QPointF pos)
{
    auto *box = new QCheckBox(text);
    box->setStyleSheet(checkStyle);
    place(box, pos);
    return box;
}

template <class Weapon>
void PracticeToolView::addWeaponButton(const QString &icon, int iconWidth, qreal x)
{
    QPushButton *button =
        addButton(QString(), panelStyle, QPointF(x, 0), icon, QSize(iconWidth, 64));
    // A new weapon even when the same kind is held: that is how a cooldown ends early.
    connect(button, &QAbstractButton::clicked, this, [this] {
        discardLater(gun);
        gun = new Weapon(scene, player, true);
    });
}

void PracticeToolView::addEnemyControls()
{
    QPushButton *button = addButton(QStringLiteral("Przeciwnik"), panelStyle, QPointF(370, 0),
                                    QStringLiteral(":/resources/player.png"), QSize(60, 64));
    QCheckBox *moveCheck = addCheckBox(QStringLiteral("Ruch"), QPointF(520, 16));
    QCheckBox *weaponCheck = addCheckBox(QStringLiteral("Broń"), QPointF(520, 36));
    connect(button, &QAbstractButton::clicked, this, [this, moveCheck, weaponCheck] {
        spawnEnemy(moveCheck->isChecked(), weaponCheck->isChecked());
    });
}

void PracticeToolView::addStatsOverlay()
{
    auto *panel = new QLabel;
    panel->setStyleSheet(panelStyle);
    panel->setFixedSize(120, 80);
    place(panel, QPointF(0, 200));

    statsText = new QGraphicsTextItem;
    statsText->setDefaultTextColor(QColor(Qt::white));
    statsText->setPos(10, 200);
    QFont font;
    font.setWeight(QFont::Bold);
    font.setPointSize(8);
    statsText->setFont(font);
    scene->addItem(statsText);
}

void PracticeToolView::addCacti()
{
    auto *random = QRandomGenerator::global();
    for (int i = 0; i < 5; ++i) {
        QGraphicsPixmapItem *cactus = scene->addPixmap(QPixmap(":/resources/cactus.png"));
        const int y = random->bounded(-1000, 1000);
        const int x = random->bounded(-1600, 1600);
        cactus->setPos(x, y);
        cactus->setScale(2.5);
        cactus->setZValue(-1);
        qDebug() << "new item" << cactus->pos();
    }
}

Player *PracticeToolView::addAvatar()
{
    auto *avatar = new Player(scene, QPointF(150, 150), nullptr);
    scene->addItem(avatar);
    avatar->isLocal = true;
    avatar->isPractice = true;
    connect(avatar, &Player::damage_received, this, [this](int n) { reportDamage(player, n); });
    return avatar;
}

// Default stats and no weapon. The opponent stays, and so do perk cards on the
// scene, which no longer change anybody.
void PracticeToolView::resetAvatar()
{
    discardLater(gun);
    player->deleteLater();
    player = addAvatar();
    updateStats(player);
}

void PracticeToolView::updateStats(Player *p)
{
    statsText->setPlainText(QStringLiteral("HP: %1\nSpeed: %2\nDamage: %3\nDefense: %4")
                                .arg(p->hp)
                                .arg(p->speed)
                                .arg(p->damage)
                                .arg(p->defense));
}

// The subject comes from its field at the moment of the report, not from the sender:
// a late report of a cleared opponent has none and shows nothing.
void PracticeToolView::reportDamage(Player *subject, int amount)
{
    if (!subject)
        return;
    if (subject == player) {
        updateStats(player);
        player->showDamageNumber(amount, 1.0, 0.01);
    } else {
        subject->showDamageNumber(amount);
    }
}

void PracticeToolView::spawnEnemy(bool walks, bool armed)
{
    clearEnemy();
    enemy = new Player(scene, QPointF(400, 400), nullptr);
    enemy->isPractice = true;
    scene->addItem(enemy);
    connect(enemy, &Player::damage_received, this, [this](int n) { reportDamage(enemy, n); });
    if (walks)
        enemyMoveTimer = startTick(500, &PracticeToolView::enemyWalkTick);
    if (armed) {
        enemyGun = randomWeapon(enemy);
        enemyShootTimer = startTick(100, &PracticeToolView::enemyFireTick);
    }
    connect(enemy, &Player::died, this, &PracticeToolView::clearEnemy);
}

Gun *PracticeToolView::randomWeapon(Player *owner)
{
    const int r = QRandomGenerator::global()->bounded(1, 9);
    if (r % 3 == 0)
        return new Gun(scene, owner, true);
    if (r % 3 == 1)
        return new Snipe(scene, owner, true);
    return new Shotgun(scene, owner, true);
}

QTimer *PracticeToolView::startTick(int ms, void (PracticeToolView::*tick)())
{
    auto *timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, tick);
    timer->start(ms);
    return timer;
}

void PracticeToolView::enemyWalkTick()
{
    auto *random = QRandomGenerator::global();
    if (!enemy || random->bounded(2) == 0)
        return;
    const int y = random->bounded(600);
    const int x = random->bounded(800);
    enemy->moveTo(QPointF(x, y));
}

// Runs faster than any cooldown: the weapon itself sets the rate, and the ticks in
// between only turn it towards the avatar.
void PracticeToolView::enemyFireTick()
{
    if (!enemyGun || !gun || !player->alive)
        return;
    enemyGun->shoot(player->mapToScene(player->boundingRect().center()));
}

void PracticeToolView::clearEnemy()
{
    if (enemy)
        enemy->death();
    discardEnemySide();
}

void PracticeToolView::discardEnemySide()
{
    discardLater(enemyMoveTimer);
    discardLater(enemyShootTimer);
    discardLater(enemyGun);
    discardLater(enemy);
}

void PracticeToolView::add_perk()
{
    std::array<PerkCard *, 3> row;
    for (int i = 0; i < 3; ++i) {
        row[i] = new PerkCard(player, nullptr);
        scene->addItem(row[i]);
        row[i]->setPos(175 + 150 * i, 200);
    }
    // The picked card is deleted here, inside its own press handler; it touches
    // nothing of itself after emitting.
    for (PerkCard *card : row)
        connect(card, &PerkCard::picked, this, [this, row] {
            updateStats(player);
            for (PerkCard *each : row)
                delete each;
        });
}

void PracticeToolView::mousePressEvent(QMouseEvent *event)
{
    const QPointF point = mapToScene(event->position().toPoint());
    if (event->button() == Qt::RightButton)
        player->moveTo(point);
    else if (event->button() == Qt::LeftButton && gun && player->alive)
        gun->shoot(point);
    // Controls and cards get the press as well: a click on them also walks or fires.
    QGraphicsView::mousePressEvent(event);
}

void PracticeToolView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() != Qt::Key_Escape) {
        QGraphicsView::keyPressEvent(event);
        return;
    }
    // Left for good: the tool goes with its scene and every timer of the visit.
    close();
}
