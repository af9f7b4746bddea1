// SPDX-License-Identifier: GPL-3.0-or-later
#include "client.h"

#include "gun.h"
#include "player.h"
#include "sceneitems.h"
#include "serveraddress.h"
#include "shotgun.h"
#include "snipe.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QMessageBox>
#include <QRandomGenerator>
#include <QTcpSocket>
#include <QTimer>

namespace {
constexpr qsizetype maxLineLength = 64 * 1024;
constexpr int connectTimeoutMs = 10'000;
} // namespace

Client::Client(QGraphicsScene *scene, const ServerAddress &server, const Stats &stats,
               QObject *parent)
    : QObject(parent)
    , scene(scene)
    , stats(stats)
{
    socket = new QTcpSocket(this);
    // A name that does not resolve leaves the socket unconnected, like an absent server.
    socket->connectToHost(server.host, server.port);
    connect(socket, &QIODevice::readyRead, this, &Client::onReadyRead);
    // A vanished server is noticed by the kernel's keep-alive probes, a closed one at once.
    connect(socket, &QAbstractSocket::connected, this, [this] {
        connectTimer->stop();
        socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
    });
    // Queued: the socket may report from inside a handler, which the box must not nest in.
    connect(socket, &QAbstractSocket::disconnected, this, &Client::showConnectionError,
            Qt::QueuedConnection);
    connect(socket, &QAbstractSocket::errorOccurred, this, &Client::showConnectionError,
            Qt::QueuedConnection);
    connectTimer = new QTimer(this);
    connectTimer->setSingleShot(true);
    connect(connectTimer, &QTimer::timeout, this, &Client::giveUpConnecting);
    connectTimer->start(connectTimeoutMs);
    positionTimer = new QTimer(this);
    connect(positionTimer, &QTimer::timeout, this, &Client::reportPosition);
    positionTimer->start(4000);
}

void Client::leave()
{
    socket->disconnect(this);
    socket->abort();
    connectTimer->stop();
    positionTimer->stop();
    players.clear();
    playerGuns.clear();
    sceneryItems.clear();
    localPlayer = nullptr;
    groundWeapon = nullptr;
    deleteLater();
}

void Client::giveUpConnecting()
{
    if (isConnected())
        return;
    socket->abort();
    showConnectionError();
}

std::optional<Client::Line> Client::parse(const QByteArray &line)
{
    const QList<QByteArray> parts = line.split('x');
    if (parts.size() < 2)
        return std::nullopt;
    const QList<QByteArray> fields = parts.at(1).split(';');
    if (fields.size() < 3)
        return std::nullopt;
    return Line{parts.at(0).toInt(nullptr, 10), fields.at(0).toInt(nullptr, 10),
                fields.at(1).toDouble(), fields.at(2).toDouble()};
}

bool Client::isConnected() const
{
    return socket->state() == QAbstractSocket::ConnectedState;
}

void Client::sendData(int type, const QByteArray &payload)
{
    if (!isConnected()) {
        showConnectionError();
        return;
    }
    if (!localPlayer)
        return;
    if (!localPlayer->alive && type != MsgReserved) {
        // A dead user's figure still walks, on this client alone.
        const QList<QByteArray> point = payload.split(';');
        if (type == MsgMove && point.size() >= 2)
            localPlayer->moveTo(QPointF(point.at(0).toDouble(), point.at(1).toDouble()));
        return;
    }
    const int ownId = players.key(localPlayer, -1);
    QByteArray line;
    line += char('0' + type);
    line += 'x' + QByteArray::number(ownId, 10) + ';' + payload + '\n';
    socket->write(line);
}

// One box at a time, and none once the user has seen the connection gone, however many
// sends and socket reports meet it: the arena closes after that one.
void Client::showConnectionError()
{
    if (errorBoxOpen || connectionGoneSeen)
        return;
    errorBoxOpen = true;
    QMessageBox box;
    box.setWindowTitle("Błąd połączenia");
    box.setText("Brak połączenia z serwerami gry.\nSprawdź stan swojej sieci lub upewnij się że "
                "serwery gry są włączone.");
    box.setStyleSheet(
        "QMessageBox { background-color: #333; color: white; } QLabel { color: white; "
        "} QPushButton { background-color: #444; color: white; border: 1px solid "
        "#666; padding: 5px; } QPushButton:hover { background-color: #555; } "
        "QPushButton:pressed { background-color: #222; } ");
    box.exec();
    errorBoxOpen = false;
    // A send while still connecting may meet the box and then the server.
    connectionGoneSeen = socket->state() == QAbstractSocket::UnconnectedState;
    if (connectionGoneSeen)
        emit connectionErrorClosed();
}

void Client::onReadyRead()
{
    receive(socket->readAll());
}

