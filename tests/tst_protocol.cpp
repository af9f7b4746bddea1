#include "client.h"
#include "player.h"
#include "recordingserver.h"
#include "view.h"

#include <QApplication>
#include <QGraphicsScene>
#include <QMessageBox>
#include <QTest>
#include <QTimer>

#include <cmath>
#include <limits>

static void tick(QTimer *timer)
{
    QMetaObject::invokeMethod(timer, "timeout");
}

// The line protocol as the client speaks it: reading, framing and the send gate.
class TestProtocol : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void parseFields_data();
    void parseFields();
    void truncation_data();
    void truncation();

    void lineSplitAcrossReads();
    void severalLinesWithPartialTail();
    void ignoredTypes_data();
    void ignoredTypes();

    void linesSentBySpawn();
    void requestsFromInput();
    void weaponKeys_data();
    void weaponKeys();
    void positionReport();
    void deathAndRespawnLines();
    void noAvatarSendsNothing();
    void deadAvatarWalksLocally();
    void disconnectedShowsBox();

private:
    void spawnAs(int id);
    // Writes a line of its own past every gate: whatever came before it was sent.
    QList<QByteArray> linesUpToMarker();

    RecordingServer *server = nullptr;
    QGraphicsScene *scene = nullptr;
    Client *client = nullptr;
};

void TestProtocol::init()
{
    server = new RecordingServer;
    QVERIFY2(server->listen(), "port 7000 is taken: stop the relay before running the tests");
    scene = new QGraphicsScene;
    client = new Client(scene, nullptr);
    QVERIFY(server->accept(*client));
}

void TestProtocol::cleanup()
{
    delete client;
    delete scene;
    delete server;
}

void TestProtocol::spawnAs(int id)
{
    server->send("0x" + QByteArray::number(id) + ";0;0\n");
    QTRY_VERIFY(client->localPlayer);
    QCOMPARE(server->take(2).size(), 2); // the two setup lines
}

QList<QByteArray> TestProtocol::linesUpToMarker()
{
    client->socket->write("marker\n");
    QList<QByteArray> lines;
    (void)QTest::qWaitFor([&] {
        lines = server->lines();
        return !lines.isEmpty() && lines.constLast() == "marker";
    });
    server->received.clear();
    if (!lines.isEmpty())
        lines.removeLast();
    return lines;
}

void TestProtocol::parseFields_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("id");
    QTest::addColumn<double>("a");
    QTest::addColumn<double>("b");

    QTest::newRow("move") << QByteArray("2x3;512;-12.5") << true << 2 << 3 << 512.0 << -12.5;
    QTest::newRow("exponent") << QByteArray("2x3;1.23457e+06;7") << true << 2 << 3 << 1234570.0
                              << 7.0;
    QTest::newRow("letter type reads as spawn")
        << QByteArray("rx-1;0;0") << true << 0 << -1 << 0.0 << 0.0;
    QTest::newRow("behind a second x ignored")
        << QByteArray("9x4;1;2x7;8;9") << true << 9 << 4 << 1.0 << 2.0;
    QTest::newRow("fourth field ignored") << QByteArray("6x4;1;2;99") << true << 6 << 4 << 1.0
                                          << 2.0;
    QTest::newRow("garbage numbers read as 0")
        << QByteArray("7xab;cd;ef") << true << 7 << 0 << 0.0 << 0.0;
    QTest::newRow("empty") << QByteArray() << false << 0 << 0 << 0.0 << 0.0;
    QTest::newRow("no x") << QByteArray("2;3;4;5") << false << 0 << 0 << 0.0 << 0.0;
    QTest::newRow("two fields") << QByteArray("2x3;4") << false << 0 << 0 << 0.0 << 0.0;
    QTest::newRow("nothing behind x") << QByteArray("2x") << false << 0 << 0 << 0.0 << 0.0;
}

void TestProtocol::parseFields()
{
    QFETCH(QByteArray, line);
    QFETCH(bool, valid);
    const std::optional<Client::Line> parsed = Client::parse(line);
    QCOMPARE(parsed.has_value(), valid);
    if (!valid)
        return;
    QTEST(parsed->type, "type");
    QTEST(parsed->id, "id");
    QTEST(parsed->a, "a");
    QTEST(parsed->b, "b");
}

void TestProtocol::truncation_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<int>("expected");
    constexpr int most = std::numeric_limits<int>::max();
    constexpr int least = std::numeric_limits<int>::min();

    QTest::newRow("positive fraction") << 2.9 << 2;
    QTest::newRow("negative fraction") << -12.9 << -12;
    QTest::newRow("largest int") << 2147483647.0 << most;
    QTest::newRow("just past int") << 2147483648.5 << most;
    QTest::newRow("1e308") << 1e308 << most;
    QTest::newRow("-1e308") << -1e308 << least;
    QTest::newRow("inf") << std::numeric_limits<double>::infinity() << most;
    QTest::newRow("-inf") << -std::numeric_limits<double>::infinity() << least;
    QTest::newRow("nan") << std::nan("") << 0;
}

void TestProtocol::truncation()
{
    QFETCH(double, value);
    QTEST(truncateToInt(value), "expected");
}

void TestProtocol::lineSplitAcrossReads()
{
    server->send("1x7;30");
    QTRY_COMPARE(client->readBuffer, QByteArray("1x7;30"));
    QVERIFY(client->players.isEmpty());
    server->send("0;40\n");
    QTRY_VERIFY(client->players.contains(7));
    QCOMPARE(client->players.value(7)->pos(), QPointF(300, 40));
    QVERIFY(client->readBuffer.isEmpty());
}

