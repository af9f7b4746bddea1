#include "client.h"
#include "gun.h"
#include "mainwindow.h"
#include "player.h"
#include "recordingserver.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QTest>

// What MsgSpawn and MsgNewPlayer build, and what a respawn takes away.
class TestSpawn : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void avatarTakesTheStats();
    void worldAroundTheAvatar();
    void respawnOfALivingAvatarDoesNothing();
    void respawnTakesTheDeadAvatarAway();
    void respawnEndsAWeaponStillInHand();
    void secondSpawnKeepsOnePickUp();
    void newPlayers();

private:
    void spawnAs(int id);
    int sceneryInScene() const;

    RecordingServer *server = nullptr;
    MainWindow *window = nullptr;
    Client *client = nullptr;
};

void TestSpawn::init()
{
    server = new RecordingServer;
    QVERIFY2(server->listen(), "port 7000 is taken: stop the relay before running the tests");
    window = new MainWindow;
    client = new Client(window->scene, window);
    QVERIFY(server->accept(*client));
}

void TestSpawn::cleanup()
{
    delete client;
    delete window;
    delete server;
}

void TestSpawn::spawnAs(int id)
{
    server->send("0x" + QByteArray::number(id) + ";0;0\n");
    QTRY_COMPARE(client->players.key(client->localPlayer, -1), id);
}

int TestSpawn::sceneryInScene() const
{
    int count = 0;
    for (QGraphicsItem *item : client->scene->items()) {
        if (item->scale() == 2.5)
            ++count;
    }
    return count;
}

void TestSpawn::avatarTakesTheStats()
{
    window->stats = {324, 15, 30, 40};
    spawnAs(8);
    QCOMPARE(server->take(2), QList<QByteArray>({"6x8;1;15", "6x8;2;30"}));
    const Player *avatar = client->localPlayer;
    QVERIFY(avatar->isLocal);
    QVERIFY(avatar->alive);
    QCOMPARE(avatar->pos(), QPointF(100, 100));
    QCOMPARE(avatar->hp, 324);
    QCOMPARE(avatar->lastHp, 324);
    QCOMPARE(avatar->speed, 15);
    QCOMPARE(avatar->defense, 40);
    QCOMPARE(avatar->damage, 5); // only the echo of the setup line changes it
}

void TestSpawn::worldAroundTheAvatar()
{
    spawnAs(1);
    QCOMPARE(client->sceneryItems.size(), 29);
    QCOMPARE(sceneryInScene(), 29);
    QCOMPARE(client->sceneryItems.first()->pos(), QPointF(80, 600));
    QVERIFY(client->sceneryItems.first()->pixmap().isNull()); // a picture we do not have
    QCOMPARE(client->sceneryItems.last()->pos(), QPointF(1950, 150));

    Gun *pickUp = client->groundWeapon;
    QVERIFY(pickUp);
    QCOMPARE(pickUp->pos(), QPointF(0, 0));
    QVERIFY(!pickUp->followsOwner);
    QCOMPARE(pickUp->owner.data(), client->localPlayer);
    QVERIFY(pickUp->type >= 1 && pickUp->type <= 3);
}

void TestSpawn::respawnOfALivingAvatarDoesNothing()
{
    spawnAs(2);
    server->take(2);
    Player *avatar = client->localPlayer;
    client->respawn();
    QCOMPARE(client->localPlayer, avatar);
    QCOMPARE(client->players.value(2), avatar);
    client->socket->write("marker\n");
    QCOMPARE(server->take(1), QList<QByteArray>({"marker"}));
}

void TestSpawn::respawnTakesTheDeadAvatarAway()
{
    spawnAs(2);
    server->take(2);
    client->localPlayer->alive = false;
    client->respawn();
    QVERIFY(!client->localPlayer);
    QVERIFY(!client->groundWeapon);
    QVERIFY(client->players.isEmpty());
    QCOMPARE(server->take(1), QList<QByteArray>({"rx-1;0;0"}));

    spawnAs(9);
    QCOMPARE(server->take(2), QList<QByteArray>({"6x9;1;5", "6x9;2;5"}));
    QCOMPARE(client->sceneryItems.size(), 58);
    QCOMPARE(client->localPlayer->pos(), QPointF(100, 100));
    QVERIFY(client->groundWeapon);
}

void TestSpawn::respawnEndsAWeaponStillInHand()
{
    spawnAs(3);
    server->send("4x3;1;1\n");
    QTRY_VERIFY(client->playerGuns.contains(client->localPlayer));
    QPointer<Gun> held = client->playerGuns.value(client->localPlayer);
    client->localPlayer->alive = false;
    client->respawn(); // before the echo of the death has come back
    QVERIFY(client->playerGuns.isEmpty());
    QVERIFY(!held->QGraphicsItem::scene());
    QTRY_VERIFY(!held);
}

void TestSpawn::secondSpawnKeepsOnePickUp()
{
    spawnAs(4);
    Player *first = client->localPlayer;
    QPointer<Gun> firstPickUp = client->groundWeapon;
    spawnAs(5);
    QVERIFY(client->localPlayer != first);
    QCOMPARE(client->players.value(4), first);
    QVERIFY(first->QGraphicsItem::scene());
    QVERIFY(!firstPickUp || !firstPickUp->QGraphicsItem::scene());
    QTRY_VERIFY(!firstPickUp);
}

void TestSpawn::newPlayers()
{
    server->send("1x20;-300;450\n1x21;0;0\n");
    QTRY_COMPARE(client->players.size(), 2);
    Player *first = client->players.value(20);
    QCOMPARE(first->pos(), QPointF(-300, 450));
    QVERIFY(!first->isLocal);
    QCOMPARE(first->speed, 10);

    server->send("1x20;5;5\n");
    QTRY_VERIFY(client->players.value(20) != first);
    QVERIFY(first->QGraphicsItem::scene()); // replaced in the table, left on the scene
    QVERIFY(!client->localPlayer);
}

QTEST_MAIN(TestSpawn)
#include "tst_spawn.moc"
