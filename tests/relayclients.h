// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef RELAYCLIENTS_H
#define RELAYCLIENTS_H

#include <QtNetwork>
#include <QtTest>
#include <functional>

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
