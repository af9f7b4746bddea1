// SPDX-License-Identifier: GPL-3.0-or-later
#include "systemdnotifier.h"

#include <QTimer>
#ifdef VORLEN_HAVE_SYSTEMD
#include <systemd/sd-daemon.h>
#endif

namespace {

// Does nothing without NOTIFY_SOCKET, or in a build without libsystemd.
void notify(const QByteArray &state)
{
#ifdef VORLEN_HAVE_SYSTEMD
    sd_notify(0, state.constData());
#else
    Q_UNUSED(state)
#endif
}

// How long the service manager waits for a sign of life, in milliseconds; 0 if it
// does not watch.
qint64 watchdogTimeout()
{
#ifdef VORLEN_HAVE_SYSTEMD
    uint64_t microseconds = 0;
    if (sd_watchdog_enabled(0, &microseconds) > 0)
        return qint64(microseconds / 1000);
#endif
    return 0;
}

} // namespace

SystemdNotifier::SystemdNotifier(QObject *parent)
    : QObject(parent)
    , statusPause(new QTimer(this))
    , watchdog(new QTimer(this))
{
    statusPause->setSingleShot(true);
    statusPause->setInterval(1000);
    connect(statusPause, &QTimer::timeout, this, [this] {
        if (statusPending)
            sendStatus();
    });
    connect(watchdog, &QTimer::timeout, this, [] { notify("WATCHDOG=1"); });
    if (const qint64 timeout = watchdogTimeout(); timeout > 0)
        watchdog->start(int(qMax<qint64>(1, timeout / 2)));
}

void SystemdNotifier::ready()
{
    notify("READY=1");
    sendStatus();
}

void SystemdNotifier::setPlayers(qsizetype count)
{
    players = count;
    statusPending = true;
    if (!statusPause->isActive())
        sendStatus();
}

void SystemdNotifier::stopping()
{
    notify("STOPPING=1");
}

void SystemdNotifier::sendStatus()
{
    statusPending = false;
    notify("STATUS=" + QByteArray::number(players) + (players == 1 ? " player" : " players"));
    statusPause->start();
}
