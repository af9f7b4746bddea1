#include "gun.h"
#include "mainwindow.h"
#include "perkcard.h"
#include "player.h"
#include "practicetoolview.h"

#include <QCheckBox>
#include <QGraphicsProxyWidget>
#include <QGraphicsScene>
#include <QGraphicsTextItem>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QTimer>

namespace {

const QString panelStyle = "background-color: rgba(0, 0, 0, 100);border-radius: 15px;border: 1px "
                           "solid rgba(255,255,255,80);color: white;font-size: 16px;padding: 5px;";
const QString smallPanelStyle =
    "background-color: rgba(0, 0, 0, 100);border-radius: 15px;border: 1px solid "
    "rgba(255,255,255,80);color: white;font-size: 12px;padding: 5px;";
const QString checkStyle = "color: white; font-size: 14px;";
const QString defaultStats = "HP: 100\nSpeed: 10\nDamage: 5\nDefense: 10";

// A weapon that only writes down where it was told to fire.
class CountingGun : public Gun
{
public:
    CountingGun(QGraphicsScene *scene, Player *owner, QList<QPointF> *shots)
        : Gun(scene, owner, true)
        , shots(shots)
    {}
    void shoot(QPointF target) override { shots->append(target); }
    QList<QPointF> *shots;
};

void tick(QTimer *timer)
{
    QMetaObject::invokeMethod(timer, "timeout");
}

void settle()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

template <class T> QList<T *> itemsOf(QGraphicsScene *scene)
{
    QList<T *> found;
    for (QGraphicsItem *item : scene->items())
        if (auto *wanted = dynamic_cast<T *>(item))
            found.append(wanted);
    return found;
}

QWidget *controlAt(QGraphicsScene *scene, QPointF pos)
{
    for (QGraphicsProxyWidget *proxy : itemsOf<QGraphicsProxyWidget>(scene))
        if (proxy->pos() == pos)
            return proxy->widget();
    return nullptr;
}

QAbstractButton *buttonAt(QGraphicsScene *scene, QPointF pos)
{
    return qobject_cast<QAbstractButton *>(controlAt(scene, pos));
}

// Effect carriers: the death animation, drops and flames.
int carriers(QGraphicsScene *scene)
{
    int count = 0;
    for (QGraphicsItem *item : scene->items())
        count += item->isWidget() && !dynamic_cast<QGraphicsProxyWidget *>(item);
    return count;
}

QGraphicsTextItem *numberShowing(QGraphicsScene *scene, const QString &text)
{
    for (QGraphicsTextItem *item : itemsOf<QGraphicsTextItem>(scene))
        if (item->toPlainText() == text)
            return item;
    return nullptr;
}

} // namespace

class TestPractice : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void opening();
    void controlsInPlace_data();
    void controlsInPlace();
    void statsReachTheFirstAvatar();
    void weaponButtonReplacesWeapon_data();
    void weaponButtonReplacesWeapon();
    void leftClickFiresThenReaches();
    void opponentFromBoxes_data();
    void opponentFromBoxes();
    void armedOpponentFiresOnlyAtArmedLivingAvatar();
    void replacingLivingOpponent();
    void clearedOpponentTicksAndReportsDoNothing();
    void damageReports();
    void resetKeepsOpponentDropsWeaponAndPerks();
    void perkRowsPickedTopFirst_data();
    void perkRowsPickedTopFirst();
    void escapeEndsOpponentSide();

private:
    void clickAt(QPointF scenePos, Qt::MouseButton button = Qt::LeftButton);
    void spawnOpponent(bool walks, bool armed);

    PracticeToolView *view = nullptr;
    QGraphicsScene *scene = nullptr;
};

void TestPractice::init()
{
    view = new PracticeToolView;
    view->resize(800, 600);
    view->show();
    QVERIFY(QTest::qWaitForWindowExposed(view));
    scene = view->scene;
}

void TestPractice::cleanup()
{
    delete view;
}

void TestPractice::clickAt(QPointF scenePos, Qt::MouseButton button)
{
    QTest::mouseClick(view->viewport(), button, {}, view->mapFromScene(scenePos));
}

