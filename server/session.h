// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef SESSION_H
#define SESSION_H

#include "link.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>

class QTcpSocket;

// One client connection: hands what arrives to whoever listens and writes lines back,
// and ends the connection when the client stops taking them.
class Session : public QObject, public Link
{
    Q_OBJECT

public:
    // Takes over the socket.
    Session(QTcpSocket *socket, qint64 maxBacklog, QObject *parent = nullptr);

    QString address() const;
    QString peer() const;
    void send(const QByteArray &line) override;
    void close() override;
    // Ends the connection if the kernel has taken none of its output for this long.
    void checkOutput(qint64 stallTimeoutMs);

signals:
    void received(QByteArrayView bytes);
    // Emitted once, from the event loop, never in the middle of a send.
    void closed(const QString &reason);

private:
    void readAvailable();
    void end(const QString &reason);
    bool isConnected() const;

    QTcpSocket *socket;
    qint64 maxBacklog;
    QElapsedTimer sinceProgress;
    QString endReason;
};

#endif // SESSION_H
