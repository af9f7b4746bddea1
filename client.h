// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef CLIENT_H
#define CLIENT_H

#include "serveraddress.h"
#include "stats.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QObject>
#include <optional>

class Gun;
class Player;
class QGraphicsPixmapItem;
class QGraphicsScene;
class QTcpSocket;
class QTimer;

enum MessageType
{
    MsgSpawn = 0,
    MsgNewPlayer = 1,
    MsgMove = 2,
    MsgShoot = 3,
    MsgWeapon = 4,
    MsgDeath = 5,
    MsgSetup = 6,
    MsgDamage = 7,
    MsgReserved = 8,
    MsgPosition = 9,
};

// One connection to the game server and, while it lives, the replicated world
// of one visit to the arena.
class Client : public QObject
{
    Q_OBJECT

public:
    // One received line, cut into its fields.
    struct Line
    {
        int type;
        int id;
        double a;
        double b;
    };
    // Reads `<type>x<id>;<a>;<b>`; a line without "x" or without three fields is none.
    static std::optional<Line> parse(const QByteArray &line);
    // Plays on `scene` against `server`, with an avatar of `stats` on every spawn.
    Client(QGraphicsScene *scene, const ServerAddress &server, const Stats &stats = {},
           QObject *parent = nullptr);

    void sendData(int type, const QByteArray &payload);
    bool isConnected() const;
    // Ends the visit at once: nothing more is read, sent or timed, and the tables let
    // go of the world, which the scene's owner clears. The object goes later.
    void leave();
    // Bytes as they come from the server: whole lines are handled, the rest waits.
    void receive(const QByteArray &bytes);
    void handle(QByteArray line);

    void spawn(int id);
    void add_new_player(int id, int x, int y);
    void respawn();
    void player_move(int id, int x, int y);
    void update_player_pos(int id, int x, int y);
    void setup_player(int id, int stat, int value);
    void add_weapon(int id, int itemId, int flag);
    void player_shoot(int id, int x, int y);
    void damage_player(int id, int amount);
    void player_death(int id);

    QMap<Player *, Gun *> playerGuns;
    QMap<int, Player *> players;
    Player *localPlayer = nullptr;
    QList<int> inventory{0, 0, 0};
    int heldItemId = 0;
    Gun *groundWeapon = nullptr;
    QGraphicsScene *scene;
    QList<QGraphicsPixmapItem *> sceneryItems;
    Stats stats;
    QTcpSocket *socket;
    QByteArray readBuffer;
    bool skippingLongLine = false;
    QTimer *positionTimer;
    QTimer *connectTimer; // a server that has not answered by its timeout counts as failed
    bool errorBoxOpen = false;
    bool connectionGoneSeen = false;

signals:
    void inventoryChanged(int slotIndex, int itemId);
    // The user has closed the connection error box, and the connection is gone.
    void connectionErrorClosed();
    // The server gave the player this id.
    void spawned(int id);

private slots:
    void onReadyRead();

private:
    void reportPosition();
    void pickUp(Gun *weapon, int type);
    void endWeapon(Player *avatar);
    void discard(Gun *weapon);
    void layOutGroundWeapon();
    void layOutScenery();
    void showConnectionError();
    void giveUpConnecting();
};

#endif // CLIENT_H
