// SPDX-License-Identifier: GPL-3.0-or-later
// An evening in the arena as one player lives it: the real window, client, scene and
// view, and a server in this process that echoes every line as the relay does. The
// user's avatar is shot dead, reported dead and brought back with the Respawn button
// R times, then walks while the view follows it. Prints CPU, frames a second and
// resident memory after 0, 100 and 300 respawns against the first; what 100 visits of
// the arena and of the practice tool leave behind; the lobby's idle cost; and how soon
// a server that goes away is noticed.

#include "client.h"
#include "mainwindow.h"
#include "player.h"
#include "practicetoolview.h"
#include "view.h"

#include "measure.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>

#include <cstdio>
#include <optional>

namespace {

constexpr int shooterId = 1000;
constexpr int waitMs = 5000; // for anything the client should do at once

// Echoes every line back to the client, as the relay does for one player, answers a
// respawn with a spawn under a new id, and keeps another player nearby who can shoot.
class EchoServer : public QObject
{
public:
    bool listen(MainWindow &window)
    {
        if (!listener.listen(QHostAddress::LocalHost))
            return false;
        window.server = {"127.0.0.1", listener.serverPort()};
        connect(&listener, &QTcpServer::newConnection, this, &EchoServer::accept);
        return true;
    }

    // A fresh pistol, so that no cooldown stands in the way, and a shot at `target`;
    // a deadly one with strength enough for any health.
    void shoot(QPointF target, bool deadly)
    {
        const QByteArray shooter = QByteArray::number(shooterId);
        send("4x" + shooter + ";1;1");
        send("6x" + shooter + ";2;" + (deadly ? "1000000" : "5"));
        send("3x" + shooter + ';' + QByteArray::number(qRound(target.x())) + ';' +
             QByteArray::number(qRound(target.y())));
    }

    void hangUp() { peer->abort(); }

    int deathsEchoed = 0;

private:
    void accept()
    {
        peer = listener.nextPendingConnection();
        connect(peer, &QIODevice::readyRead, this, &EchoServer::echo);
        send("0x" + QByteArray::number(++lastId) + ";0;0");
        send("1x" + QByteArray::number(shooterId) + ";100;450");
    }

    void echo()
    {
        buffer += peer->readAll();
        for (qsizetype end; (end = buffer.indexOf('\n')) >= 0; buffer.remove(0, end + 1)) {
            const QByteArray line = buffer.left(end);
            if (line.startsWith('r'))
                send("0x" + QByteArray::number(++lastId) + ";0;0");
            else if (!line.startsWith('9'))
                send(line);
            deathsEchoed += line.startsWith('5');
        }
    }

    void send(const QByteArray &line) { peer->write(line + '\n'); }

    QTcpServer listener;
    QPointer<QTcpSocket> peer;
    QByteArray buffer;
    int lastId = 0;
};

void press(QWidget *widget, Qt::Key key)
{
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(widget, &event);
}

bool enterArena(MainWindow &window)
{
    window.findChild<QPushButton *>("connect")->click();
    return runUntil([&window] { return window.client && window.client->localPlayer; }, waitMs);
}

// Through the code a death really takes: a bullet, the death report and its echo, the
// Respawn button, a fresh spawn.
bool dieAndComeBack(MainWindow &window, EchoServer &server)
{
    Client *client = window.client;
    Player *own = client->localPlayer;
    const int ownId = client->players.key(own);
    const int deaths = server.deathsEchoed;
    server.shoot(own->centre(), true);
    if (!runUntil([&] { return !own->alive && server.deathsEchoed > deaths; }, waitMs))
        return false;
    runFor(20); // the echo of the death on its way back
    window.respawnButton->click();
    // The new avatar may well take the old one's place in memory: it is known by its id.
    return runUntil([&] { return client->localPlayer && !client->players.contains(ownId); },
                    waitMs);
}

struct Evening
{
    int respawns;
    qsizetype scenery;
    qsizetype items; // all on the scene
    Span walk;
    double rss;
};

// The user's avatar walks to and fro without a pause, and the view follows it.
Evening walk(MainWindow &window, FrameCounter &frames, int respawns, int seconds)
{
    QTimer stride;
    int leg = 0;
    QObject::connect(&stride, &QTimer::timeout, &window,
                     [&] { window.client->sendData(MsgMove, ++leg % 2 ? "750;650" : "150;150"); });
    stride.start(1000);
    runFor(1500);
    const Span span = measureSpan(&frames, seconds * 1000);
    stride.stop();
    window.client->sendData(MsgMove, "150;150");
    runFor(2500); // home again
    return {respawns, window.client->sceneryItems.size(), window.scene->items().size(), span,
            residentMegabytes()};
}

// Memory after the first and after the last of `count` visits.
template <class Visit> std::optional<std::pair<double, double>> visits(int count, Visit visit)
{
    double first = 0;
    for (int i = 0; i < count; ++i) {
        if (!visit())
            return std::nullopt;
        if (i == 0)
            first = residentMegabytes();
    }
    return std::make_pair(first, residentMegabytes());
}

bool arenaVisit(MainWindow &window, EchoServer &server)
{
    if (!enterArena(window))
        return false;
    server.shoot(window.client->localPlayer->centre(), false);
    runFor(300);
    press(window.view, Qt::Key_Escape);
    return runUntil([&window] { return !window.client; }, waitMs);
}

bool practiceVisit(MainWindow &window)
{
    window.findChild<QPushButton *>("practice")->click();
    QPointer<PracticeToolView> tool = window.practiceView.data();
    runFor(100); // the stats arrive
    tool->player->moveTo(QPointF(400, 300));
    runFor(100);
    press(tool, Qt::Key_Escape);
    runFor(20);
    return !tool || !tool->isVisible();
}

// Milliseconds from the server hanging up to the box, none if it does not come in time;
// the box is closed as the user would, and the lobby must come back.
std::optional<qint64> noticeLostServer(MainWindow &window, EchoServer &server, bool &lobby)
{
    if (!enterArena(window))
        return std::nullopt;
    runFor(200);
    QElapsedTimer clock;
    std::optional<qint64> noticed;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &window, [&] {
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (auto *box = qobject_cast<QMessageBox *>(widget); box && box->isVisible()) {
                noticed = noticed.value_or(clock.elapsed());
                box->close();
            }
    });
    look.start(1);
    clock.start();
    server.hangUp();
    runUntil([&] { return noticed.has_value(); }, waitMs);
    lobby = runUntil([&window] { return !window.view->isVisible(); }, 1000);
    return noticed;
}

