// SPDX-License-Identifier: GPL-3.0-or-later
#include "relay.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

const char *const description = R"(Relay server of the vorlen arena.

Defaults are chosen for a public server:
  64 players, since every newcomer is introduced to every other player;
  16 per address, since players behind one NAT share an address;
  40 lines a second with bursts of 80, several times what a fight needs (a click or
  two a second, a position every 4 s, a damage line per hit taken), and each kind of
  line at the game's own pace (a weapon fires at most twice a second, a weapon is
  taken by a key press, a respawn follows a death); a client far over them is cut
  and its address refused for 10 s;
  10 s for a line to arrive whole, where a real client needs milliseconds.
A client that stops reading is cut once the system refuses its data for 10 s; a peer
that vanishes is noticed by TCP keep-alive within about 30 s.)";

int fail(const QString &message)
{
    std::fprintf(stderr, "vorlen-server: %s\n", qPrintable(message));
    return 1;
}

// Every player is a descriptor; the soft limit is often far below what is allowed.
void raiseDescriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// SIGINT and SIGTERM arrive as readable data, so the event loop handles them like a
// socket instead of interrupting it.
int stopSignals()
{
    sigset_t stopping;
    sigemptyset(&stopping);
    sigaddset(&stopping, SIGINT);
    sigaddset(&stopping, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopping, nullptr);
    return signalfd(-1, &stopping, SFD_NONBLOCK | SFD_CLOEXEC);
}

struct Options
{
    QHostAddress address;
    quint16 port = 0;
    RelayLimits limits;
};

std::optional<int> count(const QCommandLineParser &parser, const QString &name, int least,
                         int most = INT_MAX)
{
    bool ok = false;
    const int value = parser.value(name).toInt(&ok);
    if (!ok || value < least || value > most) {
        fail(QString("invalid --%1 %2: expected a whole number from %3 to %4")
                 .arg(name, parser.value(name))
                 .arg(least)
                 .arg(most));
        return std::nullopt;
    }
    return value;
}

std::optional<Options> parse(const QCommandLineParser &parser)
{
    Options options;
    const QString listen = parser.value("listen");
    if (listen == "any")
        options.address = QHostAddress::Any;
    else if (!options.address.setAddress(listen))
        return fail("invalid address " + listen), std::nullopt;
    const std::optional<int> port = count(parser, "port", 0, 65535);
    const std::optional<int> players = count(parser, "max-players", 1);
    const std::optional<int> perAddress = count(parser, "max-per-address", 0);
    const std::optional<int> rate = count(parser, "line-rate", 0);
    const std::optional<int> burst = count(parser, "line-burst", 1);
    const std::optional<int> timeout = count(parser, "line-timeout", 1);
    if (!port || !players || !perAddress || !rate || !burst || !timeout)
        return std::nullopt;
    options.port = quint16(*port);
    options.limits.maxPlayers = *players;
    options.limits.maxPerAddress = *perAddress;
    options.limits.lineRate = *rate;
    options.limits.lineBurst = *burst;
    options.limits.lineTimeoutMs = *timeout * qint64(1000);
    return options;
}

} // namespace

int main(int argc, char *argv[])
{
    const int stopFd = stopSignals();
    raiseDescriptorLimit();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("vorlen-server");
    QCoreApplication::setApplicationVersion(VORLEN_VERSION);

    QCommandLineParser parser;
    parser.setApplicationDescription(description);
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({
        {"listen", "Listen on ADDRESS; \"any\" is every IPv4 and IPv6 address (default 127.0.0.1).",
         "ADDRESS", "127.0.0.1"},
        {"port", "Listen on TCP port N (default 7000).", "N", "7000"},
        {"max-players", "Connections at once; one over the cap is closed at once (default 64).",
         "N", "64"},
        {"max-per-address", "Connections from one address; 0 is no cap (default 16).", "N", "16"},
        {"line-rate",
         "Lines a second a client may send, sustained; 0 turns every rate limit off "
         "(default 40).",
         "N", "40"},
        {"line-burst", "Lines a client may send at once above that rate (default 80).", "N", "80"},
        {"line-timeout", "An unfinished line older than this ends the connection (default 10).",
         "SECONDS", "10"},
    });
    parser.process(app);
    const std::optional<Options> options = parse(parser);
    if (!options)
        return 2;

    Relay relay(options->limits);
    if (!relay.listen(options->address, options->port))
        return fail(QString("cannot listen on %1:%2: %3")
                        .arg(options->address.toString(), QString::number(options->port),
                             relay.errorString()));
    qInfo().noquote() << "listening on"
                      << options->address.toString() + ':' + QString::number(relay.port());

    QSocketNotifier stop(stopFd, QSocketNotifier::Read);
    QObject::connect(&stop, &QSocketNotifier::activated, &app, [&] {
        signalfd_siginfo info{};
        if (read(stopFd, &info, sizeof info) != sizeof info)
            return;
        qInfo().noquote() << "shutting down on" << strsignal(int(info.ssi_signo));
        relay.shutDown("server shutting down");
        app.quit();
    });
    return app.exec();
}
