#include "client.h"
#include "gun.h"
#include "player.h"
#include "recordingserver.h"
#include "view.h"

#include <QGraphicsScene>
#include <QGraphicsTextItem>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

// What each line from the server does to this client's world.
class TestHandlers : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void unknownIdsChangeNothing_data();
    void unknownIdsChangeNothing();
    void positionJumpsWithoutEndingTheWalk();
    void setupSetsSpeedOrDamage();
    void pickUpFillsTheSlot();
    void keyTakesAndPutsAwayThroughTheEcho();
    void secondWeaponReplacesTheFirst();
    void shotEchoFires();
    void damageNumberFloats();
    void deathOfAnotherPlayer();
    void deathOfTheOwnAvatar();
    void clearedSceneEndsEveryEffect();

private:
    void send(const QByteArray &lines);
    QList<QGraphicsTextItem *> numbers() const;

    RecordingServer *server = nullptr;
    QGraphicsScene *scene = nullptr;
    Client *client = nullptr;
};

void TestHandlers::init()
{
    server = new RecordingServer;
    QVERIFY2(server->listen(), "port 7000 is taken: stop the relay before running the tests");
    scene = new QGraphicsScene;
    client = new Client(scene, nullptr);
    QVERIFY(server->accept(*client));
    client->positionTimer->stop(); // its reports would mix with the lines under test
    server->send("0x1;0;0\n1x2;400;100\n");
    QTRY_COMPARE(client->players.size(), 2);
    server->take(2);
}

void TestHandlers::cleanup()
{
    delete client;
    delete scene;
    delete server;
}

// Sends lines as the server, then a position report for the own avatar as a
// barrier: once the avatar stands there, every line before it has been handled.
void TestHandlers::send(const QByteArray &lines)
{
    static int barrier = 1000;
    ++barrier;
    server->send(lines + "9x1;" + QByteArray::number(barrier) + ";0\n");
    QTRY_COMPARE(client->localPlayer->pos().x(), double(barrier));
}

QList<QGraphicsTextItem *> TestHandlers::numbers() const
{
    QList<QGraphicsTextItem *> found;
    for (QGraphicsItem *item : scene->items()) {
        if (auto *text = qgraphicsitem_cast<QGraphicsTextItem *>(item))
            found.append(text);
    }
    return found;
}

void TestHandlers::unknownIdsChangeNothing_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("move") << QByteArray("2x9;5;5\n");
    QTest::newRow("position") << QByteArray("9x9;5;5\n");
    QTest::newRow("setup") << QByteArray("6x9;1;50\n");
    QTest::newRow("weapon") << QByteArray("4x9;1;1\n");
    QTest::newRow("weapon for id 0") << QByteArray("4x0;1;1\n");
    QTest::newRow("weapon for id -1") << QByteArray("4x-1;1;1\n");
    QTest::newRow("shot") << QByteArray("3x9;5;5\n");
    QTest::newRow("damage") << QByteArray("7x9;5;0\n");
    QTest::newRow("death") << QByteArray("5x9;0;0\n");
}

void TestHandlers::unknownIdsChangeNothing()
{
    QFETCH(QByteArray, line);
    const int items = scene->items().size();
    send(line);
    QCOMPARE(client->players.keys(), QList<int>({1, 2}));
    QVERIFY(client->playerGuns.isEmpty());
    QCOMPARE(scene->items().size(), items);
}

void TestHandlers::positionJumpsWithoutEndingTheWalk()
{
    Player *other = client->players.value(2);
    send("2x2;1000;150\n9x2;-12;7\n");
    QCOMPARE(other->pos(), QPointF(-12, 7));
    QCOMPARE(other->target, QPointF(1000, 150));
    QVERIFY(other->moveTimer->isActive());
}

void TestHandlers::setupSetsSpeedOrDamage()
{
    Player *other = client->players.value(2);
    send("6x2;1;25\n6x2;2;30\n6x2;0;99\n6x2;3;99\n");
    QCOMPARE(other->speed, 25);
    QCOMPARE(other->damage, 30);
    QCOMPARE(other->defense, 10);
}

void TestHandlers::pickUpFillsTheSlot()
{
    QSignalSpy changed(client, &Client::inventoryChanged);
    QPointer<Gun> pickUp = client->groundWeapon;
    const int type = pickUp->type;
    client->localPlayer->setPos(-20, -20); // over the weapon lying at the origin
    pickUp->followPlayer();
    QCOMPARE(server->take(1), QList<QByteArray>({"4x1;" + QByteArray::number(type) + ";0"}));
    QCOMPARE(client->inventory, QList<int>({type, 0, 0}));
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.first(), QVariantList({0, type}));
    QVERIFY(!client->groundWeapon);
    QTRY_VERIFY(!pickUp);
}