void Client::receive(const QByteArray &bytes)
{
    readBuffer += bytes;
    // The tail of a line that was cut off is no line of its own.
    if (skippingLongLine) {
        const qsizetype end = readBuffer.indexOf('\n');
        skippingLongLine = end < 0;
        readBuffer.remove(0, skippingLongLine ? readBuffer.size() : end + 1);
    }
    // All whole lines leave the buffer before any is handled: a handler that opens
    // the error box runs a nested event loop, which must not see them again.
    const qsizetype end = readBuffer.lastIndexOf('\n');
    const QList<QByteArray> lines =
        end < 0 ? QList<QByteArray>() : readBuffer.left(end).split('\n');
    readBuffer.remove(0, end + 1);
    // No line of the game comes near this length, whether it arrives whole or not.
    if (readBuffer.size() > maxLineLength) {
        readBuffer.clear();
        skippingLongLine = true;
    }
    for (const QByteArray &line : lines) {
        if (line.size() <= maxLineLength)
            handle(line);
    }
}

void Client::handle(QByteArray line)
{
    qDebug() << line;
    const std::optional<Line> message = parse(line);
    if (!message)
        return;
    const int id = message->id;
    const int a = truncateToInt(message->a);
    const int b = truncateToInt(message->b);
    switch (message->type) {
    case MsgSpawn:
        spawn(id);
        break;
    case MsgNewPlayer:
        add_new_player(id, a, b);
        break;
    case MsgMove:
        player_move(id, a, b);
        break;
    case MsgShoot:
        player_shoot(id, a, b);
        break;
    case MsgWeapon:
        add_weapon(id, a, b);
        break;
    case MsgDeath:
        player_death(id);
        break;
    case MsgSetup:
        setup_player(id, a, b);
        break;
    case MsgDamage:
        damage_player(id, a);
        break;
    case MsgPosition:
        update_player_pos(id, a, b);
        break;
    default:
        break;
    }
}

void Client::reportPosition()
{
    if (!localPlayer)
        return;
    const QPointF pos = localPlayer->pos();
    sendData(MsgPosition, QString::number(truncateToInt(pos.x()), 10).toUtf8() + ';' +
                              QString::number(truncateToInt(pos.y()), 10).toUtf8());
}

void Client::spawn(int id)
{
    auto *avatar = new Player(scene, QPointF(100, 100), nullptr);
    localPlayer = avatar;
    avatar->isLocal = true;
    avatar->setVisible(true);
    players.insert(id, avatar);

    avatar->hp = stats.health;
    avatar->lastHp = stats.health;
    avatar->speed = stats.speed;
    avatar->defense = stats.defense;
    scene->addItem(avatar);

    sendData(MsgSetup, "1;" + QByteArray::number(stats.speed, 10));
    sendData(MsgSetup, "2;" + QByteArray::number(stats.strength, 10));

    layOutGroundWeapon();
    connect(avatar, &Player::damage_received, this,
            [this](int damage) { sendData(MsgDamage, QByteArray::number(damage) + ";0"); });
    // Past the send gate, which would drop it: the avatar is already dead.
    connect(avatar, &Player::died, this,
            [this, id] { socket->write("5x" + QByteArray::number(id, 10) + ";0;0\n"); });
    connect(groundWeapon, &Gun::collidedWithPlayer, this,
            [this, weapon = groundWeapon](int type) { pickUp(weapon, type); });
    layOutScenery();
    emit spawned(id);
}

void Client::layOutGroundWeapon()
{
    // One pick-up at a time: a spawn over a living avatar replaces the old one.
    if (groundWeapon)
        discard(groundWeapon);
    switch (QRandomGenerator::global()->bounded(1, 6)) {
    case 1:
        groundWeapon = new Gun(scene, localPlayer, false);
        break;
    case 2:
        groundWeapon = new Snipe(scene, localPlayer, false);
        break;
    default:
        groundWeapon = new Shotgun(scene, localPlayer, false);
        break;
    }
}

