#ifndef RELAY_H
#define RELAY_H

#include "avatar.h"

#include <QHash>
#include <QHostAddress>
#include <QObject>

class QTcpServer;
class Session;

// The game server: gives every life its id, introduces players to each other and
// passes each client's lines on to everybody under the sender's own id.
class Relay : public QObject
{
    Q_OBJECT

public:
    explicit Relay(QObject *parent = nullptr);

    bool listen(const QHostAddress &address, quint16 port);
    quint16 port() const;
    QString errorString() const;

private:
    void accept();
    void startLife(Session *session);
    void introduceOthers(Session *newcomer);
    void handle(Session *session, const QByteArray &text);
    void respawn(Session *session);
    void pass(Session *session, const Line &line);
    void drop(Session *session, const QByteArray &text, const char *reason);
    void remove(Session *session);
    void broadcast(const QByteArray &line, const Session *except = nullptr);

    QTcpServer *server;
    // Every connection, with its current life or, once dead, its last one.
    QHash<Session *, Avatar> avatars;
    int lastId = 0;
};

#endif // RELAY_H