void TestProtocol::severalLinesWithPartialTail()
{
    server->send("1x1;0;0\n1x2;0;0\n\n1x3;5;5\n1x4;");
    QTRY_COMPARE(client->players.keys(), QList<int>({1, 2, 3}));
    QCOMPARE(client->readBuffer, QByteArray("1x4;"));
}

void TestProtocol::ignoredTypes_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("reserved") << QByteArray("8x1;0;0\n");
    QTest::newRow("ten") << QByteArray("10x1;0;0\n");
    QTest::newRow("negative") << QByteArray("-1x1;0;0\n");
}

void TestProtocol::ignoredTypes()
{
    QFETCH(QByteArray, line);
    server->send(line + "1x9;0;0\n");
    QTRY_VERIFY(client->players.contains(9));
    QCOMPARE(client->players.size(), 1);
    QVERIFY(!client->localPlayer);
}

void TestProtocol::linesSentBySpawn()
{
    server->send("0x12;0;0\n");
    QCOMPARE(server->take(2), QList<QByteArray>({"6x12;1;5", "6x12;2;5"}));
}

void TestProtocol::requestsFromInput()
{
    spawnAs(4);
    View view(client);
    view.setScene(scene);
    view.resize(400, 300);
    view.show();
    const QPoint at(100, 50);
    const QPointF scenePoint = view.mapToScene(at);
    const QByteArray payload = QByteArray::number(scenePoint.x(), 'g', 6) + ';'
                               + QByteArray::number(scenePoint.y(), 'g', 6);

    QTest::mouseClick(view.viewport(), Qt::RightButton, {}, at);
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, at);
    QTest::mouseClick(view.viewport(), Qt::MiddleButton, {}, at);
    QCOMPARE(linesUpToMarker(), QList<QByteArray>({"2x4;" + payload, "3x4;" + payload}));
}

void TestProtocol::weaponKeys_data()
{
    QTest::addColumn<QList<int>>("inventory");
    QTest::addColumn<int>("held");
    QTest::addColumn<QByteArray>("key1");
    QTest::addColumn<QByteArray>("key2");

    QTest::newRow("empty hands") << QList<int>{0, 0, 0} << 0 << QByteArray("4x4;0;0")
                                 << QByteArray("4x4;0;0");
    QTest::newRow("picked, not held") << QList<int>{2, 0, 0} << 0 << QByteArray("4x4;2;1")
                                      << QByteArray("4x4;0;0");
    QTest::newRow("held") << QList<int>{2, 0, 0} << 2 << QByteArray("4x4;2;0")
                          << QByteArray("4x4;0;1");
}

void TestProtocol::weaponKeys()
{
    QFETCH(QList<int>, inventory);
    QFETCH(int, held);
    spawnAs(4);
    client->inventory = inventory;
    client->heldItemId = held;
    View view(client);

    QTest::keyClick(&view, Qt::Key_1);
    QTest::keyClick(&view, Qt::Key_2);
    QTest::keyClick(&view, Qt::Key_4);
    const QList<QByteArray> lines = linesUpToMarker();
    QCOMPARE(lines.size(), 2);
    QTEST(lines.at(0), "key1");
    QTEST(lines.at(1), "key2");
}

void TestProtocol::positionReport()
{
    QVERIFY(client->positionTimer->isActive());
    QCOMPARE(client->positionTimer->interval(), 4000);
    tick(client->positionTimer);
    QVERIFY(linesUpToMarker().isEmpty()); // no avatar yet

    spawnAs(3);
    client->localPlayer->setPos(-12.9, 7.9);
    tick(client->positionTimer);
    QCOMPARE(linesUpToMarker(), QList<QByteArray>({"9x3;-12;7"}));
}

void TestProtocol::deathAndRespawnLines()
{
    spawnAs(6);
    client->localPlayer->alive = false;
    emit client->localPlayer->died();
    client->respawn();
    client->respawn();
    QCOMPARE(linesUpToMarker(), QList<QByteArray>({"5x6;0;0", "rx-1;0;0"}));
    QVERIFY(!client->localPlayer);
    QVERIFY(client->players.isEmpty());
}

void TestProtocol::noAvatarSendsNothing()
{
    client->sendData(MsgMove, "1;2");
    client->sendData(MsgShoot, "1;2");
    QVERIFY(linesUpToMarker().isEmpty());
}

void TestProtocol::deadAvatarWalksLocally()
{
    spawnAs(2);
    Player *avatar = client->localPlayer;
    avatar->alive = false;
    client->sendData(MsgMove, "300;400.5");
    client->sendData(MsgShoot, "300;400");
    client->sendData(MsgWeapon, "1;1");
    client->sendData(MsgDamage, "5;0");
    tick(client->positionTimer);
    client->sendData(MsgReserved, "0;0");
    QCOMPARE(linesUpToMarker(), QList<QByteArray>({"8x2;0;0"}));
    QCOMPARE(avatar->target, QPointF(300, 400.5));
    QVERIFY(avatar->moveTimer->isActive());
}

void TestProtocol::disconnectedShowsBox()
{
    server->peer->close();
    QTRY_VERIFY(!client->isConnected());
    QString title;
    QTimer::singleShot(0, this, [&title] {
        QWidget *box = QApplication::activeModalWidget();
        QVERIFY(box);
        title = box->windowTitle();
        box->close();
    });
    client->sendData(MsgMove, "1;1");
    QCOMPARE(title, QString("Błąd połączenia"));
}

QTEST_MAIN(TestProtocol)
#include "tst_protocol.moc"
