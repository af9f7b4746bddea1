// SPDX-License-Identifier: GPL-3.0-or-later
// Fills the real arena (window, client, scene and view, offscreen) with remote
// avatars that fire shotguns as fast as the cooldown allows, speaking to the client
// as the game server would, and reports how well the client keeps its pace: bullets
// in flight, flight ticks delivered against nominal, paints and CPU time per second,
// and how much of the machine's time its host took meanwhile.
//
// Without --scenario it runs every load in a fresh process of its own, again while
// the host is busy (up to --tries times), and prints the table; --baseline FILE adds
// the figures of an earlier build beside it, and --save FILE keeps this build's
// figures for such a comparison.

#include "bullet.h"
#include "client.h"
#include "mainwindow.h"
#include "view.h"

#include "measure.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QLoggingCategory>
#include <QProcess>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <limits>
#include <memory>
#include <optional>

namespace {

struct Load
{
    const char *key;
    const char *title;
    int shooters; // the local avatar is one of them
    int walkers;
    bool userWalks = false; // the user's own avatar walks all the time, and the view follows
};

const Load loads[] = {
    {"idle", "idle arena", 0, 0},
    {"walk16", "16 walking avatars", 0, 16},
    {"walkuser", "the user walking", 0, 0, true},
    {"shot16", "16 shotguns", 16, 0},
    {"shot64", "64 shotguns", 64, 0},
    {"shot128", "128 shotguns", 128, 0},
    {"shot256", "256 shotguns", 256, 0},
};

constexpr int shotPeriodMs = 1750; // just above the shotgun's cooldown
constexpr int stepPeriodMs = 1500;
// Shorter than the shortest walk of a step, so the user's avatar never comes to rest.
constexpr int userStepPeriodMs = 500;
constexpr int warmUpMs = 2000; // a whole firing cycle, so the flights are in steady state
constexpr int ownId = 1;
constexpr double stealTolerated = 2; // % of the machine's time

struct Figures
{
    double inFlight = 0;
    double ticksPercent = 0;
    double paintsPerSecond = 0;
    double cpuPercent = 0;
    double stealPercent = 0; // of the whole machine's time, taken by the host
};

// Watches every event of the process: counts the view's frames and each bullet's
// flight ticks, and sums the flights that were launched and ended by time within
// the measured span.
class Probe : public QObject
{
public:
    explicit Probe(QWidget *viewport)
        : frames(viewport)
    {
        qApp->installEventFilter(this);
        // A bullet that has ended is hidden at once and deleted a frame or two later.
        connect(&sampler, &QTimer::timeout, this, [this] {
            const QList<Bullet *> bullets = flights.keys();
            inFlightSum += std::count_if(bullets.begin(), bullets.end(),
                                         [](const Bullet *bullet) { return bullet->isVisible(); });
            ++samples;
        });
    }

    void start()
    {
        measuring = true;
        frames.counting = true;
        sampler.start(100);
        wall.start();
        cpuAtStart = processCpuSeconds();
        machineAtStart = machineTime();
    }

    Figures stop()
    {
        const double seconds = wall.nsecsElapsed() / 1e9;
        Figures figures;
        figures.cpuPercent = 100 * (processCpuSeconds() - cpuAtStart) / seconds;
        figures.paintsPerSecond = frames.frames / seconds;
        figures.inFlight = samples ? double(inFlightSum) / samples : 0;
        figures.ticksPercent = nominalTicks ? 100.0 * deliveredTicks / nominalTicks : 0;
        const MachineTime machine = machineTime();
        const qint64 machineTicks = machine.total - machineAtStart.total;
        figures.stealPercent =
            machineTicks > 0 ? 100.0 * (machine.steal - machineAtStart.steal) / machineTicks : 0;
        measuring = false;
        frames.counting = false;
        sampler.stop();
        return figures;
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Timer)
            if (auto *bullet = qobject_cast<Bullet *>(watched->parent()))
                countTick(bullet);
        return false;
    }

private:
    struct Flight
    {
        int ticks = 0;
        int nominal = 0;
        bool expired = false;
        bool launchedInSpan = false;
    };

    void countTick(Bullet *bullet)
    {
        auto flight = flights.find(bullet);
        if (flight == flights.end()) {
            flight = flights.insert(bullet, {0, (bullet->lifetimeMs + 4) / 5, false, measuring});
            connect(bullet, &QObject::destroyed, this, [this, bullet] { land(bullet); });
        }
        ++flight->ticks;
        // This tick ends the flight by time; a flight cut short by a hit is not counted.
        flight->expired = bullet->age.elapsed() >= bullet->lifetimeMs;
    }

