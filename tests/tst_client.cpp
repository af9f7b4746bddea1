// SPDX-License-Identifier: GPL-3.0-or-later
#include "bullet.h"
#include "client.h"
#include "gun.h"
#include "player.h"
#include "view.h"

#include <QtNetwork>
#include <QtTest>
#include <QtWidgets>

#include <algorithm>
#include <limits>
#include <memory>

// Gathers what the widget it watches paints, and the most rectangles of one paint.
struct PaintedArea : QObject
{
    explicit PaintedArea(QWidget *widget) { widget->installEventFilter(this); }
    QRegion region;
    int paints = 0;
    int mostRectangles = 0;
    void restart()
    {
        region = QRegion();
        paints = mostRectangles = 0;
    }
    // Paints a mark away from everything and waits for it: the frames before are over.
    bool frameOver(QGraphicsView &view)
    {
        const QRect mark(0, 0, 4, 4);
        region -= mark;
        view.scene()->update(view.mapToScene(mark).boundingRect());
        return QTest::qWaitFor([&] { return region.contains(mark); });
    }
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint) {
            const QRegion painted = static_cast<QPaintEvent *>(event)->region();
            region += painted;
            ++paints;
            mostRectangles = std::max(mostRectangles, painted.rectCount());
        }
        return false;
    }
};

// One client against a recording server on the client's fixed port: the lines it
// reads, the lines it writes, and what each line from the server does to its world.
class TestClient : public QObject
{
    Q_OBJECT

    QTcpServer server;
    QTcpSocket *peer = nullptr; // the client's connection, as the server sees it
    std::unique_ptr<QGraphicsScene> scene;
    std::unique_ptr<Client> client;

    // A new client, seen connected at both ends; reports come only where a test asks.
    void connectClient(const Stats &stats = {})
    {
        client = std::make_unique<Client>(scene.get(), ServerAddress::standard(), stats);
        QVERIFY(QTest::qWaitFor([this] { return server.hasPendingConnections(); }));
        peer = server.nextPendingConnection();
        QTRY_VERIFY(client->isConnected());
        client->positionTimer->stop();
    }

    // Spawns the user's avatar, and another player's if `other` is set.
    void spawnAs(int id, int other = 0)
    {
        peer->write("0x" + QByteArray::number(id) + ";0;0\n");
        if (other)
            peer->write("1x" + QByteArray::number(other) + ";400;100\n");
        QTRY_VERIFY(client->players.contains(other ? other : id));
        QCOMPARE(sentUpToMarker().size(), 2); // the setup lines
    }

    // Sends lines as the server, then a position report of the own avatar as a
    // barrier: once the avatar stands there, every line before it has been handled.
    void send(const QByteArray &lines)
    {
        static int barrier = 1000;
        const QByteArray ownId = QByteArray::number(client->players.key(client->localPlayer));
        peer->write(lines + "9x" + ownId + ';' + QByteArray::number(++barrier) + ";0\n");
        QTRY_COMPARE(client->localPlayer->pos().x(), double(barrier));
    }

    // Shows the arena's view at 800 by 400 around (250, 100), and waits until all of it has
    // been painted and a frame after: what `painted` gathers from then on is new.
    static bool showArena(View &view, PaintedArea &painted)
    {
        // The arena's size, so that a repaint of the whole scene reaches every corner.
        view.scene()->setSceneRect(-2000, -2000, 4000, 4000);
        view.resize(800, 400);
        view.show();
        view.centerOn(QPointF(250, 100));
        const QRegion everything(view.viewport()->rect());
        const bool shown =
            QTest::qWaitFor([&] { return (everything - painted.region).isEmpty(); }) &&
            painted.frameOver(view);
        painted.restart();
        return shown;
    }

    // Writes a line past every gate: whatever the client sent before it has arrived.
    QByteArrayList sentUpToMarker()
    {
        client->socket->write("marker\n");
        QByteArray received;
        (void)QTest::qWaitFor([&] { return (received += peer->readAll()).endsWith("marker\n"); });
        const QByteArrayList lines = received.split('\n');
        return lines.mid(0, lines.size() - 2);
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(server.listen(QHostAddress::LocalHost, ServerAddress::standardPort),
                 "port 7000 is taken: stop the relay before running the tests");
    }

