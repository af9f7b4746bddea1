#include "relay.h"
#include "session.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <algorithm>

namespace {

bool clientMaySend(Line::Type type)
{
    return type != Line::Spawn && type != Line::NewPlayer && type != Line::Reserved;
}

} // namespace

Relay::Relay(QObject *parent)
    : QObject(parent)
    , server(new QTcpServer(this))
{
    connect(server, &QTcpServer::newConnection, this, &Relay::accept);
}

bool Relay::listen(const QHostAddress &address, quint16 port)
{
    return server->listen(address, port);
}

quint16 Relay::port() const
{
    return server->serverPort();
}

QString Relay::errorString() const
{
    return server->errorString();
}

void Relay::accept()
{
    while (QTcpSocket *socket = server->nextPendingConnection()) {
        auto *session = new Session(socket, this);
        connect(session, &Session::lineReceived, this,
                [this, session](const QByteArray &line) { handle(session, line); });
        connect(session, &Session::longLineDropped, this, [this, session](qsizetype length) {
            qWarning() << "player" << avatars.value(session).id() << "dropped a line of" << length
                       << "bytes";
        });
        connect(session, &Session::unfinishedLineOverflowed, this, [this, session] {
            qWarning() << "player" << avatars.value(session).id()
                       << "sent an endless line, disconnecting";
        });
        connect(session, &Session::backlogOverflowed, this, [this, session](qint64 bytes) {
            qWarning() << "player" << avatars.value(session).id() << "left" << bytes
                       << "bytes unread, disconnecting";
        });
        // Queued, so that a session never leaves while lines are being passed around.
        connect(
            session, &Session::closed, this, [this, session] { remove(session); },
            Qt::QueuedConnection);
        startLife(session);
        qInfo().noquote() << "player" << avatars.value(session).id() << "connected from"
                          << session->peer();
        introduceOthers(session);
    }
}

void Relay::startLife(Session *session)
{
    const Avatar avatar(++lastId);
    avatars.insert(session, avatar);
    session->send(Line{Line::Spawn, "0", "0"}.withId(avatar.id()));
    for (const QByteArray &line : avatar.introduction())
        broadcast(line, session);
}

void Relay::introduceOthers(Session *newcomer)
{
    QList<Avatar> others;
    for (auto it = avatars.cbegin(); it != avatars.cend(); ++it) {
        if (it.key() != newcomer && it->isAlive())
            others << *it;
    }
    std::sort(others.begin(), others.end(),
              [](const Avatar &a, const Avatar &b) { return a.id() < b.id(); });
    for (const Avatar &other : others) {
        for (const QByteArray &line : other.introduction())
            newcomer->send(line);
    }
}

void Relay::handle(Session *session, const QByteArray &text)
{
    const std::optional<Line> line = Line::parse(text);
    if (!line)
        drop(session, text, "unparsable");
    else if (line->type == Line::Respawn)
        respawn(session);
    else if (!clientMaySend(line->type))
        drop(session, text, "server-only type");
    else if (!avatars.value(session).isAlive())
        drop(session, text, "no living avatar");
    else
        pass(session, *line);
}

void Relay::respawn(Session *session)
{
    // Clients ask only once they are dead and have dropped their own avatar. One that
    // asks while alive here has dropped it all the same, so that life ends as a death
    // would end it, and nobody keeps a ghost of it.
    if (avatars.value(session).isAlive())
        pass(session, Line{Line::Death, "0", "0"});
    const int oldId = avatars.value(session).id();
    // The client kept every other avatar and heard about every change while it was
    // dead, so it needs no introductions: a second MsgNewPlayer for an id would leave
    // the old copy behind on its scene.
    startLife(session);
    qInfo() << "player" << oldId << "respawned as player" << avatars.value(session).id();
}

void Relay::pass(Session *session, const Line &line)
{
    Avatar &avatar = avatars[session];
    avatar.follow(line);
    // Position reports only correct the others' copies; every other line is also how
    // the sender learns that its own request happened.
    broadcast(line.withId(avatar.id()), line.type == Line::Position ? session : nullptr);
}

void Relay::drop(Session *session, const QByteArray &text, const char *reason)
{
    qWarning().nospace() << "player " << avatars.value(session).id() << " dropped " << text << " ("
                         << reason << ')';
}

void Relay::remove(Session *session)
{
    const Avatar avatar = avatars.take(session);
    qInfo() << "player" << avatar.id() << "disconnected";
    // There is no message for leaving; without this the avatar would stand on forever.
    if (avatar.isAlive())
        broadcast(Line{Line::Death, "0", "0"}.withId(avatar.id()));
    session->deleteLater();
}

void Relay::broadcast(const QByteArray &line, const Session *except)
{
    for (auto it = avatars.cbegin(); it != avatars.cend(); ++it) {
        if (it.key() != except)
            it.key()->send(line);
    }
}
