// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef RELAY_H
#define RELAY_H

#include "arena.h"
#include "relaylimits.h"

#include <QAbstractSocket>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QObject>
#include <QSet>

class QTcpServer;
class QTimer;
class Session;

// The game server on the network: takes connections, feeds what they send to the
// arena, and keeps accepting whatever the clients or the system run out of.
class Relay : public QObject
{
    Q_OBJECT

public:
    explicit Relay(const RelayLimits &limits = {}, QObject *parent = nullptr);

    bool listen(const QHostAddress &address, quint16 port);
    quint16 port() const;
    QString errorString() const;
    qsizetype players() const { return arena.size(); }
    // Closes every connection, each with this reason, and stops listening.
    void shutDown(const QString &reason);
    // The next life gets the id after this one.
    void startIdsAfter(int id) { arena.startIdsAfter(id); }
    // Ends what has timed out and sums up what was dropped; a timer calls it regularly.
    void sweep();

signals:
    void playersChanged(qsizetype players);

private:
    void accept();
    void pauseAccepting();
    void acceptFailed(QAbstractSocket::SocketError error);
    void resumeAccepting();
    void remove(Session *session, const QString &reason);
    void scheduleRespawns();
    void answerRespawns();
    void countPlayers();

    RelayLimits limits;
    Arena arena;
    QTcpServer *server;
    QTimer *sweepTimer;
    QTimer *acceptPause;
    QTimer *respawnTimer;
    QElapsedTimer clock;
    QSet<Session *> sessions;
    qsizetype lastCount = 0;
    bool outOfDescriptors = false;
};

#endif // RELAY_H