void TestPractice::spawnOpponent(bool walks, bool armed)
{
    qobject_cast<QCheckBox *>(controlAt(scene, QPointF(520, 16)))->setChecked(walks);
    qobject_cast<QCheckBox *>(controlAt(scene, QPointF(520, 36)))->setChecked(armed);
    buttonAt(scene, QPointF(370, 0))->click();
}

void TestPractice::opening()
{
    QCOMPARE(view->statsText->toPlainText(), defaultStats);
    QCOMPARE(view->statsText->pos(), QPointF(10, 200));
    QCOMPARE(view->statsText->defaultTextColor(), QColor(Qt::white));
    QCOMPARE(view->statsText->font().weight(), QFont::Bold);
    QCOMPARE(view->statsText->font().pointSize(), 8);
    QCOMPARE(scene->items(QPointF(15, 205)).first(), view->statsText);

    QCOMPARE(scene->sceneRect(), QRectF(0, 0, 800, 600));
    QCOMPARE(view->horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    QCOMPARE(view->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    QCOMPARE(view->player->pos(), QPointF(150, 150));
    QVERIFY(view->player->isLocal && view->player->isPractice);
    QVERIFY(!view->gun && !view->enemy && !view->enemyGun);
    QVERIFY(!view->enemyMoveTimer && !view->enemyShootTimer);

    int cacti = 0;
    for (QGraphicsPixmapItem *item : itemsOf<QGraphicsPixmapItem>(scene)) {
        if (item->zValue() != -1)
            continue;
        ++cacti;
        QCOMPARE(item->scale(), 2.5);
        QVERIFY(item->x() >= -1600 && item->x() < 1600);
        QVERIFY(item->y() >= -1000 && item->y() < 1000);
    }
    QCOMPARE(cacti, 5);
}

void TestPractice::controlsInPlace_data()
{
    QTest::addColumn<QPointF>("pos");
    QTest::addColumn<QString>("className");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("style");
    QTest::addColumn<QSize>("iconSize");
    const QSize none(-1, -1);
    QTest::newRow("gun") << QPointF(0, 0) << "QPushButton"
                         << "" << panelStyle << QSize(70, 64);
    QTest::newRow("shotgun") << QPointF(100, 0) << "QPushButton"
                             << "" << panelStyle << QSize(90, 64);
    QTest::newRow("snipe") << QPointF(220, 0) << "QPushButton"
                           << "" << panelStyle << QSize(120, 64);
    QTest::newRow("enemy") << QPointF(370, 0) << "QPushButton"
                           << "Przeciwnik" << panelStyle << QSize(60, 64);
    QTest::newRow("move") << QPointF(520, 16) << "QCheckBox"
                          << "Ruch" << checkStyle << none;
    QTest::newRow("weapon") << QPointF(520, 36) << "QCheckBox"
                            << "Broń" << checkStyle << none;
    QTest::newRow("perk") << QPointF(700, 0) << "QPushButton"
                          << "add stats" << smallPanelStyle << none;
    QTest::newRow("reset") << QPointF(760, 0) << "QPushButton"
                           << "Reset" << smallPanelStyle << none;
    QTest::newRow("panel") << QPointF(0, 200) << "QLabel"
                           << "" << panelStyle << none;
}

void TestPractice::controlsInPlace()
{
    QFETCH(QPointF, pos);
    QFETCH(QString, className);
    QFETCH(QString, text);
    QFETCH(QString, style);
    QFETCH(QSize, iconSize);
    QWidget *control = controlAt(scene, pos);
    QVERIFY(control);
    QCOMPARE(control->metaObject()->className(), className);
    QCOMPARE(control->property("text").toString(), text);
    QCOMPARE(control->styleSheet(), style);
    if (auto *box = qobject_cast<QCheckBox *>(control))
        QVERIFY(!box->isChecked());
    else if (auto *button = qobject_cast<QPushButton *>(control))
        QVERIFY(button->isFlat());
    else
        QCOMPARE(control->size(), QSize(120, 80));
    if (iconSize.isValid())
        QCOMPARE(qobject_cast<QPushButton *>(control)->iconSize(), iconSize);
}

void TestPractice::statsReachTheFirstAvatar()
{
    MainWindow window;
    QMetaObject::invokeMethod(&window, "openArmory");
    QVERIFY(window.practiceView);
    QCOMPARE(window.practiceView->statsText->toPlainText(), defaultStats);
    QTRY_COMPARE_WITH_TIMEOUT(window.practiceView->statsText->toPlainText(),
                              QString("HP: 100\nSpeed: 5\nDamage: 5\nDefense: 0"), 1000);
    QCOMPARE(window.practiceView->player->lastHp, 100);
}

void TestPractice::weaponButtonReplacesWeapon_data()
{
    QTest::addColumn<QPointF>("pos");
    QTest::addColumn<QString>("className");
    QTest::newRow("gun") << QPointF(0, 0) << "Gun";
    QTest::newRow("shotgun") << QPointF(100, 0) << "Shotgun";
    QTest::newRow("snipe") << QPointF(220, 0) << "Snipe";
}

void TestPractice::weaponButtonReplacesWeapon()
{
    QFETCH(QPointF, pos);
    QFETCH(QString, className);
    buttonAt(scene, QPointF(0, 0))->click();
    QPointer<Gun> before = view->gun;
    buttonAt(scene, pos)->click();
    QVERIFY(view->gun && view->gun != before);
    QCOMPARE(view->gun->metaObject()->className(), className);
    QCOMPARE(view->gun->owner, view->player);
    QVERIFY(view->gun->followsOwner);

    // The same button again ends the cooldown with a fresh weapon.
    QPointer<Gun> cooling = view->gun;
    cooling->canShoot = false;
    buttonAt(scene, pos)->click();
    QVERIFY(view->gun != cooling);
    QVERIFY(view->gun->canShoot);
    settle();
    QVERIFY(!before && !cooling);
}

// A left click fires the held weapon before the control under it acts.
void TestPractice::leftClickFiresThenReaches()
{
    QList<QPointF> shots;
    clickAt(QPointF(300, 300));
    view->gun = new CountingGun(scene, view->player, &shots);
    clickAt(QPointF(300, 300), Qt::RightButton);
    QVERIFY(shots.isEmpty());
    QVERIFY(view->player->moveTimer->isActive());
    QCOMPARE(view->player->target, QPointF(300, 300));

    clickAt(QPointF(300, 300));
    QCOMPARE(shots, QList<QPointF>{QPointF(300, 300)});
    view->player->alive = false;
    clickAt(QPointF(300, 300));
    QCOMPARE(shots.size(), 1);

    view->player->alive = true;
    const QPointF reset = controlAt(scene, QPointF(760, 0))->rect().center() + QPointF(760, 0);
    clickAt(reset);
    QCOMPARE(shots.size(), 2);
    QVERIFY(!view->gun);
}

void TestPractice::opponentFromBoxes_data()
{
    QTest::addColumn<bool>("walks");
    QTest::addColumn<bool>("armed");
    QTest::newRow("standing") << false << false;
    QTest::newRow("walking") << true << false;
    QTest::newRow("armed") << false << true;
    QTest::newRow("walking and armed") << true << true;
}

void TestPractice::opponentFromBoxes()
{
    QFETCH(bool, walks);
    QFETCH(bool, armed);
    spawnOpponent(walks, armed);
    Player *enemy = view->enemy;
    QVERIFY(enemy);
    QCOMPARE(enemy->pos(), QPointF(400, 400));
    QVERIFY(enemy->isPractice && !enemy->isLocal);
    QCOMPARE(enemy->hp, 100);
    QCOMPARE(bool(view->enemyMoveTimer), walks);
    QCOMPARE(bool(view->enemyGun), armed);
    QCOMPARE(bool(view->enemyShootTimer), armed);
    if (armed) {
        QCOMPARE(view->enemyShootTimer->interval(), 100);
        QCOMPARE(view->enemyGun->owner, enemy);
        QVERIFY(QStringList({"Gun", "Shotgun", "Snipe"})
                    .contains(view->enemyGun->metaObject()->className()));
    }
    if (walks) {
        QCOMPARE(view->enemyMoveTimer->interval(), 500);
        for (int i = 0; i < 64 && !enemy->moveTimer->isActive(); ++i)
            tick(view->enemyMoveTimer);
        QVERIFY(enemy->moveTimer->isActive());
        QVERIFY(QRectF(0, 0, 800, 600).contains(enemy->target));
    }

    // An opponent's death clears its side and brings no new one.
    emit enemy->died();
    QVERIFY(!view->enemy && !view->enemyGun && !view->enemyMoveTimer && !view->enemyShootTimer);
    QCOMPARE(qobject_cast<QCheckBox *>(controlAt(scene, QPointF(520, 16)))->isChecked(), walks);
}

void TestPractice::armedOpponentFiresOnlyAtArmedLivingAvatar()
{
    spawnOpponent(false, true);
    QList<QPointF> shots;
    delete view->enemyGun;
    view->enemyGun = new CountingGun(scene, view->enemy, &shots);
    QTimer *fire = view->enemyShootTimer;

    tick(fire);
    QVERIFY(shots.isEmpty());
    buttonAt(scene, QPointF(0, 0))->click();
    tick(fire);
    const QPointF avatar = view->player->mapToScene(view->player->boundingRect().center());
    QCOMPARE(shots, QList<QPointF>{avatar});

    view->player->alive = false;
    tick(fire);
    QCOMPARE(shots.size(), 1);
    buttonAt(scene, QPointF(760, 0))->click();
    tick(fire);
    QCOMPARE(shots.size(), 1);
}

void TestPractice::replacingLivingOpponent()
{
    spawnOpponent(true, true);
    QPointer<Player> old = view->enemy;
    QPointer<QTimer> oldWalk = view->enemyMoveTimer;
    old->setPos(600, 100);
    old->hp = 40;
    const int carriersBefore = carriers(scene);

    spawnOpponent(false, false);
    QCOMPARE(carriers(scene), carriersBefore + 1);
    QVERIFY(!old->isVisible());
    QVERIFY(view->enemy && view->enemy != old);
    QCOMPARE(view->enemy->pos(), QPointF(400, 400));
    QCOMPARE(view->enemy->hp, 100);
    QVERIFY(!view->enemyMoveTimer && !view->enemyGun);
    settle();
    QVERIFY(!old && !oldWalk);
}

// Timers and reports of a cleared opponent may still come before the deletion.
void TestPractice::clearedOpponentTicksAndReportsDoNothing()
{
    buttonAt(scene, QPointF(0, 0))->click();
    spawnOpponent(true, true);
    QPointer<Player> old = view->enemy;
    QPointer<QTimer> walk = view->enemyMoveTimer;
    QPointer<QTimer> fire = view->enemyShootTimer;
    emit old->died();
    const int itemsBefore = scene->items().size();
    for (int i = 0; i < 8; ++i) {
        tick(walk);
        tick(fire);
    }
    emit old->damage_received(7);
    QCOMPARE(scene->items().size(), itemsBefore);
    QVERIFY(!old->moveTimer->isActive());
    settle();
    QVERIFY(!old && !walk && !fire);
}

void TestPractice::damageReports()
{
    view->player->hp = 70;
    emit view->player->damage_received(30);
    QCOMPARE(view->statsText->toPlainText(), "HP: 70\nSpeed: 10\nDamage: 5\nDefense: 10");
    QGraphicsTextItem *own = numberShowing(scene, "30");
    QVERIFY(own);

    spawnOpponent(false, false);
    view->enemy->hp = 88;
    emit view->enemy->damage_received(12);
    QGraphicsTextItem *other = numberShowing(scene, "12");
    QVERIFY(other);
    QCOMPARE(view->statsText->toPlainText(), "HP: 70\nSpeed: 10\nDamage: 5\nDefense: 10");

    // The avatar's number fades from the first tick; the opponent's stays opaque a while.
    tick(own->findChild<QTimer *>());
    tick(other->findChild<QTimer *>());
    QCOMPARE(own->opacity(), 0.99);
    QCOMPARE(other->opacity(), 1.0);
}

void TestPractice::resetKeepsOpponentDropsWeaponAndPerks()
{
    buttonAt(scene, QPointF(100, 0))->click();
    spawnOpponent(true, true);
    Player *enemy = view->enemy;
    QTimer *walk = view->enemyMoveTimer;
    QTimer *fire = view->enemyShootTimer;
    QPointer<Player> old = view->player;
    QPointer<Gun> oldGun = view->gun;
    view->add_perk();
    old->speed = 30;
    old->alive = false;
    old->setPos(500, 500);

    buttonAt(scene, QPointF(760, 0))->click();
    QVERIFY(view->player != old);
    QVERIFY(!view->gun);
    QCOMPARE(view->player->pos(), QPointF(150, 150));
    QVERIFY(view->player->alive && view->player->isLocal && view->player->isPractice);
    QCOMPARE(view->statsText->toPlainText(), defaultStats);
    QCOMPARE(view->enemy, enemy);
    QCOMPARE(view->enemyMoveTimer, walk);
    QCOMPARE(view->enemyShootTimer, fire);
    settle();
    QVERIFY(!old && !oldGun);

    // The standing row no longer changes anybody, but still goes when picked.
    QList<PerkCard *> cards = itemsOf<PerkCard>(scene);
    QCOMPARE(cards.size(), 3);
    clickAt(cards.first()->mapToScene(60, 150));
    QVERIFY(itemsOf<PerkCard>(scene).isEmpty());
    QCOMPARE(view->statsText->toPlainText(), defaultStats);
}

void TestPractice::perkRowsPickedTopFirst_data()
{
    QTest::addColumn<int>("button");
    QTest::addColumn<QPointF>("onCard");
    QTest::newRow("left on the card") << int(Qt::LeftButton) << QPointF(60, 150);
    QTest::newRow("right on the title") << int(Qt::RightButton) << QPointF(20, 20);
}

void TestPractice::perkRowsPickedTopFirst()
{
    QFETCH(int, button);
    QFETCH(QPointF, onCard);
    QAbstractButton *addStats = buttonAt(scene, QPointF(700, 0));
    addStats->click();
    const QList<PerkCard *> bottom = itemsOf<PerkCard>(scene);
    addStats->click();
    QList<PerkCard *> all = itemsOf<PerkCard>(scene);
    QCOMPARE(all.size(), 6);
    QList<QPointF> places;
    for (PerkCard *card : all)
        places.append(card->pos());
    for (QPointF place : {QPointF(175, 200), QPointF(325, 200), QPointF(475, 200)})
        QCOMPARE(places.count(place), 2);

    Player *player = view->player;
    const int speed = player->speed, damage = player->damage, hp = player->hp;
    const QPointF at(325 + onCard.x(), 200 + onCard.y());
    PerkCard *top = nullptr;
    for (PerkCard *card : all)
        if (!bottom.contains(card) && card->pos() == QPointF(325, 200))
            top = card;
    const QString perk = top->perkName;
    const double factor = top->perkValues.value(perk);
    clickAt(at, Qt::MouseButton(button));

    QList<PerkCard *> left = itemsOf<PerkCard>(scene);
    std::sort(left.begin(), left.end());
    QList<PerkCard *> expected = bottom;
    std::sort(expected.begin(), expected.end());
    QCOMPARE(left, expected);
    QCOMPARE(player->speed, perk == "Speed Boost" ? int(speed * factor) : speed);
    QCOMPARE(player->damage, perk == "Damage Boost" ? int(damage * factor) : damage);
    QCOMPARE(player->hp, perk == "Health Boost" ? int(hp * factor) : hp);
    QCOMPARE(view->statsText->toPlainText(), QString("HP: %1\nSpeed: %2\nDamage: %3\nDefense: 10")
                                                 .arg(player->hp)
                                                 .arg(player->speed)
                                                 .arg(player->damage));
    QCOMPARE(player->moveTimer->isActive(), button == Qt::RightButton);
}

void TestPractice::escapeEndsOpponentSide()
{
    buttonAt(scene, QPointF(0, 0))->click();
    spawnOpponent(true, true);
    QPointer<Player> enemy = view->enemy;
    QPointer<Gun> enemyGun = view->enemyGun;
    QPointer<QTimer> walk = view->enemyMoveTimer;
    QPointer<QTimer> fire = view->enemyShootTimer;

    QTest::keyClick(view, Qt::Key_A);
    QVERIFY(view->isVisible());
    const int carriersBefore = carriers(scene);
    QTest::keyClick(view, Qt::Key_Escape);
    QVERIFY(!view->isVisible());
    QCOMPARE(carriers(scene), carriersBefore);
    settle();
    QVERIFY(!enemy && !enemyGun && !walk && !fire);
    QVERIFY(view->player && view->gun);
}

QTEST_MAIN(TestPractice)
#include "tst_practice.moc"
