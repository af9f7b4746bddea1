// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef RELAYCLIENTS_H
#define RELAYCLIENTS_H

#include <QtNetwork>
#include <QtTest>
#include <functional>
#include <memory>
#include <vector>

// A client as the test sees it: a real socket, every line received and its latest id.
struct Peer
{
    explicit Peer(quint16 port, const QHostAddress &from = QHostAddress::LocalHost,
                  const QHostAddress &to = QHostAddress::LocalHost)
    {
        QObject::connect(&socket, &QTcpSocket::readyRead, &socket, [this] {
            while (socket.canReadLine()) {
                const QByteArray line = socket.readLine().chopped(1);
                ++count;
                id = line.startsWith("0x") ? line.split(';').first().mid(2).toInt() : id;
                if (keepLines)
                    lines << line;
            }
        });
        socket.bind(from);
        socket.connectToHost(to, port);
    }
    bool isConnected() const { return socket.state() == QAbstractSocket::ConnectedState; }
    // Given an id, or refused.
    bool settled() const { return id || socket.state() == QAbstractSocket::UnconnectedState; }
    QTcpSocket socket;
    QByteArrayList lines;
    bool keepLines = true;
    int count = 0;
    int id = 0;
};

// The built relay program, started with these options on a free port; `port` stays
// 0 if it never says where it listens. `setUp` may change the process before it starts.
struct ServerProcess
{
    explicit ServerProcess(const QStringList &options,
                           const std::function<void(QProcess &)> &setUp = {})
    {
        QObject::connect(&process, &QProcess::readyReadStandardError, &process,
                         [this] { log += process.readAllStandardError(); });
        process.setProgram(QCoreApplication::applicationDirPath() + "/../vorlen-server");
        process.setArguments(options + QStringList{"--port", "0"});
        if (setUp)
            setUp(process);
        process.start();
        const auto listening = [this] { return log.mid(log.indexOf("listening on")); };
        if (QTest::qWaitFor([&] { return listening().contains('\n'); }, 10000))
            port = listening().split('\n').first().split(':').last().toUShort();
    }
    ~ServerProcess()
    {
        process.kill();
        process.waitForFinished();
    }
    QProcess process;
    QByteArray log;
    quint16 port = 0;
};

using Peers = std::vector<std::unique_ptr<Peer>>;

// Every peer but the last, a bystander, sends `lines` copies of `line` at once, after
// its id and an introduction of everybody else: nobody is cut, everybody gets it all.
inline void burstCutsNobody(const Peers &peers, const ServerProcess &server, const QByteArray &line,
                            int lines)
{
    const int players = int(peers.size());
    for (const auto &peer : peers)
        QTRY_COMPARE_WITH_TIMEOUT(peer->count, players, 20000);
    for (int i = 0; i + 1 < players; ++i)
        peers[size_t(i)]->socket.write(line.repeated(lines));
    for (const auto &peer : peers)
        QTRY_COMPARE_WITH_TIMEOUT(peer->count, players + (players - 1) * lines, 60000);
    QVERIFY2(!server.log.contains("disconnected"), server.log.constData());
}

// The reader floods a second client that reads nothing, not even the end of its
// connection, until `cut` says the relay has cut it by its id; the reader gets it all.
inline void nonReaderIsCut(Peer &reader, const QHostAddress &relay, quint16 port,
                           const std::function<bool(const QByteArray &id)> &cut)
{
    QTRY_VERIFY(reader.id > 0);
    QTcpSocket nonReader;
    // Qt stops taking data from the system once this much waits unread.
    nonReader.setReadBufferSize(1);
    nonReader.connectToHost(relay, port);
    QTRY_COMPARE(reader.lines.size(), 2);
    const QByteArray id = reader.lines[1].split(';').first().mid(2);
    reader.keepLines = false;
    // Far more than the backlog allowed and the system buffers on both ends hold.
    const int lines = 32000;
    reader.socket.write(("3x0;5;" + QByteArray(240, '1') + '\n').repeated(lines));
    QTRY_VERIFY_WITH_TIMEOUT(cut(id), 30000);
    QTRY_COMPARE_WITH_TIMEOUT(reader.count, 2 + lines + 1, 30000);
    QVERIFY(reader.isConnected());
}

// Columns of these types and names, and rows of cells in the same order.
template <typename... Types, typename... Names> void columns(Names... names)
{
    (QTest::addColumn<Types>(names), ...);
}
template <typename... Cells> void addRow(const char *tag, const Cells &...cells)
{
    (QTest::newRow(tag) << ... << cells);
}

#endif // RELAYCLIENTS_H