int run(int seconds, int visitCount)
{
    // Every received line is logged at debug level; a terminal full of them is no figure.
    QLoggingCategory::setFilterRules("*.debug=false");
    MainWindow window;
    window.resize(1280, 800);
    window.setWindowTitle("vorlen");
    window.show();
    EchoServer server;
    if (!server.listen(window) || !enterArena(window)) {
        std::fprintf(stderr, "the client did not enter the arena\n");
        return 1;
    }
    FrameCounter frames(window.view->viewport());
    std::printf("Walking for %d s after R respawns (%s):\n", seconds,
                qPrintable(QGuiApplication::platformName()));
    std::printf("%8s %8s %6s %7s %9s %8s %8s %8s %7s\n", "R", "scenery", "items", "CPU %",
                "frames/s", "RSS MB", "CPU/R0", "RSS +MB", "steal %");
    std::optional<Evening> first;
    int respawns = 0;
    for (int target : {0, 100, 300}) {
        for (; respawns < target; ++respawns)
            if (!dieAndComeBack(window, server)) {
                std::fprintf(stderr, "respawn %d did not come back\n", respawns + 1);
                return 1;
            }
        const Evening evening = walk(window, frames, respawns, seconds);
        first = first.value_or(evening);
        std::printf("%8d %8lld %6lld %7.1f %9.1f %8.1f %8.2f %8.1f %7.1f\n", evening.respawns,
                    qint64(evening.scenery), qint64(evening.items), evening.walk.cpuPercent,
                    evening.walk.framesPerSecond, evening.rss,
                    evening.walk.cpuPercent / first->walk.cpuPercent, evening.rss - first->rss,
                    evening.walk.stealPercent);
        std::fflush(stdout);
    }
    press(window.view, Qt::Key_Escape);
    runUntil([&window] { return !window.client; }, waitMs);

    const auto arena = visits(visitCount, [&] { return arenaVisit(window, server); });
    const auto practice = visits(visitCount, [&] { return practiceVisit(window); });
    if (!arena || !practice) {
        std::fprintf(stderr, "a visit did not end\n");
        return 1;
    }
    std::printf("\n%d visits: %16s %10s %8s\n", visitCount, "RSS after 1, MB", "last, MB", "+MB");
    std::printf("%-20s %14.1f %10.1f %8.1f\n", "arena", arena->first, arena->second,
                arena->second - arena->first);
    std::printf("%-20s %14.1f %10.1f %8.1f\n", "practice tool", practice->first, practice->second,
                practice->second - practice->first);
    runFor(1000);
    const Span idle = measureSpan(nullptr, 5000);
    std::printf("lobby idle: %.2f%% of a core (steal %.1f%%)\n", idle.cpuPercent,
                idle.stealPercent);

    bool lobby = false;
    const std::optional<qint64> noticed = noticeLostServer(window, server, lobby);
    if (noticed)
        std::printf("server gone: the box after %lld ms, %s after closing it\n", qint64(*noticed),
                    lobby ? "the lobby" : "still the arena");
    else
        std::printf("server gone: no box within %d ms\n", waitMs);
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const ApartSettings settings;
    QCommandLineParser parser;
    parser.setApplicationDescription("Measures an evening of deaths, visits and a lost server.");
    parser.addHelpOption();
    const QCommandLineOption seconds("seconds", "Seconds of walking measured (default 10).", "n",
                                     "10");
    const QCommandLineOption visits("visits", "Visits of each view (default 100).", "n", "100");
    parser.addOptions({seconds, visits});
    parser.process(app);
    const int span = parser.value(seconds).toInt();
    const int count = parser.value(visits).toInt();
    if (span < 1 || count < 1) {
        std::fprintf(stderr, "--seconds and --visits want a whole number above 0\n");
        return 2;
    }
    return run(span, count);
}
