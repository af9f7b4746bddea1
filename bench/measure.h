// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef MEASURE_H
#define MEASURE_H

// What the benchmarks measure a running client by: the event loop run as the application
// runs it, the process's CPU time and resident memory, the host's share of the machine,
// and the frames a widget paints.

#include <QByteArray>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QEventLoop>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>

#include <ctime>
#include <functional>
#include <unistd.h>

// The client remembers the last server it played on. A benchmark's arena is nobody's,
// so while one runs, settings go to a place of its own that goes with it.
class ApartSettings
{
public:
    ApartSettings()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, dir.path());
    }

private:
    QTemporaryDir dir;
};

// Turns the event loop as the application does, without the naps of a test helper,
// which would starve the 5 ms timers, until `done` or `ms` are up. Called outside any
// event loop, as the benchmarks do, objects deleted later go at the next turn, as they
// would in the application's own loop.
inline bool runUntil(const std::function<bool()> &done, int ms)
{
    bool late = false;
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, [&late] { late = true; });
    deadline.start(ms);
    while (!late && !done())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return done();
}

inline void runFor(int ms)
{
    runUntil([] { return false; }, ms);
}

inline double processCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

inline double residentMegabytes()
{
    QFile statm("/proc/self/statm");
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> pages = statm.readAll().split(' ');
    return pages.value(1).toDouble() * double(sysconf(_SC_PAGESIZE)) / (1024 * 1024);
}

// The machine's time so far in clock ticks, all of it and what the host took for
// other guests (steal), from the first line of /proc/stat; none where there is none.
struct MachineTime
{
    qint64 total = 0;
    qint64 steal = 0;
};

inline MachineTime machineTime()
{
    QFile stat("/proc/stat");
    if (!stat.open(QIODevice::ReadOnly))
        return {};
    // cpu user nice system idle iowait irq softirq steal; guest time is in user already.
    const QList<QByteArray> fields = stat.readLine().simplified().split(' ');
    MachineTime time;
    for (int i = 1; i <= 8 && i < fields.size(); ++i)
        time.total += fields[i].toLongLong();
    time.steal = fields.value(8).toLongLong();
    return time;
}

// Counts the frames a widget paints: it may paint its changes in several pieces, so one
// frame is every paint of one turn of the event loop.
class FrameCounter : public QObject
{
public:
    explicit FrameCounter(QObject *widget) { widget->installEventFilter(this); }

    bool counting = false;
    qint64 frames = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() != QEvent::Paint || !counting || frameOpen)
            return false;
        ++frames;
        frameOpen = true;
        QTimer::singleShot(0, this, [this] { frameOpen = false; });
        return false;
    }

private:
    bool frameOpen = false;
};

// CPU, frames and the host's share over one span of the event loop.
struct Span
{
    double cpuPercent = 0;
    double framesPerSecond = 0;
    double stealPercent = 0; // of the whole machine's time, taken by the host
};

inline Span measureSpan(FrameCounter *frames, int ms)
{
    const double cpu = processCpuSeconds();
    const MachineTime machine = machineTime();
    const qint64 framesBefore = frames ? frames->frames : 0;
    if (frames)
        frames->counting = true;
    QElapsedTimer wall;
    wall.start();
    runFor(ms);
    if (frames)
        frames->counting = false;
    const double seconds = wall.nsecsElapsed() / 1e9;
    const MachineTime after = machineTime();
    const qint64 ticks = after.total - machine.total;
    Span span;
    span.cpuPercent = 100 * (processCpuSeconds() - cpu) / seconds;
    span.framesPerSecond = frames ? (frames->frames - framesBefore) / seconds : 0;
    span.stealPercent = ticks > 0 ? 100.0 * (after.steal - machine.steal) / ticks : 0;
    return span;
}

#endif // MEASURE_H