void Client::layOutScenery()
{
    struct ItemData
    {
        QString path;
        QPointF pos;
    };
    const QList<ItemData> items = {
        {":/resources/tree1.png", {80, 600}},     {":/resources/tree2.png", {50, 180}},
        {":/resources/flower.png", {500, 400}},   {":/resources/flower1.png", {430, 960}},
        {":/resources/flower2.png", {800, 600}},  {":/resources/flower3.png", {200, 250}},
        {":/resources/tree1.png", {60, 430}},     {":/resources/flower.png", {400, 300}},
        {":/resources/flower1.png", {780, 100}},  {":/resources/flower2.png", {1200, 50}},
        {":/resources/tree2.png", {1500, 700}},   {":/resources/flower3.png", {1700, 550}},
        {":/resources/tree1.png", {1900, 500}},   {":/resources/tree2.png", {2000, 650}},
        {":/resources/flower4.png", {480, 200}},  {":/resources/flower4.png", {1000, 500}},
        {":/resources/tree2.png", {1900, 800}},   {":/resources/tree.png", {100, 550}},
        {":/resources/tree.png", {1500, 100}},    {":/resources/tree.png", {200, 800}},
        {":/resources/tree1.png", {300, 600}},    {":/resources/tree2.png", {1300, 750}},
        {":/resources/tree.png", {1600, 200}},    {":/resources/tree1.png", {1800, 300}},
        {":/resources/flower.png", {350, 150}},   {":/resources/flower1.png", {600, 100}},
        {":/resources/flower2.png", {1400, 400}}, {":/resources/flower3.png", {1750, 300}},
        {":/resources/flower4.png", {1950, 150}},
    };
    // A respawn lays the same scenery on the same spots: the old pieces go, so that the
    // arena costs as much after the hundredth death as after the first, and the new
    // avatar stands under the trees as the first one did.
    for (QGraphicsPixmapItem *item : std::as_const(sceneryItems)) {
        scene->removeItem(item);
        delete item;
    }
    sceneryItems.clear();
    for (const ItemData &data : items) {
        auto *item = new QGraphicsPixmapItem(QPixmap(data.path));
        scene->addItem(item);
        item->setPos(data.pos);
        item->setScale(2.5);
        sceneryItems.append(item);
        qDebug() << "new item" << item->pos();
    }
    qDebug() << "total items" << sceneryItems.size();
}

void Client::add_new_player(int id, int x, int y)
{
    auto *avatar = new Player(scene, QPointF(x, y), nullptr);
    players[id] = avatar;
    scene->addItem(avatar);
}

void Client::respawn()
{
    if (!localPlayer || localPlayer->alive)
        return;
    if (groundWeapon) {
        discard(groundWeapon);
        groundWeapon = nullptr;
    }
    // The echo of the death may not have come yet: its weapon must not outlive it.
    endWeapon(localPlayer);
    const int id = players.key(localPlayer, -1);
    if (id != -1)
        players.remove(id);
    // Silenced at once and deleted later: a late report of its own may be on the stack.
    localPlayer->disconnect(this);
    deleteFromScene(localPlayer);
    localPlayer = nullptr;
    socket->write("rx-1;0;0\n");
}

void Client::player_move(int id, int x, int y)
{
    if (Player *avatar = players.value(id))
        avatar->moveTo(QPointF(x, y));
}

void Client::update_player_pos(int id, int x, int y)
{
    if (Player *avatar = players.value(id))
        avatar->setPos(QPointF(x, y));
}

void Client::setup_player(int id, int stat, int value)
{
    Player *avatar = players.value(id);
    if (!avatar)
        return;
    if (stat == 1)
        avatar->speed = value;
    else if (stat == 2)
        avatar->damage = value;
}

void Client::pickUp(Gun *weapon, int type)
{
    sendData(MsgWeapon, QByteArray::number(type, 10) + ";0");
    inventory[0] = type;
    emit inventoryChanged(0, type);
    discard(weapon);
    if (groundWeapon == weapon)
        groundWeapon = nullptr;
}

void Client::add_weapon(int id, int itemId, int flag)
{
    Player *avatar = id > 0 ? players.value(id) : nullptr;
    if (!avatar)
        return;
    if (flag != 1) {
        if (avatar == localPlayer)
            heldItemId = 0;
        endWeapon(avatar);
        return;
    }
    if (itemId < 1 || itemId > 3) {
        qDebug() << "Nie znany format: " << itemId << " id: " << id;
        return;
    }
    if (avatar == localPlayer)
        heldItemId = itemId;
    // A second weapon in the same hand replaces the first rather than orphaning it.
    endWeapon(avatar);
    Gun *weapon = nullptr;
    if (itemId == 1)
        weapon = new Gun(scene, avatar, true);
    else if (itemId == 2)
        weapon = new Shotgun(scene, avatar, true);
    else
        weapon = new Snipe(scene, avatar, true);
    playerGuns.insert(avatar, weapon);
}

void Client::player_shoot(int id, int x, int y)
{
    Player *avatar = players.value(id);
    if (Gun *weapon = playerGuns.value(avatar))
        weapon->shoot(QPointF(x, y));
}

void Client::damage_player(int id, int amount)
{
    if (Player *avatar = players.value(id))
        avatar->showDamageNumber(amount);
}

void Client::player_death(int id)
{
    Player *avatar = players.value(id);
    if (!avatar)
        return;
    endWeapon(avatar);
    avatar->death();
    if (avatar == localPlayer)
        return;
    scene->removeItem(avatar);
    delete avatar;
    players.remove(id);
}

void Client::endWeapon(Player *avatar)
{
    if (Gun *weapon = playerGuns.take(avatar))
        discard(weapon);
}

// Out of sight and silent at once; the object itself goes later, since the call may
// come from inside its own timer tick.
void Client::discard(Gun *weapon)
{
    weapon->followTimer->stop();
    deleteFromScene(weapon);
}
