// SPDX-License-Identifier: GPL-3.0-or-later
#include "discoveryprobe.h"

#include "discoverydatagram.h"
#include "serveraddress.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QHostInfo>
#include <QNetworkDatagram>
#include <QRandomGenerator>
#include <QUdpSocket>
#include <cstdio>

namespace {

int fail(int status, const QString &message)
{
    std::fprintf(stderr, "vorlen-server: %s\n", qPrintable(message));
    return status;
}

} // namespace

int DiscoveryProbe::ask(const QString &target, int timeoutMs)
{
    const std::optional<ServerAddress> server = ServerAddress::parse(target);
    if (!server)
        return fail(2, QString("--query \"%1\" is not HOST[:PORT]").arg(target));
    const QHostInfo host = QHostInfo::fromName(server->host);
    if (host.addresses().isEmpty())
        return fail(1, QString("cannot find %1: %2").arg(server->host, host.errorString()));

    const quint64 token = QRandomGenerator::global()->generate64();
    const QByteArray query = DiscoveryDatagram::query(token);
    QUdpSocket socket;
    QElapsedTimer clock;
    clock.start();
    for (const QHostAddress &address : host.addresses())
        socket.writeDatagram(query, address, server->port);
    const QDeadlineTimer deadline(timeoutMs);
    while (socket.waitForReadyRead(int(deadline.remainingTime()))) {
        while (socket.hasPendingDatagrams()) {
            const QNetworkDatagram datagram =
                socket.receiveDatagram(DiscoveryDatagram::maxAnswerSize + 1);
            const std::optional<DiscoveryAnswer> answer =
                DiscoveryDatagram::readAnswer(datagram.data());
            if (!answer || answer->token != token)
                continue;
            std::printf("%s\n", qPrintable(QString("%1 · %2/%3 · %4 · %5 ms")
                                               .arg(answer->name)
                                               .arg(answer->players)
                                               .arg(answer->maxPlayers)
                                               .arg(answer->version)
                                               .arg(clock.elapsed())));
            return 0;
        }
    }
    return fail(1, QString("no answer from %1 within %2 s").arg(target).arg(timeoutMs / 1000.0));
}
