#include "session.h"

#include <QTcpSocket>

Session::Session(QTcpSocket *socket, QObject *parent)
    : QObject(parent)
    , socket(socket)
    , peerName(socket->peerAddress().toString() + ':' + QString::number(socket->peerPort()))
{
    socket->setParent(this);
    // Leaves the rest in the kernel, so a flood costs us no more than this.
    socket->setReadBufferSize(16 * 1024);
    // Every line is an action that somebody is waiting to see.
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(socket, &QTcpSocket::readyRead, this, &Session::readAvailable);
    connect(socket, &QTcpSocket::disconnected, this, &Session::closed);
}

void Session::send(const QByteArray &line)
{
    if (!isConnected())
        return;
    socket->write(line + '\n');
    // A client that stops reading would otherwise make us queue its share of every line.
    if (socket->bytesToWrite() > maxBacklog) {
        emit backlogOverflowed(socket->bytesToWrite());
        socket->abort();
    }
}

void Session::readAvailable()
{
    char chunk[1024];
    while (isConnected()) {
        const qint64 size = socket->read(chunk, sizeof chunk);
        if (size <= 0)
            return;
        unfinished.append(chunk, size);
        takeLines();
        if (isConnected() && unfinished.size() > maxUnfinishedLength) {
            emit unfinishedLineOverflowed();
            socket->abort();
        }
    }
}

void Session::takeLines()
{
    qsizetype start = 0;
    for (qsizetype end = unfinished.indexOf('\n'); end >= 0 && isConnected();
         end = unfinished.indexOf('\n', start)) {
        const qsizetype length = end - start;
        if (length > maxLineLength)
            emit longLineDropped(length);
        else if (length > 0)
            emit lineReceived(unfinished.mid(start, length));
        start = end + 1;
    }
    unfinished.remove(0, start);
}

bool Session::isConnected() const
{
    return socket->state() == QAbstractSocket::ConnectedState;
}
