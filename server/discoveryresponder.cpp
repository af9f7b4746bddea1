// SPDX-License-Identifier: GPL-3.0-or-later
#include "discoveryresponder.h"

#include "discoverydatagram.h"
#include "relay.h"

#include <QNetworkDatagram>
#include <QRandomGenerator>
#include <QTimer>
#include <QUdpSocket>

DiscoveryResponder::DiscoveryResponder(const Relay &relay, const QString &name, int maxPlayers,
                                       const Limits &limits, QObject *parent)
    : QObject(parent)
    , relay(relay)
    , name(name)
    , maxPlayers(maxPlayers)
    , limits(limits)
    , instance(QRandomGenerator::global()->generate64())
    , socket(new QUdpSocket(this))
    , sweepTimer(new QTimer(this))
{
    clock.start();
    overall = TokenBucket(limits.rate, limits.burst, clock.elapsed());
    connect(socket, &QUdpSocket::readyRead, this, &DiscoveryResponder::readQueries);
    connect(sweepTimer, &QTimer::timeout, this, &DiscoveryResponder::sweep);
    sweepTimer->start(limits.sweepIntervalMs);
}

bool DiscoveryResponder::listen(const QHostAddress &address, quint16 port)
{
    // Without this another program could take the same port and half the queries.
    return socket->bind(address, port, QAbstractSocket::DontShareAddress);
}

QString DiscoveryResponder::errorString() const
{
    return socket->errorString();
}

void DiscoveryResponder::readQueries()
{
    while (socket->hasPendingDatagrams()) {
        // Only the start of a longer datagram is read; a query needs no more.
        const QNetworkDatagram datagram = socket->receiveDatagram(DiscoveryDatagram::querySize);
        const std::optional<quint64> token = DiscoveryDatagram::readQuery(datagram.data());
        if (!token) {
            ++malformed;
            continue;
        }
        if (!mayAnswer(datagram.senderAddress(), clock.elapsed())) {
            ++overRate;
            continue;
        }
        DiscoveryAnswer answer;
        answer.token = *token;
        answer.instance = instance;
        answer.players = quint32(relay.players());
        answer.maxPlayers = quint32(maxPlayers);
        answer.port = relay.port();
        answer.version = QString::fromLatin1(VORLEN_VERSION);
        answer.name = name;
        socket->writeDatagram(DiscoveryDatagram::answer(answer), datagram.senderAddress(),
                              quint16(datagram.senderPort()));
    }
}

bool DiscoveryResponder::mayAnswer(const QHostAddress &source, qint64 now)
{
    auto known = sources.find(source);
    if (known == sources.end()) {
        if (sources.size() >= limits.maxSources)
            return false;
        known = sources.insert(source, {TokenBucket(limits.sourceRate, limits.sourceBurst, now)});
    }
    known->last = now;
    // The source's own allowance first, so that one flooding source spends none of
    // what the others share.
    return known->bucket.take(now) && overall.take(now);
}

void DiscoveryResponder::sweep()
{
    if (malformed > 0 || overRate > 0)
        qWarning().noquote() << "discovery dropped" << malformed + overRate
                             << "datagrams:" << malformed << "malformed," << overRate
                             << "over the rate";
    malformed = overRate = 0;
    if (limits.sourceRate <= 0)
        return;
    const qint64 refill = qint64(limits.sourceBurst / limits.sourceRate * 1000);
    const qint64 now = clock.elapsed();
    sources.removeIf(
        [now, refill](const auto &entry) { return now - entry.value().last >= refill; });
}