void TestHandlers::keyTakesAndPutsAwayThroughTheEcho()
{
    client->inventory = {2, 0, 0};
    View view(client);
    QTest::keyClick(&view, Qt::Key_1);
    QCOMPARE(server->take(1), QList<QByteArray>({"4x1;2;1"}));
    QVERIFY(client->playerGuns.isEmpty()); // nothing until the echo
    send("4x1;2;1\n");
    QCOMPARE(client->heldItemId, 2);
    QCOMPARE(client->playerGuns.value(client->localPlayer)->type, 2);

    QTest::keyClick(&view, Qt::Key_1);
    QCOMPARE(server->take(1), QList<QByteArray>({"4x1;2;0"}));
    send("4x1;2;0\n");
    QCOMPARE(client->heldItemId, 0);
    QVERIFY(client->playerGuns.isEmpty());

    send("4x1;4;1\n"); // an item with no weapon: logged and ignored
    QCOMPARE(client->heldItemId, 0);
    QVERIFY(client->playerGuns.isEmpty());
}

void TestHandlers::secondWeaponReplacesTheFirst()
{
    Player *other = client->players.value(2);
    send("4x2;1;1\n");
    QPointer<Gun> first = client->playerGuns.value(other);
    send("4x2;3;1\n");
    QCOMPARE(client->playerGuns.value(other)->type, 3);
    QCOMPARE(client->heldItemId, 0); // another player's hand
    QVERIFY(!first || !first->QGraphicsItem::scene());
    QTRY_VERIFY(!first);
}

void TestHandlers::shotEchoFires()
{
    send("3x2;0;0\n4x2;1;1\n");
    Gun *weapon = client->playerGuns.value(client->players.value(2));
    QVERIFY(weapon->canShoot); // the shot before the weapon found no hand
    send("3x2;900;150\n");
    QVERIFY(!weapon->canShoot);
}

void TestHandlers::damageNumberFloats()
{
    Player *other = client->players.value(2);
    send("7x2;17;0\n7x1;-3;0\n");
    QCOMPARE(numbers().size(), 2);
    QStringList texts;
    for (QGraphicsTextItem *number : numbers())
        texts.append(number->toPlainText());
    texts.sort();
    QCOMPARE(texts, QStringList({"-3", "17"}));
    QCOMPARE(other->hp, 100);
}

void TestHandlers::deathOfAnotherPlayer()
{
    send("4x2;2;1\n");
    QPointer<Player> other = client->players.value(2);
    QPointer<Gun> weapon = client->playerGuns.value(other);
    send("5x2;0;0\n3x2;5;5\n5x2;0;0\n");
    QVERIFY(!other);
    QVERIFY(!client->players.contains(2));
    QVERIFY(client->playerGuns.isEmpty());
    QVERIFY(!weapon || !weapon->QGraphicsItem::scene());
    QTRY_VERIFY(!weapon);
}

void TestHandlers::deathOfTheOwnAvatar()
{
    send("4x1;1;1\n");
    Player *own = client->localPlayer;
    send("5x1;0;0\n3x1;5;5\n5x1;0;0\n");
    QCOMPARE(client->localPlayer, own);
    QCOMPARE(client->players.value(1), own);
    QVERIFY(client->playerGuns.isEmpty());
    QVERIFY(own->isVisible());
    QCOMPARE(own->pixmap().toImage(), QPixmap(":/resources/dead_player.png").toImage());
}

void TestHandlers::clearedSceneEndsEveryEffect()
{
    client->players.value(2)->takeDamage(10);
    send("7x2;10;0\n5x2;0;0\n");
    // Numbers, drops and the death animation: each owns the timer or movie that drives it.
    QList<QPointer<QGraphicsObject>> effects;
    for (QGraphicsItem *item : scene->items()) {
        if (QGraphicsObject *object = item->toGraphicsObject()) {
            if (!object->children().isEmpty())
                effects.append(object);
        }
    }
    QVERIFY(effects.size() >= 4); // a number, two drops, the animation

    scene->clear();
    for (const QPointer<QGraphicsObject> &effect : effects)
        QVERIFY(!effect);
}

QTEST_MAIN(TestHandlers)
#include "tst_handlers.moc"
