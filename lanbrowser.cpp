// SPDX-License-Identifier: GPL-3.0-or-later
#include "lanbrowser.h"

#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QRandomGenerator>
#include <QUdpSocket>

namespace {

// Set where the system gave none, as a bare "ip addr add" leaves it.
QHostAddress broadcastOf(const QNetworkAddressEntry &entry)
{
    if (!entry.broadcast().isNull() || entry.prefixLength() > 30)
        return entry.broadcast();
    const quint32 hostBits = ~0u >> entry.prefixLength();
    return QHostAddress(entry.ip().toIPv4Address() | hostBits);
}

} // namespace

LanBrowser::LanBrowser(QObject *parent)
    : QObject(parent)
    , ipv4(new QUdpSocket(this))
    , ipv6(new QUdpSocket(this))
{
    clock.start();
    // Either may fail on a machine without that protocol; the other still asks.
    ipv4->bind(QHostAddress::AnyIPv4, 0);
    ipv6->bind(QHostAddress::AnyIPv6, 0);
    for (QUdpSocket *socket : {ipv4, ipv6})
        connect(socket, &QUdpSocket::readyRead, this, [this, socket] { readAnswers(socket); });
}

QList<QHostAddress> LanBrowser::destinations()
{
    QList<QHostAddress> found{QHostAddress::LocalHost};
    for (const QNetworkInterface &device : QNetworkInterface::allInterfaces()) {
        const auto flags = device.flags();
        if (!flags.testFlag(QNetworkInterface::IsUp) ||
            !flags.testFlag(QNetworkInterface::IsRunning) ||
            flags.testFlag(QNetworkInterface::IsLoopBack))
            continue;
        bool hasIpv6 = false;
        for (const QNetworkAddressEntry &entry : device.addressEntries()) {
            if (entry.ip().protocol() == QAbstractSocket::IPv4Protocol)
                found << broadcastOf(entry);
            hasIpv6 |= entry.ip().protocol() == QAbstractSocket::IPv6Protocol;
        }
        if (hasIpv6 && flags.testFlag(QNetworkInterface::CanMulticast)) {
            QHostAddress allNodes("ff02::1");
            allNodes.setScopeId(device.name());
            found << allNodes;
        }
    }
    found.removeAll(QHostAddress());
    return found;
}

void LanBrowser::query(const QList<quint16> &ports)
{
    const qint64 now = clock.elapsed();
    rounds.removeIf([now](const auto &round) { return now - round.value() > roundLifeMs; });
    const quint64 token = QRandomGenerator::global()->generate64();
    rounds.insert(token, now);
    const QByteArray query = DiscoveryDatagram::query(token);
    for (const QHostAddress &destination : destinations()) {
        QUdpSocket *socket = destination.protocol() == QAbstractSocket::IPv4Protocol ? ipv4 : ipv6;
        for (const quint16 port : ports)
            socket->writeDatagram(query, destination, port);
    }
}

void LanBrowser::readAnswers(QUdpSocket *socket)
{
    while (socket->hasPendingDatagrams()) {
        const QNetworkDatagram datagram =
            socket->receiveDatagram(DiscoveryDatagram::maxAnswerSize + 1);
        const std::optional<DiscoveryAnswer> answer =
            DiscoveryDatagram::readAnswer(datagram.data());
        const qint64 now = clock.elapsed();
        if (!answer || !rounds.contains(answer->token) ||
            now - rounds.value(answer->token) > roundLifeMs)
            continue;
        emit answered(*answer, datagram.senderAddress(), now - rounds.value(answer->token));
    }
}