    void land(Bullet *bullet)
    {
        const Flight flight = flights.take(bullet);
        if (!measuring || !flight.launchedInSpan || !flight.expired)
            return;
        deliveredTicks += flight.ticks;
        nominalTicks += flight.nominal;
    }

    FrameCounter frames;
    QHash<Bullet *, Flight> flights;
    QTimer sampler;
    QElapsedTimer wall;
    double cpuAtStart = 0;
    MachineTime machineAtStart;
    bool measuring = false;
    qint64 inFlightSum = 0;
    qint64 samples = 0;
    qint64 deliveredTicks = 0;
    qint64 nominalTicks = 0;
};

// Corners of avatars on a square grid around the user's own avatar at (100, 100),
// nearest first, 250 units apart: a pellet reaches the next avatar only near its edge.
QList<QPointF> gridAround(int count)
{
    QList<QPointF> corners;
    for (int ring = 1; corners.size() < count; ++ring)
        for (int i = -ring; i <= ring; ++i)
            for (int j = -ring; j <= ring; ++j)
                if (std::max(std::abs(i), std::abs(j)) == ring && corners.size() < count)
                    corners.append(QPointF(100 + 250 * i, 100 + 250 * j));
    return corners;
}

// Speaks to the client as the game server does, and sends the load's shots and steps.
class Server : public QObject
{
public:
    bool connectClient(MainWindow &window)
    {
        if (!listener.listen(QHostAddress::LocalHost, ServerAddress::standardPort))
            return false;
        window.findChild<QPushButton *>("connect")->click();
        if (!runUntil([this] { return listener.hasPendingConnections(); }, 5000))
            return false;
        peer = listener.nextPendingConnection();
        // What the client reports is of no interest here.
        connect(peer, &QIODevice::readyRead, peer, [this] { peer->readAll(); });
        return runUntil([&window] { return window.client && window.client->isConnected(); }, 5000);
    }

    // Places the user's avatar and the others, each of them with a shotgun in hand;
    // the user's own gets one only when it fires too.
    void populate(const Load &load)
    {
        send("0x" + QByteArray::number(ownId) + ";0;0");
        period = load.shooters > 0 ? shotPeriodMs : stepPeriodMs;
        type = load.shooters > 0 ? MsgShoot : MsgMove;
        const int others = std::max(load.shooters - 1, load.walkers);
        const QList<QPointF> corners = gridAround(others);
        for (int i = 0; i < others; ++i) {
            const QByteArray id = QByteArray::number(ownId + 1 + i);
            send("1x" + id + ';' + QByteArray::number(corners[i].x()) + ';' +
                 QByteArray::number(corners[i].y()));
            send("4x" + id + ";2;1");
            avatars.append({ownId + 1 + i, corners[i] + QPointF(50, 50), period});
        }
        if (load.shooters > 0)
            send("4x" + QByteArray::number(ownId) + ";2;1");
        if (load.shooters > 0 || load.userWalks)
            avatars.prepend({ownId, QPointF(150, 150), load.userWalks ? userStepPeriodMs : period});
        peer->flush();
        // First shots and steps spread evenly over the cycle.
        for (int i = 0; i < avatars.size(); ++i)
            avatars[i].due = qint64(i) * avatars[i].period / avatars.size();
    }

    void run()
    {
        clock.start();
        pacer.setSingleShot(true);
        pacer.setTimerType(Qt::PreciseTimer);
        connect(&pacer, &QTimer::timeout, this, &Server::sendDue);
        // An idle arena gets nothing, not even this timer's wake-ups.
        if (!avatars.isEmpty())
            pacer.start(0);
    }

private:
    struct Avatar
    {
        int id;
        QPointF centre;
        int period;
        qint64 due = 0;
    };

    // Written out by the caller's flush, so that the lines of one turn go together.
    void send(const QByteArray &line) { peer->write(line + '\n'); }

