// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef SESSION_H
#define SESSION_H

#include "link.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>

class QTcpSocket;

// One client connection: hands what arrives to whoever listens and writes lines back,
// and ends the connection when the client stops taking them. What waits for the client
// never passes twice the backlog limit.
class Session : public QObject, public Link
{
    Q_OBJECT

public:
    // Takes over the socket.
    Session(QTcpSocket *socket, qint64 maxBacklog, QObject *parent = nullptr);

    // What the caps count as one address: an IPv4 address, or an IPv6 /64.
    QString address() const;
    // The client's own address and port.
    QString peer() const;
    void send(const QByteArray &line) override;
    void close() override;
    void setMaxBacklog(qint64 bytes) { maxBacklog = bytes; }
    // Ends the connection if the kernel has taken none of its output for this long.
    void checkOutput(qint64 stallTimeoutMs);

signals:
    void received(QByteArrayView bytes);
    // Emitted once, from the event loop, never in the middle of a send.
    void closed(const QString &reason);

private:
    void readAvailable();
    void handOverAfterPass();
    void handOver(qint64 limit);
    void end(const QString &reason);
    bool isConnected() const;

    // What QAbstractSocket writes in a pass, the size of its buffer's pieces.
    static constexpr qint64 handOverStep = 32 * 1024;

    QTcpSocket *socket;
    qint64 maxBacklog;
    // What waited after the kernel last took its share.
    qint64 offered = 0;
    bool handOverPending = false;
    QElapsedTimer sinceProgress;
    QString endReason;
};

#endif // SESSION_H
