// SPDX-License-Identifier: GPL-3.0-or-later
// Bytes from a hostile server, read by the real line handling of a Client on a
// real scene, with the game's clocks running between the reads.

#include "client.h"
#include "gameclock.h"
#include "mainwindow.h"

#include <QApplication>
#include <QGraphicsScene>
#include <QLoggingCategory>
#include <QTcpServer>
#include <QTcpSocket>
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace {

// The game server's socket, reduced to a sink: the client's lines go nowhere,
// but it stays connected, so no error box ever waits for a user. One input, one
// connection, made and ended within the input, so that what an input allocates it
// also frees, and the leak check stays quiet.
class Sink : public QTcpServer
{
public:
    Sink()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            peer = nextPendingConnection();
            connect(peer, &QTcpSocket::readyRead, peer, [this] { peer->readAll(); });
        });
        if (!listen(QHostAddress::LocalHost))
            std::abort();
    }
    void hangUp() { delete std::exchange(peer, nullptr); }

    QTcpSocket *peer = nullptr;
};

// Cuts the input into reads as a socket might deliver them: lines come in bursts
// that an empty line ends, and a long burst comes in pieces. The game goes on
// between the reads, and where a burst ends in a third line feed the user presses
// Respawn, which no line from the server can do.
void feed(Client &client, const QByteArray &bytes)
{
    constexpr qsizetype longestRead = 4096;
    for (qsizetype start = 0; start < bytes.size();) {
        const qsizetype pause = bytes.indexOf("\n\n", start);
        qsizetype end = std::min(pause < 0 ? bytes.size() : pause + 2, start + longestRead);
        const bool respawn = pause >= 0 && end == pause + 2 && bytes.mid(end, 1) == "\n";
        end += respawn;
        client.receive(bytes.mid(start, end - start));
        if (respawn)
            client.respawn();
        passTime(50);
        start = end;
    }
}

MainWindow *window = nullptr; // never shown: the source of the stats and the server
Sink *server = nullptr;       // one for all inputs; each client connects anew

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    // Every received line is logged; millions of them would be all there is to read.
    QLoggingCategory::setFilterRules("*.debug=false");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    static int argc = 1;
    static char name[] = "fuzz-client";
    static char *argv[] = {name, nullptr};
    new QApplication(argc, argv);
    window = new MainWindow;
    server = new Sink;
    window->server = {"127.0.0.1", server->serverPort()};
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QGraphicsScene scene(QRectF(-2000, -2000, 4000, 4000));
    auto *client = new Client(&scene, window->server, window->stats);
    for (int turn = 0; !client->isConnected() || !server->peer; ++turn) {
        if (turn == 100'000)
            std::abort();
        QCoreApplication::processEvents();
    }

    feed(*client, QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size)));
    for (int turn = 0; turn < 7; ++turn)
        passTime(300); // past the slowest shot and the longest animation
    delete client;
    server->hangUp();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    rewindTime();
    return 0;
}
