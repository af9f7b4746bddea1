#ifndef RECORDINGSERVER_H
#define RECORDINGSERVER_H

#include "client.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

// A real game server on the client's fixed port, reduced to what tests need:
// it records every line a client writes and lets the test speak as the server.
class RecordingServer
{
public:
    bool listen() { return server.listen(QHostAddress::LocalHost, Client::serverPort); }

    // Waits for the client's connection, and for it to be seen as connected.
    bool accept(const Client &client)
    {
        if (!QTest::qWaitFor([this] { return server.hasPendingConnections(); }))
            return false;
        peer = server.nextPendingConnection();
        return QTest::qWaitFor([&client] { return client.isConnected(); });
    }

    void send(const QByteArray &bytes)
    {
        peer->write(bytes);
        peer->flush();
    }

    // Everything received so far, split into lines; an unfinished line stays out.
    QList<QByteArray> lines()
    {
        received += peer->readAll();
        QList<QByteArray> complete = received.split('\n');
        complete.removeLast();
        return complete;
    }

    // Waits until at least `count` lines have come, then hands over all that came.
    QList<QByteArray> take(int count)
    {
        (void)QTest::qWaitFor([this, count] { return lines().size() >= count; });
        QList<QByteArray> taken = lines();
        received.clear();
        return taken;
    }

    QTcpServer server;
    QTcpSocket *peer = nullptr;
    QByteArray received;
};

#endif // RECORDINGSERVER_H
