// SPDX-License-Identifier: GPL-3.0-or-later
#include "relay.h"
#include "session.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Whether one more descriptor can be opened now. Out of descriptors, accept fails
// but the listening socket stays readable, so accepting blindly would only spin.
bool descriptorAvailable(qintptr spare)
{
    const int probe = fcntl(int(spare), F_DUPFD_CLOEXEC, 0);
    if (probe < 0)
        return false;
    ::close(probe);
    return true;
}

} // namespace

Relay::Relay(const RelayLimits &limits, QObject *parent)
    : QObject(parent)
    , limits(limits)
    , arena(limits)
    , server(new QTcpServer(this))
    , sweepTimer(new QTimer(this))
    , acceptPause(new QTimer(this))
    , respawnTimer(new QTimer(this))
{
    clock.start();
    connect(server, &QTcpServer::newConnection, this, &Relay::accept);
    connect(server, &QTcpServer::acceptError, this, &Relay::acceptFailed);
    acceptPause->setSingleShot(true);
    acceptPause->setInterval(limits.acceptPauseMs);
    connect(acceptPause, &QTimer::timeout, this, &Relay::resumeAccepting);
    connect(sweepTimer, &QTimer::timeout, this, &Relay::sweep);
    sweepTimer->start(limits.sweepIntervalMs);
    respawnTimer->setSingleShot(true);
    respawnTimer->setTimerType(Qt::PreciseTimer);
    connect(respawnTimer, &QTimer::timeout, this, &Relay::answerRespawns);
}

bool Relay::listen(const QHostAddress &address, quint16 port)
{
    return server->listen(address, port);
}

quint16 Relay::port() const
{
    return server->serverPort();
}

QString Relay::errorString() const
{
    return server->errorString();
}

void Relay::shutDown(const QString &reason)
{
    server->close();
    acceptPause->stop();
    arena.closeAll(reason);
}

void Relay::accept()
{
    while (QTcpSocket *socket = server->nextPendingConnection()) {
        if (outOfDescriptors) {
            outOfDescriptors = false;
            qInfo() << "accepting connections again";
        }
        auto *session = new Session(socket, limits.maxBacklog(arena.size()), this);
        sessions.insert(session);
        connect(session, &Session::received, this, [this, session](QByteArrayView bytes) {
            arena.receive(session, bytes, clock.elapsed());
            scheduleRespawns();
        });
        connect(session, &Session::closed, this,
                [this, session](const QString &reason) { remove(session, reason); });
        if (!arena.join(session, session->address(), session->peer(), clock.elapsed()))
            session->close();
    }
    countPlayers();
    if (!descriptorAvailable(server->socketDescriptor()))
        pauseAccepting();
}

void Relay::pauseAccepting()
{
    if (!outOfDescriptors) {
        outOfDescriptors = true;
        qWarning().noquote() << "out of file descriptors with" << sessions.size()
                             << "connections; accepting again once one closes";
    }
    server->pauseAccepting();
    acceptPause->start();
}

void Relay::acceptFailed(QAbstractSocket::SocketError error)
{
    if (error == QAbstractSocket::SocketResourceError)
        return pauseAccepting();
    qWarning().noquote() << "cannot accept a connection:" << server->errorString();
    // The server has paused itself.
    acceptPause->start();
}

void Relay::resumeAccepting()
{
    if (!server->isListening())
        return;
    if (descriptorAvailable(server->socketDescriptor()))
        server->resumeAccepting();
    else
        acceptPause->start();
}

void Relay::remove(Session *session, const QString &reason)
{
    arena.leave(session, reason);
    sessions.remove(session);
    session->deleteLater();
    countPlayers();
    if (acceptPause->isActive()) {
        acceptPause->stop();
        resumeAccepting();
    }
}

void Relay::sweep()
{
    for (Session *session : std::as_const(sessions))
        session->checkOutput(limits.stallTimeoutMs);
    arena.tick(clock.elapsed());
    scheduleRespawns();
}

void Relay::scheduleRespawns()
{
    const std::optional<qint64> due = arena.nextRespawnDue();
    if (!due)
        return;
    const int wait = int(qMax<qint64>(0, *due - clock.elapsed()));
    if (!respawnTimer->isActive() || respawnTimer->remainingTime() > wait)
        respawnTimer->start(wait);
}

void Relay::answerRespawns()
{
    arena.answerRespawns(clock.elapsed());
    scheduleRespawns();
}

void Relay::countPlayers()
{
    if (arena.size() == lastCount)
        return;
    lastCount = arena.size();
    for (Session *session : std::as_const(sessions))
        session->setMaxBacklog(limits.maxBacklog(lastCount));
    emit playersChanged(lastCount);
}
