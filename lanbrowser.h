// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef LANBROWSER_H
#define LANBROWSER_H

#include "discoverydatagram.h"

#include <QElapsedTimer>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QObject>

class QUdpSocket;

// Asks the local network for relays: each round goes to the broadcast address of
// every running IPv4 interface, to the IPv6 all-nodes group on every interface with
// IPv6 and to this machine, on each port given. Only answers that echo the token of
// a recent round count, so that nobody can slip in a relay of their own making.
class LanBrowser : public QObject
{
    Q_OBJECT

public:
    // Answers to a round count this long after it, like the lobby's rows.
    static constexpr qint64 roundLifeMs = 6000;

    explicit LanBrowser(QObject *parent = nullptr);

    void query(const QList<quint16> &ports);

signals:
    void answered(const DiscoveryAnswer &answer, const QHostAddress &from, qint64 ms);

private:
    static QList<QHostAddress> destinations();
    void readAnswers(QUdpSocket *socket);

    QUdpSocket *ipv4;
    QUdpSocket *ipv6;
    QElapsedTimer clock;
    QHash<quint64, qint64> rounds; // token, when it was sent
};

#endif // LANBROWSER_H