    void init()
    {
        client.reset(); // the last test's, before the scene it plays on
        scene = std::make_unique<QGraphicsScene>();
        connectClient();
    }

    // The numbers a line gives: type and id as read, the values truncated toward zero and
    // saturated at the ends of int, as they are handled; nothing for a dropped line.
    void parse_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QList<int>>("fields");
        const int most = std::numeric_limits<int>::max(), least = std::numeric_limits<int>::min();
        const auto row = [](const char *line, QList<int> fields = {}) {
            QTest::newRow(*line ? line : "empty") << QByteArray(line) << fields;
        };
        row("2x3;512;-12.9", {2, 3, 512, -12});
        row("2x3;1.23457e+06;2.9", {2, 3, 1234570, 2});
        row("rx-1;0;0", {0, -1, 0, 0});
        row("9x4;1;2x7;8", {9, 4, 1, 2});
        row("6x4;1;2;9", {6, 4, 1, 2});
        row("7xa;b;c", {7, 0, 0, 0});
        row("2x3;2147483648.5;-1e308", {2, 3, most, least});
        row("2x3;1e308;-inf", {2, 3, most, least});
        row("2x3;inf;nan", {2, 3, most, 0});
        row("");
        row("2;3;4;5");
        row("2x3;4");
    }

    void parse()
    {
        QFETCH(QByteArray, line);
        const std::optional<Client::Line> parsed = Client::parse(line);
        QList<int> fields;
        if (parsed)
            fields = {parsed->type, parsed->id, truncateToInt(parsed->a), truncateToInt(parsed->b)};
        QTEST(fields, "fields");
    }

    void framing()
    {
        peer->write("1x7;30");
        QTRY_COMPARE(client->readBuffer, QByteArray("1x7;30"));
        // The reserved type and types outside 0 to 9 are read and ignored.
        peer->write("0;40\n1x8;0;0\n\n8x1;0;0\n10x2;0;0\n-1x3;0;0\n1x9;5;5\n1x4;");
        QTRY_COMPARE(client->players.keys(), QList<int>({7, 8, 9}));
        QVERIFY(!client->localPlayer);
        QCOMPARE(client->players.value(7)->pos(), QPointF(300, 40));
        QCOMPARE(client->readBuffer, QByteArray("1x4;"));
    }

    void longLinesAreDroppedWhole_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<bool>("introduced"); // whether player 77 is known afterwards
        const auto padded = [](qsizetype length) {
            return QByteArray("1x77;5;5;").leftJustified(length, 'B') + '\n';
        };
        QTest::newRow("10 MB, then a type") << QByteArray(10'000'000, 'B') + "x77;0;0\n" << false;
        QTest::newRow("one byte too long") << padded(64 * 1024 + 1) << false;
        QTest::newRow("longest line") << padded(64 * 1024) << true;
    }

    void longLinesAreDroppedWhole()
    {
        QFETCH(QByteArray, lines);
        QFETCH(bool, introduced);
        spawnAs(1);
        send(lines);
        QCOMPARE(client->players.keys(), introduced ? QList<int>({1, 77}) : QList<int>({1}));
        QVERIFY(client->readBuffer.isEmpty());
    }

    // The own avatar's life as this client tells it. Nothing goes out before a spawn; the
    // stats chosen in the lobby go out as setup lines and into the avatar. A dead avatar
    // walks on this client alone, reports nothing but its death, and asks once to come
    // back, leaving nothing behind.
    void ownAvatarLife()
    {
        connectClient({150, 17, 30, 35});
        client->sendData(MsgMove, "1;2");
        QMetaObject::invokeMethod(client->positionTimer, "timeout");
        QVERIFY(sentUpToMarker().isEmpty());
        peer->write("0x6;0;0\n");
        QTRY_VERIFY(client->localPlayer);
        QCOMPARE(sentUpToMarker(), QByteArrayList({"6x6;1;17", "6x6;2;30"}));
        Player *avatar = client->localPlayer;
        QVERIFY(avatar->isLocal && avatar->alive);
        QCOMPARE(avatar->pos(), QPointF(100, 100));
        QCOMPARE((QList<int>{avatar->hp, avatar->lastHp, avatar->speed, avatar->defense,
                             avatar->damage}),
                 (QList<int>{150, 150, 17, 35, 5}));
        client->respawn();               // alive: nothing happens
        avatar->setPos(-1012.9, 1007.9); // clear of the weapon lying at the origin
        QMetaObject::invokeMethod(client->positionTimer, "timeout");
        QCOMPARE(sentUpToMarker(), QByteArrayList({"9x6;-1012;1007"}));
        send("4x6;1;1\n"); // a weapon whose death echo has not come back yet
        QPointer<Gun> held = client->playerGuns.value(avatar);
        avatar->alive = false;
        client->sendData(MsgMove, "300;400.5");
        client->sendData(MsgShoot, "300;400");
        client->sendData(MsgWeapon, "1;1");
        client->sendData(MsgDamage, "5;0");
        QMetaObject::invokeMethod(client->positionTimer, "timeout");
        client->sendData(MsgReserved, "0;0");
        emit avatar->died();
        QCOMPARE(avatar->target, QPointF(300, 400.5));
        QVERIFY(avatar->moveTimer->isActive());
        client->respawn();
        client->respawn();
        QCOMPARE(sentUpToMarker(), QByteArrayList({"8x6;0;0", "5x6;0;0", "rx-1;0;0"}));
        QVERIFY(!client->localPlayer && !client->groundWeapon);
        QVERIFY(client->players.isEmpty() && client->playerGuns.isEmpty());
        QTRY_VERIFY(!held);
    }

    // Death after death, the arena is what the first spawn laid out: 29 pieces of scenery
    // on the same spots and over the user's new avatar, and nothing else left of a life.
    void respawnsLayTheSameArena()
    {
        spawnAs(1, 2);
        const auto arena = [this] {
            const QList<QGraphicsItem *> order = scene->items(Qt::AscendingOrder);
            const qsizetype own = order.indexOf(client->localPlayer);
            QStringList pieces;
            for (const QGraphicsPixmapItem *piece : std::as_const(client->sceneryItems))
                pieces << QString("%1;%2 %3x%4 %5")
                              .arg(piece->x())
                              .arg(piece->y())
                              .arg(piece->pixmap().width())
                              .arg(piece->pixmap().height())
                              .arg(order.indexOf(piece) > own ? "over" : "under");
            return pieces;
        };
        const QStringList first = arena();
        QCOMPARE(first.size(), 29);
        QVERIFY(!first.join(' ').contains("under"));
        const int items = scene->items().size();
        for (int id = 11; id <= 13; ++id) {
            Player *own = client->localPlayer;
            auto *bullet =
                new Bullet(scene.get(), own->centre(), 0, client->players.value(2), 0, 1000);
            scene->addItem(bullet);
            bullet->flightStep();
            QTRY_VERIFY(!own->alive);
            send("5x" + QByteArray::number(client->players.key(own)) + ";0;0\n");
            client->respawn();
            QTest::ignoreMessage(QtDebugMsg, "total items 29");
            peer->write("0x" + QByteArray::number(id) + ";0;0\n");
            QTRY_VERIFY(client->localPlayer);
            QCOMPARE(arena(), first);
        }
        // Drops, numbers and the death animations end by themselves.
        QTRY_COMPARE_WITH_TIMEOUT(scene->items().size(), items, 5000);
        QCOMPARE(client->players.keys(), QList<int>({2, 13}));
    }

    // Lines of every kind for an id nobody has, or of 0 or less, change nothing.
    void unknownIdsChangeNothing()
    {
        spawnAs(1, 2);
        client->players.insert(0, client->players.value(2)); // an id the server never gives
        const int items = scene->items().size();
        send("2x9;5;5\n9x9;5;5\n6x9;1;50\n4x9;1;1\n4x0;1;1\n4x-1;1;1\n3x9;5;5\n7x9;5;0\n5x9;0;0\n");
        QCOMPARE(client->players.keys(), QList<int>({0, 1, 2}));
        QVERIFY(client->playerGuns.isEmpty());
        QCOMPARE(scene->items().size(), items);
    }

    // A pick-up fills a slot; its key asks to take the weapon up, which comes with the
    // echo, and then to put it away; a key for an empty slot asks for nothing in the hand.
    // Clicks go where they land on the scene.
    void inputAndWeaponInTheHand()
    {
        spawnAs(1, 2);
        QSignalSpy changed(client.get(), &Client::inventoryChanged);
        QPointer<Gun> pickUp = client->groundWeapon;
        const int type = pickUp->type;
        const QByteArray line = "4x1;" + QByteArray::number(type) + ';';
        client->localPlayer->setPos(-20, -20); // over the weapon lying at the origin
        pickUp->followPlayer();
        QCOMPARE(sentUpToMarker(), QByteArrayList({line + '0'}));
        QCOMPARE(client->inventory, QList<int>({type, 0, 0}));
        QCOMPARE(changed, QList<QVariantList>({{0, type}}));
        QVERIFY(!client->groundWeapon);
        QTRY_VERIFY(!pickUp);
        View view(client.get());
        view.setSceneRect(0, 0, 2000, 2000);
        view.resize(400, 300);
        view.centerOn(1000.4, 1000.6);
        for (Qt::MouseButton button : {Qt::RightButton, Qt::LeftButton, Qt::MiddleButton})
            QTest::mouseClick(view.viewport(), button, {}, QPoint(10, 20));
        const auto pressKeys = [&view] {
            for (Qt::Key key : {Qt::Key_1, Qt::Key_2, Qt::Key_4})
                QTest::keyClick(&view, key);
        };
        pressKeys();
        QCOMPARE(sentUpToMarker(),
                 QByteArrayList({"2x1;691;781", "3x1;691;781", line + '1', "4x1;0;0"}));
        // The view trails the own avatar, centred where it stood before a step, and no copy.
        const auto middle = [&view] { return view.mapToScene(view.viewport()->rect().center()); };
        const QPointF before = middle();
        client->players.value(2)->moveStep();
        QCOMPARE(middle(), before);
        client->localPlayer->setPos(900, 900);
        client->localPlayer->moveStep();
        QVERIFY((middle() - QPointF(950, 950)).manhattanLength() <= 2);
        QVERIFY(client->playerGuns.isEmpty()); // nothing until the echo
        send(line + "1\n");
        QCOMPARE(client->heldItemId, type);
        QCOMPARE(client->playerGuns.value(client->localPlayer)->type, type);
        pressKeys();
        QCOMPARE(sentUpToMarker(), QByteArrayList({line + '0', "4x1;0;1"}));
        send(line + "0\n4x1;4;1\n"); // put away, then an item with no weapon
        QCOMPARE(client->heldItemId, 0);
        QVERIFY(client->playerGuns.isEmpty());
    }

    // Another player's walks, jumps, setup, weapons, shots, damage numbers and death as
    // echoed, then the own death; a new player under a known id replaces it in the table.
    void echoesOfPlay()
    {
        spawnAs(1, 2);
        QPointer<Player> other = client->players.value(2);
        send("2x2;1000;150\n9x2;-12;7\n6x2;1;25\n6x2;2;30\n6x2;3;99\n3x2;0;0\n4x2;1;1\n4x1;1;1\n");
        QCOMPARE(other->pos(), QPointF(-12, 7)); // jumped, and walks on
        QCOMPARE(other->target, QPointF(1000, 150));
        QVERIFY(other->moveTimer->isActive());
        QCOMPARE(QList<int>({other->speed, other->damage, other->defense}),
                 QList<int>({25, 30, 10}));
        QPointer<Gun> weapon = client->playerGuns.value(other);
        QVERIFY(weapon->canShoot); // the shot before the weapon found an empty hand
        send("3x2;900;150\n7x2;17;0\n7x1;-3;0\n");
        QVERIFY(!weapon->canShoot);
        QStringList numbers;
        for (QGraphicsItem *item : scene->items())
            if (auto *text = qgraphicsitem_cast<QGraphicsTextItem *>(item))
                numbers.append(text->toPlainText());
        numbers.sort();
        QCOMPARE(numbers, QStringList({"-3", "17"}));
        send("4x2;3;1\n"); // a second weapon in the same hand replaces the first
        QTRY_VERIFY(!weapon);
        weapon = client->playerGuns.value(other);
        QCOMPARE(weapon->type, 3);
        QCOMPARE(client->heldItemId, 1);
        QCOMPARE(other->hp, 100);
        other->takeDamage(10); // bleeding when it dies
        Player *own = client->localPlayer;
        send("5x2;0;0\n3x2;5;5\n5x2;0;0\n5x1;0;0\n3x1;5;5\n5x1;0;0\n");
        QVERIFY(!other);
        QTRY_VERIFY(!weapon);
        QCOMPARE(client->players.keys(), QList<int>({1}));
        QVERIFY(client->playerGuns.isEmpty());
        QCOMPARE(client->localPlayer, own); // the dead figure stays
        QVERIFY(own->isVisible());
        QCOMPARE(own->pixmap().toImage(), QPixmap(":/resources/dead_player.png").toImage());
        peer->write("1x1;5;5\n");
        QTRY_VERIFY(client->players.value(1) != own);
        QVERIFY(own->QGraphicsItem::scene()); // replaced in the table, left on the scene
    }

    // The view copies its background tile by tile: what it shows must be the pattern
    // Qt would fill, wherever the view stands and whatever the tile's size.
    void viewBackgroundIsThePattern()
    {
        QImage pattern(7, 5, QImage::Format_RGB32);
        for (int y = 0; y < pattern.height(); ++y)
            for (int x = 0; x < pattern.width(); ++x)
                pattern.setPixel(x, y, qRgb(x * 36, y * 50, 90));
        QGraphicsScene scene(-2000, -2000, 4000, 4000);
        View view(nullptr);
        view.setScene(&scene);
        view.setBackgroundBrush(QBrush(QPixmap::fromImage(pattern)));
        view.resize(64, 48);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        view.centerOn(-13, 29);
        QImage expected(view.viewport()->size(), QImage::Format_RGB32);
        QPainter painter(&expected);
        painter.setTransform(view.viewportTransform());
        painter.fillRect(view.mapToScene(expected.rect()).boundingRect(), view.backgroundBrush());
        painter.end();
        QCOMPARE(view.viewport()->grab().toImage().convertToFormat(QImage::Format_RGB32), expected);
    }

    // The view repaints on a frame clock of its own what moved, one rectangle at a time.
    // A scroll moves the picture on screen and paints only what it uncovers, with
    // what changed meanwhile in the place where it is now.
    void viewPaintsWhatChanges_data()
    {
        QTest::addColumn<int>("scroll");
        QTest::addColumn<QPointF>("otherMoves");
        QTest::addColumn<QPointF>("ownMoves");
        const QPointF still;
        QTest::newRow("an avatar moves") << 0 << QPointF(30, 0) << still;
        QTest::newRow("two avatars apart move") << 0 << QPointF(30, 0) << QPointF(0, 30);
        QTest::newRow("the view scrolls") << 150 << still << still;
        QTest::newRow("the view scrolls as an avatar moves") << 3 << QPointF(30, 0) << still;
        QTest::newRow("an avatar moves into what a scroll uncovers")
            << 10 << QPointF(240, 0) << still;
        QTest::newRow("the view scrolls further than it is wide") << 1000 << still << still;
    }

    void viewPaintsWhatChanges()
    {
        QFETCH(int, scroll);
        QFETCH(QPointF, otherMoves);
        QFETCH(QPointF, ownMoves);
        spawnAs(1, 2);
        View view(client.get());
        PaintedArea painted(view.viewport());
        QVERIFY(showArena(view, painted));
        const QRect everything = view.viewport()->rect();
        view.centerOn(QPointF(250 + scroll, 100));
        QRegion changed = QRegion(everything) - everything.translated(-scroll, 0);
        auto move = [&](Player *avatar, QPointF by) {
            if (by.isNull())
                return;
            changed += view.mapFromScene(avatar->sceneBoundingRect()).boundingRect();
            avatar->setPos(avatar->pos() + by);
            changed += view.mapFromScene(avatar->sceneBoundingRect()).boundingRect();
        };
        move(client->players.value(2), otherMoves);
        move(client->localPlayer, ownMoves);
        QTRY_VERIFY(((changed & everything) - painted.region).isEmpty());
        QCOMPARE(painted.mostRectangles, 1);
        if (scroll < everything.width())
            QVERIFY(!painted.region.contains(view.mapFromScene(QPointF(250 + scroll, 150))));
        // What is on screen is what a fresh paint of the whole view gives.
        const auto onScreen = [&view] {
            return view.screen()
                ->grabWindow(view.winId())
                .toImage()
                .convertToFormat(QImage::Format_RGB32);
        };
        QTRY_COMPARE(onScreen(),
                     view.viewport()->grab().toImage().convertToFormat(QImage::Format_RGB32));
    }

    // Drops and bullets come, move and end all through a fight: each must repaint
    // its own place, where it was as well as where it is, and nothing more.
    void viewRepaintsOnlyWhereEffectsAndBulletsWere_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<int>("ticks");
        QTest::newRow("a drop falls") << "drop" << 1;
        QTest::newRow("a drop ends") << "drop" << 25;
        QTest::newRow("a bullet flies and ends") << "bullet" << 1;
    }

    void viewRepaintsOnlyWhereEffectsAndBulletsWere()
    {
        QFETCH(QString, what);
        QFETCH(int, ticks);
        spawnAs(1, 2);
        View view(client.get());
        PaintedArea painted(view.viewport());
        QVERIFY(showArena(view, painted));
        QGraphicsItem *item = nullptr;
        if (what == "drop") {
            client->localPlayer->takeDamage(1);
            for (QGraphicsItem *each : client->scene->items())
                item = each->toGraphicsObject() && !each->childItems().isEmpty() ? each : item;
            QVERIFY(item);
            item->moveBy(0, -1); // scattered onto the line where drops stop, it would not fall
        } else {
            item = new Bullet(client->scene, QPointF(50, 50), 0, client->localPlayer, 0, 1);
            client->scene->addItem(item);
        }
        const QPointer<QObject> object = dynamic_cast<QObject *>(item);
        auto *clock = object->findChild<QTimer *>(); // what moves it
        clock->stop();
        auto place = [&] { return view.mapFromScene(item->sceneBoundingRect()).boundingRect(); };
        QRegion stood;
        auto stands = [item] { return item->scene() && item->isVisible(); };
        for (int i = 0; i < ticks && stands(); ++i) {
            stood += place();
            QMetaObject::invokeMethod(clock, "timeout");
        }
        if (stands())
            stood += place();
        QCOMPARE(stands(), ticks == 1 && what == "drop");
        // What ended is deleted a frame or two later, which must repaint nothing more.
        if (!stands())
            QTRY_VERIFY(!object);
        QVERIFY(painted.frameOver(view));
        QVERIFY((stood - painted.region).isEmpty());
        QVERIFY(!painted.region.contains(QPoint(790, 390)));
    }

    // However much changes at once, one frame is at most 16 repaints, and they cover it
    // it all; in a scene busy enough that each repaint walks many items, one repaint of
    // all that changed. An index spares the repaints the items out of their reach.
    void viewRepaintsAFrameInAtMost16Pieces_data()
    {
        QTest::addColumn<QGraphicsScene::ItemIndexMethod>("index");
        QTest::addColumn<int>("extraItems");
        QTest::addColumn<int>("repaints");
        QTest::newRow("a quiet scene") << QGraphicsScene::NoIndex << 0 << 16;
        QTest::newRow("a busy scene") << QGraphicsScene::NoIndex << 1000 << 1;
        QTest::newRow("a busy indexed scene") << QGraphicsScene::BspTreeIndex << 1000 << 16;
    }

    void viewRepaintsAFrameInAtMost16Pieces()
    {
        QFETCH(QGraphicsScene::ItemIndexMethod, index);
        QFETCH(int, extraItems);
        scene->setItemIndexMethod(index);
        spawnAs(1);
        for (int i = 0; i < extraItems; ++i)
            client->scene->addRect(-1000, -1000, 1, 1);
        View view(client.get());
        PaintedArea painted(view.viewport());
        QVERIFY(showArena(view, painted));
        QRegion changed;
        for (int i = 0; i < 40; ++i) {
            const QRect area(19 * i, 37 * i % 380, 6, 6);
            client->scene->update(view.mapToScene(area).boundingRect());
            changed += area;
        }
        QTRY_VERIFY((changed - painted.region).isEmpty());
        QTEST(painted.paints, "repaints");
    }
};

QTEST_MAIN(TestClient)
#include "tst_client.moc"