    // Shots go 300 units from the avatar in any direction; steps up to 150 from home.
    // The server wakes only when a line is due, so that its own cost stays out of
    // the client's figures as far as one process allows.
    void sendDue()
    {
        const qint64 now = clock.elapsed();
        qint64 next = std::numeric_limits<qint64>::max();
        for (Avatar &avatar : avatars) {
            if (avatar.due <= now) {
                avatar.due += avatar.period;
                const double angle = random.bounded(2 * M_PI);
                const double reach = type == MsgShoot ? 300 : random.bounded(150.0);
                const QPointF target =
                    avatar.centre + reach * QPointF(std::cos(angle), std::sin(angle));
                send(QByteArray::number(type) + 'x' + QByteArray::number(avatar.id) + ';' +
                     QByteArray::number(qRound(target.x())) + ';' +
                     QByteArray::number(qRound(target.y())));
            }
            next = std::min(next, avatar.due);
        }
        peer->flush();
        pacer.start(int(std::max<qint64>(0, next - now)));
    }

    QTcpServer listener;
    QTcpSocket *peer = nullptr;
    QList<Avatar> avatars;
    QRandomGenerator random{20240611};
    QTimer pacer;
    QElapsedTimer clock;
    int period = shotPeriodMs;
    int type = MsgShoot;
};

const Load *loadNamed(const QString &key)
{
    for (const Load &load : loads)
        if (key == QLatin1String(load.key))
            return &load;
    return nullptr;
}

QByteArray figuresLine(const Figures &f)
{
    return QByteArray::number(f.inFlight, 'f', 1) + ' ' +
           QByteArray::number(f.ticksPercent, 'f', 1) + ' ' +
           QByteArray::number(f.paintsPerSecond, 'f', 1) + ' ' +
           QByteArray::number(f.cpuPercent, 'f', 1) + ' ' +
           QByteArray::number(f.stealPercent, 'f', 1);
}

// Figures saved before the host's share was measured have none.
std::optional<Figures> parseFigures(const QList<QByteArray> &fields)
{
    if (fields.size() != 4 && fields.size() != 5)
        return std::nullopt;
    return Figures{fields[0].toDouble(), fields[1].toDouble(), fields[2].toDouble(),
                   fields[3].toDouble(), fields.value(4).toDouble()};
}

// One load in this process: sets up the arena, lets it settle, then measures.
int measure(const Load &load, int seconds)
{
    // Every received line is logged at debug level; a terminal full of them is no figure.
    QLoggingCategory::setFilterRules("*.debug=false");
    MainWindow window;
    window.resize(1280, 800);
    window.show();
    Server server;
    if (!server.connectClient(window)) {
        std::fprintf(stderr, "cannot serve the client on 127.0.0.1:%d\n",
                     ServerAddress::standardPort);
        return 1;
    }
    server.populate(load);
    const int avatars = 1 + std::max(load.shooters - 1, load.walkers);
    if (!runUntil([&] { return window.client->players.size() == avatars; }, 5000)) {
        std::fprintf(stderr, "the client did not place every avatar\n");
        return 1;
    }
    Probe probe(window.view->viewport());
    server.run();
    runFor(warmUpMs);
    probe.start();
    runFor(seconds * 1000);
    std::printf("figures %s\n", figuresLine(probe.stop()).constData());
    return 0;
}

QString cell(double value, const char *format, bool shown)
{
    return shown ? QString::asprintf(format, value) : QStringLiteral("-");
}

QString row(const Load &load, const Figures &f)
{
    const bool firing = load.shooters > 0;
    return QString::asprintf("%9s %8s %9s %7s", qPrintable(cell(f.inFlight, "%.0f", firing)),
                             qPrintable(cell(f.ticksPercent, "%.1f%%", firing)),
                             qPrintable(cell(f.paintsPerSecond, "%.0f", true)),
                             qPrintable(cell(f.cpuPercent, "%.1f", true)));
}

// One load in a process of its own, so that none inherits another's leftovers.
std::optional<Figures> measureApart(const Load &load, int seconds)
{
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(),
                {"--scenario", load.key, "--seconds", QString::number(seconds)});
    child.waitForFinished(-1);
    const QList<QByteArray> fields = child.readAllStandardOutput().simplified().split(' ');
    const std::optional<Figures> figures =
        fields.value(0) == "figures" ? parseFigures(fields.mid(1)) : std::nullopt;
    if (child.exitCode() != 0 || !figures) {
        std::fprintf(stderr, "%s: the measurement failed\n%s", load.title,
                     child.readAllStandardError().constData());
        return std::nullopt;
    }
    return figures;
}

// A guest that waits for its host misses timer ticks and paints, whatever its code:
// of up to `tries` runs, the first with a quiet host, else the quietest.
std::optional<Figures> measureQuietest(const Load &load, int seconds, int tries)
{
    std::optional<Figures> quietest;
    for (int i = 0; i < tries && (!quietest || quietest->stealPercent > stealTolerated); ++i) {
        const std::optional<Figures> figures = measureApart(load, seconds);
        if (!figures)
            return std::nullopt;
        if (!quietest || figures->stealPercent < quietest->stealPercent)
            quietest = figures;
    }
    return quietest;
}

