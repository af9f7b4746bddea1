// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef DISCOVERYRESPONDER_H
#define DISCOVERYRESPONDER_H

#include "tokenbucket.h"

#include <QElapsedTimer>
#include <QHash>
#include <QHostAddress>
#include <QObject>

class QTimer;
class QUdpSocket;
class Relay;

// Tells the lobbies on the local network that ask what this relay is and how full.
// Anybody can forge a sender, so an answer is never larger than its query, each
// source gets a few a second and all of them together a bounded number, and what is
// dropped is only counted, then summed up in one log line a sweep.
class DiscoveryResponder : public QObject
{
    Q_OBJECT

public:
    struct Limits
    {
        // A lobby asks every 2 s on at most two ports.
        double sourceRate = 3;
        double sourceBurst = 6;
        double rate = 100;
        double burst = 200;
        // Sources remembered at once; past that, new ones are refused until a sweep.
        int maxSources = 4096;
        int sweepIntervalMs = 1000;
    };

    DiscoveryResponder(const Relay &relay, const QString &name, int maxPlayers,
                       const Limits &limits, QObject *parent = nullptr);

    bool listen(const QHostAddress &address, quint16 port);
    QString errorString() const;
    // Sums up what was dropped since the last sweep and forgets the sources whose
    // allowance is whole again.
    void sweep();

private:
    struct Source
    {
        TokenBucket bucket;
        qint64 last = 0;
    };

    void readQueries();
    bool mayAnswer(const QHostAddress &source, qint64 now);

    const Relay &relay;
    QString name;
    int maxPlayers;
    Limits limits;
    quint64 instance;
    QUdpSocket *socket;
    QTimer *sweepTimer;
    QElapsedTimer clock;
    TokenBucket overall;
    QHash<QHostAddress, Source> sources;
    int malformed = 0;
    int overRate = 0;
};

#endif // DISCOVERYRESPONDER_H
