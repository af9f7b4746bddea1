// SPDX-License-Identifier: GPL-3.0-or-later
#include "session.h"

#include <QTcpSocket>
#include <algorithm>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace {

// A peer that vanished without a word (cable, lid, NAT) is noticed by the kernel:
// after 10 s of silence it probes every 5 s and gives up after 3 probes, and data that
// stays unacknowledged for 30 s ends the connection as well.
void noticeVanishedPeer(QTcpSocket *socket)
{
    socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
    const int fd = int(socket->socketDescriptor());
    const int idle = 10, interval = 5, count = 3, userTimeoutMs = 30000;
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle);
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval);
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &count, sizeof count);
    setsockopt(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, &userTimeoutMs, sizeof userTimeoutMs);
}

// Dual-stack listening shows IPv4 peers as mapped IPv6 addresses.
QHostAddress plain(const QHostAddress &address)
{
    bool isIPv4 = false;
    const quint32 ipv4 = address.toIPv4Address(&isIPv4);
    return isIPv4 ? QHostAddress(ipv4) : address;
}

} // namespace

Session::Session(QTcpSocket *socket, qint64 maxBacklog, QObject *parent)
    : QObject(parent)
    , socket(socket)
    , maxBacklog(maxBacklog)
{
    socket->setParent(this);
    // Leaves the rest in the kernel, so a flood costs us no more than this.
    socket->setReadBufferSize(16 * 1024);
    // Every line is an action that somebody is waiting to see.
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    noticeVanishedPeer(socket);
    connect(socket, &QTcpSocket::readyRead, this, &Session::readAvailable);
    connect(socket, &QTcpSocket::bytesWritten, this, [this] {
        sinceProgress.start();
        offered = this->socket->bytesToWrite();
    });
    connect(socket, &QTcpSocket::errorOccurred, this, [this](QAbstractSocket::SocketError error) {
        if (endReason.isEmpty())
            endReason = error == QAbstractSocket::RemoteHostClosedError
                            ? "hung up"
                            : this->socket->errorString();
    });
    // Queued, so that a session never leaves while lines are being passed around.
    connect(
        socket, &QTcpSocket::disconnected, this,
        [this] { emit closed(endReason.isEmpty() ? QString("hung up") : endReason); },
        Qt::QueuedConnection);
}

QString Session::address() const
{
    const QHostAddress address = plain(socket->peerAddress());
    if (address.protocol() == QAbstractSocket::IPv4Protocol)
        return address.toString();
    // Every IPv6 host is given a /64, and can pick any address in it.
    Q_IPV6ADDR bytes = address.toIPv6Address();
    std::fill(bytes.c + 8, bytes.c + 16, 0);
    return QHostAddress(bytes).toString() + "/64";
}

QString Session::peer() const
{
    return plain(socket->peerAddress()).toString() + ':' + QString::number(socket->peerPort());
}

void Session::send(const QByteArray &line)
{
    if (!isConnected())
        return;
    if (socket->bytesToWrite() == 0)
        sinceProgress.start();
    socket->write(line);
    if (socket->bytesToWrite() <= offered + handOverStep)
        return;
    // More than the event loop writes in a pass: the kernel is offered what it takes now,
    // and again once the pass is over and the others' lines of this pass have all come;
    // only then is the client judged by what the kernel refuses. Meanwhile only the
    // bound on memory holds.
    handOver(2 * maxBacklog);
    if (!handOverPending) {
        handOverPending = true;
        QMetaObject::invokeMethod(this, &Session::handOverAfterPass, Qt::QueuedConnection);
    }
}

void Session::close()
{
    end("closed by the server");
}

void Session::checkOutput(qint64 stallTimeoutMs)
{
    if (isConnected() && socket->bytesToWrite() > 0 && sinceProgress.elapsed() > stallTimeoutMs)
        end(QString("read nothing for %1 s").arg(stallTimeoutMs / 1000.0));
}

void Session::handOverAfterPass()
{
    handOverPending = false;
    handOver(maxBacklog);
}

// What the kernel will not take once everything has been offered to it says that the
// client does not read.
void Session::handOver(qint64 limit)
{
    if (!isConnected())
        return;
    socket->flush();
    offered = socket->bytesToWrite();
    if (offered > limit)
        end(QString("left %1 bytes unread").arg(offered));
}

void Session::readAvailable()
{
    char chunk[4096];
    while (isConnected()) {
        const qint64 size = socket->read(chunk, sizeof chunk);
        if (size <= 0)
            return;
        emit received(QByteArrayView(chunk, size));
    }
}

void Session::end(const QString &reason)
{
    if (endReason.isEmpty())
        endReason = reason;
    socket->abort();
}

bool Session::isConnected() const
{
    return socket->state() == QAbstractSocket::ConnectedState;
}