int measureAll(int seconds, int tries, const QString &baselinePath, const QString &savePath)
{
    QHash<QByteArray, Figures> before;
    if (!baselinePath.isEmpty()) {
        QFile file(baselinePath);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
            std::fprintf(stderr, "cannot read %s\n", qPrintable(baselinePath));
            return 2;
        }
        while (!file.atEnd()) {
            QList<QByteArray> fields = file.readLine().simplified().split(' ');
            const QByteArray key = fields.takeFirst();
            if (const std::optional<Figures> figures = parseFigures(fields);
                !key.startsWith('#') && figures)
                before.insert(key, *figures);
        }
    }
    QByteArray saved = "# load, bullets in flight, % of nominal flight ticks, paints/s, CPU % of "
                       "one core, % of the machine's time taken by the host\n";
    std::printf("%-20s %9s %8s %9s %7s %7s%s\n", "load", "in flight", "ticks", "paints/s", "CPU %",
                "steal %",
                before.isEmpty() ? "" : "   | before: in flight, ticks, paints/s, CPU %");
    double mostStolen = 0;
    for (const Load &load : loads) {
        const std::optional<Figures> figures = measureQuietest(load, seconds, tries);
        if (!figures)
            return 1;
        QString line = QString::asprintf("%-20s ", load.title) + row(load, *figures) +
                       QString::asprintf(" %7.1f", figures->stealPercent);
        if (before.contains(load.key))
            line += "   | " + row(load, before.value(load.key));
        std::printf("%s\n", qPrintable(line));
        std::fflush(stdout);
        saved += QByteArray(load.key) + ' ' + figuresLine(*figures) + '\n';
        mostStolen = std::max(mostStolen, figures->stealPercent);
    }
    if (mostStolen > stealTolerated)
        std::printf("The host took up to %.1f%% of this machine's time: measure again when it "
                    "is quieter.\n",
                    mostStolen);
    if (!savePath.isEmpty()) {
        QFile file(savePath);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Text) ||
            file.write(saved) != saved.size()) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(savePath));
            return 2;
        }
    }
    return 0;
}

std::optional<int> positive(const QCommandLineParser &parser, const QCommandLineOption &option)
{
    bool ok = false;
    const int value = parser.value(option).toInt(&ok);
    if (ok && value >= 1)
        return value;
    std::fprintf(stderr, "--%s wants a whole number above 0\n", qPrintable(option.names().first()));
    return std::nullopt;
}

} // namespace

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Only a measuring process needs windows.
    const bool measuring = std::any_of(
        argv + 1, argv + argc, [](const char *arg) { return qstrcmp(arg, "--scenario") == 0; });
    const std::unique_ptr<QCoreApplication> app(measuring ? new QApplication(argc, argv)
                                                          : new QCoreApplication(argc, argv));
    const ApartSettings settings;
    QCommandLineParser parser;
    parser.setApplicationDescription("Measures bullet flight under heavy fire in the arena.");
    parser.addHelpOption();
    const QCommandLineOption scenario("scenario",
                                      "Measure one load only: idle, walk16, walkuser, "
                                      "shot16, shot64, shot128 or shot256.",
                                      "load");
    const QCommandLineOption seconds("seconds", "Seconds measured per load (default 8).", "n", "8");
    const QCommandLineOption baseline("baseline", "Show the figures saved in FILE beside.", "file");
    const QCommandLineOption save("save", "Save this build's figures to FILE.", "file");
    const QCommandLineOption tries("tries",
                                   "Measure a load up to N times while its host is busy, and "
                                   "keep the quietest run (default 3).",
                                   "n", "3");
    parser.addOptions({scenario, seconds, baseline, save, tries});
    parser.process(*app);

    const std::optional<int> span = positive(parser, seconds);
    const std::optional<int> runs = positive(parser, tries);
    if (!span || !runs)
        return 2;
    if (!parser.isSet(scenario))
        return measureAll(*span, *runs, parser.value(baseline), parser.value(save));
    const Load *load = loadNamed(parser.value(scenario));
    if (!load) {
        std::fprintf(stderr, "unknown load: %s\n", qPrintable(parser.value(scenario)));
        return 2;
    }
    return measure(*load, *span);
}
