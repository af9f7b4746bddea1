#ifndef SESSION_H
#define SESSION_H

#include <QByteArray>
#include <QObject>
#include <QString>

class QTcpSocket;

// One client connection: cuts what arrives into lines and writes lines back, and
// keeps what a client can make the server hold, either way, within fixed bounds.
class Session : public QObject
{
    Q_OBJECT

public:
    static constexpr int maxLineLength = 256;
    static constexpr int maxUnfinishedLength = 4096;
    static constexpr qint64 maxBacklog = 1024 * 1024;

    // Takes over the socket.
    Session(QTcpSocket *socket, QObject *parent = nullptr);

    QString peer() const { return peerName; }
    void send(const QByteArray &line);

signals:
    void lineReceived(const QByteArray &line);
    void longLineDropped(qsizetype length);
    void unfinishedLineOverflowed();
    void backlogOverflowed(qint64 bytes);
    void closed();

private:
    void readAvailable();
    void takeLines();
    bool isConnected() const;

    QTcpSocket *socket;
    QString peerName;
    QByteArray unfinished;
};

#endif // SESSION_H
