// SPDX-License-Identifier: GPL-3.0-or-later
#include "stderrlog.h"

#include <QString>
#include <QtGlobal>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool toSocket = false;
int lost = 0;

// A pipe or a terminal is shared with whoever started us, so the flag goes on a
// description of our own; a socket (the journal's) takes it per write instead.
void stopWaiting()
{
    struct stat info
    {
    };
    if (fstat(STDERR_FILENO, &info) != 0 || S_ISREG(info.st_mode))
        return;
    toSocket = S_ISSOCK(info.st_mode);
    if (toSocket)
        return;
    const int own = open("/proc/self/fd/2", O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC);
    if (own < 0) {
        fcntl(STDERR_FILENO, F_SETFL, fcntl(STDERR_FILENO, F_GETFL) | O_NONBLOCK);
        return;
    }
    dup2(own, STDERR_FILENO);
    close(own);
}

bool writeAtOnce(const QByteArray &text)
{
    const ssize_t written = toSocket ? send(STDERR_FILENO, text.constData(), size_t(text.size()),
                                            MSG_DONTWAIT | MSG_NOSIGNAL)
                                     : write(STDERR_FILENO, text.constData(), size_t(text.size()));
    return written >= 0;
}

void writeMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    QByteArray text;
    if (lost > 0)
        text = QByteArray::number(lost) + " lines of the log were lost: it could not be written\n";
    text += qFormatLogMessage(type, context, message).toLocal8Bit() + '\n';
    lost = writeAtOnce(text) ? 0 : lost + 1;
}

} // namespace

void logToStderrWithoutWaiting()
{
    // A log whose reader has gone must not end the relay.
    std::signal(SIGPIPE, SIG_IGN);
    stopWaiting();
    qInstallMessageHandler(writeMessage);
}
