#include "perkcard.h"
#include "player.h"

#include <QGraphicsScene>
#include <QGraphicsSceneMouseEvent>
#include <QGraphicsTextItem>
#include <QSignalSpy>
#include <QTest>

#include <climits>
#include <set>
#include <utility>

namespace {

int Player::*statOf(const QString &perk)
{
    if (perk == "Speed Boost")
        return &Player::speed;
    if (perk == "Damage Boost")
        return &Player::damage;
    return &Player::hp;
}

// Delivered the way a view would: to the topmost item at the point, then downwards.
void press(QGraphicsScene &scene, QPointF at, Qt::MouseButton button = Qt::LeftButton)
{
    QGraphicsSceneMouseEvent event(QEvent::GraphicsSceneMousePress);
    event.setScenePos(at);
    event.setButton(button);
    event.setButtons(button);
    QCoreApplication::sendEvent(&scene, &event);
}

} // namespace

class TestPerkCard : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        player = new Player(&scene, QPointF(150, 150));
        scene.addItem(player);
    }
    void cleanup() { delete player; }

    void rarityForRoll_data();
    void rarityForRoll();
    void cardsShowTheirDraw();
    void pickMultipliesOneStat_data();
    void pickMultipliesOneStat();
    void healthBoostIsNotReportedAsLoss();
    void cardOfDestroyedAvatarChangesNothing();

private:
    QGraphicsScene scene;
    Player *player = nullptr;
};

void TestPerkCard::rarityForRoll_data()
{
    QTest::addColumn<int>("roll");
    QTest::addColumn<int>("rarity");
    const std::pair<int, int> rows[] = {{0, 0},  {49, 0}, {50, 1}, {79, 1},
                                        {80, 2}, {94, 2}, {95, 3}, {99, 3}};
    for (auto [roll, rarity] : rows)
        QTest::addRow("%d", roll) << roll << rarity;
}

void TestPerkCard::rarityForRoll()
{
    QFETCH(int, roll);
    QFETCH(int, rarity);
    QCOMPARE(PerkCard::rarityForRoll(roll), rarity);
}

// Draws cards until every perk has shown up at every rarity, and checks each card's
// look against its draw on the way.
void TestPerkCard::cardsShowTheirDraw()
{
    const QColor colours[] = {QColor(150, 150, 150), QColor(0, 128, 255), QColor(128, 0, 128),
                              QColor(255, 215, 0)};
    const double multipliers[] = {1.1, 1.5, 2.0, 3.0};
    const QString percentages[] = {"10%", "50%", "100%", "200%"};
    const QMap<QString, QString> descriptions = {{"Speed Boost", "Zwiększa prędkość o "},
                                                 {"Damage Boost", "Zwiększa obrażenia o "},
                                                 {"Health Boost", "Zwiększa zdrowie o "}};
    std::set<std::pair<QString, int>> seen;
    for (int i = 0; i < 5000 && seen.size() < 12; ++i) {
        PerkCard card(player);
        QVERIFY(descriptions.contains(card.perkName));
        QVERIFY(card.rarity >= 0 && card.rarity <= 3);
        seen.insert({card.perkName, card.rarity});
        QCOMPARE(card.perkValues.keys(), QStringList{card.perkName});
        QCOMPARE(card.perkValues.value(card.perkName), multipliers[card.rarity]);
        QCOMPARE(card.brush().color(), colours[card.rarity]);
        QCOMPARE(card.titleText->toPlainText(), card.perkName);
        QCOMPARE(card.descriptionText->toPlainText(),
                 descriptions[card.perkName] + percentages[card.rarity]);
    }
    QCOMPARE(seen.size(), size_t(12));
}

void TestPerkCard::pickMultipliesOneStat_data()
{
    QTest::addColumn<QString>("perk");
    QTest::addColumn<double>("multiplier");
    QTest::addColumn<int>("before");
    QTest::addColumn<int>("after");
    const struct
    {
        const char *perk;
        int before;
        int after[4];
    } table[] = {{"Speed Boost", 10, {11, 15, 20, 30}},
                 {"Damage Boost", 5, {5, 7, 10, 15}},
                 {"Health Boost", 100, {110, 150, 200, 300}}};
    const double multipliers[] = {1.1, 1.5, 2.0, 3.0};
    for (const auto &row : table)
        for (int r = 0; r < 4; ++r)
            QTest::addRow("%s x%g", row.perk, multipliers[r])
                << QString(row.perk) << multipliers[r] << row.before << row.after[r];
    QTest::newRow("second pick") << "Speed Boost" << 1.1 << 11 << 12;
    QTest::newRow("bounded above") << "Damage Boost" << 3.0 << INT_MAX / 2 << INT_MAX;
    QTest::newRow("bounded below") << "Health Boost" << 3.0 << INT_MIN / 2 << INT_MIN;
    QTest::newRow("negative health") << "Health Boost" << 1.5 << -7 << -10;
}

// The row's handler deletes the card inside the emission, as the practice view does.
void TestPerkCard::pickMultipliesOneStat()
{
    QFETCH(QString, perk);
    QFETCH(double, multiplier);
    QFETCH(int, before);
    QFETCH(int, after);
    player->*statOf(perk) = before;
    player->alive = false;
    const Player untouched(nullptr, QPointF());

    auto *card = new PerkCard(player);
    scene.addItem(card);
    card->perkName = perk;
    card->perkValues = {{perk, multiplier}};
    QSignalSpy spy(card, &PerkCard::picked);
    connect(card, &PerkCard::picked, this, [card] { delete card; });
    press(scene, card->descriptionText->mapToScene(5, 5), Qt::RightButton);

    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.first().first().toString(), perk);
    QCOMPARE(player->*statOf(perk), after);
    for (int Player::*stat : {&Player::speed, &Player::damage, &Player::hp, &Player::defense})
        if (stat != statOf(perk))
            QCOMPARE(player->*stat, untouched.*stat);
    QVERIFY(!player->alive);
}

// A boost between a hit and its report must not cancel the hit in the report.
void TestPerkCard::healthBoostIsNotReportedAsLoss()
{
    QSignalSpy reports(player, &Player::damage_received);
    player->takeDamage(10); // 100 -> 90
    PerkCard card(player);
    scene.addItem(&card);
    card.perkName = "Health Boost";
    card.perkValues = {{card.perkName, 1.5}};
    press(scene, card.mapToScene(1, 1));
    QCOMPARE(player->hp, 135);
    QCOMPARE(player->lastHp, 145);
    QTRY_COMPARE_WITH_TIMEOUT(reports.count(), 1, 1000);
    QCOMPARE(reports.first().first().toInt(), 10);
    QCOMPARE(player->lastHp, 135);
}

void TestPerkCard::cardOfDestroyedAvatarChangesNothing()
{
    auto *card = new PerkCard(player);
    scene.addItem(card);
    delete player;
    player = new Player(&scene, QPointF());
    QSignalSpy spy(card, &PerkCard::picked);
    connect(card, &PerkCard::picked, this, [card] { delete card; });
    press(scene, QPointF(1, 1));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(player->speed, 10);
    QCOMPARE(player->damage, 5);
    QCOMPARE(player->hp, 100);
}

QTEST_MAIN(TestPerkCard)
#include "tst_perkcard.moc"
