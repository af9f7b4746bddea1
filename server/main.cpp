// SPDX-License-Identifier: GPL-3.0-or-later
#include "discoverydatagram.h"
#include "discoveryprobe.h"
#include "discoveryresponder.h"
#include "relay.h"
#include "stderrlog.h"
#include "systemdnotifier.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QHostInfo>
#include <QSocketNotifier>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

// The help text, with the defaults that the relay really has.
QString description(const RelayLimits &limits)
{
    return QString(R"(Relay server of the vorlen arena.

Defaults are chosen for a public server:
  %1 players, since every newcomer is introduced to every other player;
  %2 per address, since players behind one NAT share an address (an IPv6 /64 counts
  as one address);
  %3 lines a second with bursts of %4, several times what a fight needs (a click or
  two a second, a position every 4 s, a damage line per hit taken), and each kind of
  line at the game's own pace (a weapon fires at most twice a second, a weapon is
  taken by a key press, a respawn follows a death; an early respawn waits for its
  turn); a client far over them is cut and its address refused for %5 s;
  %6 s for a line to arrive whole, where a real client needs milliseconds;
  %7 s of silence from a living player, who reports its position every 4 s, and
  %8 s from a dead one.
A client that stops reading is cut once the system refuses its data for %9 s; a peer
that vanishes is noticed by TCP keep-alive within about 30 s.)")
        .arg(limits.maxPlayers)
        .arg(limits.maxPerAddress)
        .arg(limits.lineRate)
        .arg(limits.lineBurst)
        .arg(limits.floodBarMs / 1000.0)
        .arg(limits.lineTimeoutMs / 1000.0)
        .arg(limits.livingIdleMs / 1000.0)
        .arg(limits.idleTimeoutMs / 1000.0)
        .arg(limits.stallTimeoutMs / 1000.0);
}

QCommandLineOption option(const QString &name, const QString &text, const QString &valueName,
                          const QString &byDefault)
{
    return {name, QString("%1 (default %2).").arg(text, byDefault), valueName, byDefault};
}

QString seconds(qint64 milliseconds)
{
    return QString::number(milliseconds / 1000);
}

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
    QString name;
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
    const std::optional<int> idle = count(parser, "idle-timeout", 1);
    if (!port || !players || !perAddress || !rate || !burst || !timeout || !idle)
        return std::nullopt;
    options.port = quint16(*port);
    options.limits.maxPlayers = *players;
    options.limits.maxPerAddress = *perAddress;
    options.limits.lineRate = *rate;
    options.limits.lineBurst = *burst;
    options.limits.lineTimeoutMs = *timeout * qint64(1000);
    options.limits.idleTimeoutMs = *idle * qint64(1000);
    // A long host name is cut rather than refused: nobody chose it for this.
    options.name = parser.isSet("name")
                       ? parser.value("name")
                       : QString::fromUtf8(DiscoveryDatagram::cutUtf8(
                             QHostInfo::localHostName(), DiscoveryDatagram::maxNameBytes));
    if (options.name.isEmpty() || !DiscoveryDatagram::printable(options.name) ||
        options.name.toUtf8().size() > DiscoveryDatagram::maxNameBytes)
        return fail(QString("invalid --name \"%1\": expected 1 to %2 bytes of UTF-8, no "
                            "control characters")
                        .arg(options.name)
                        .arg(DiscoveryDatagram::maxNameBytes)),
               std::nullopt;
    return options;
}

} // namespace

int main(int argc, char *argv[])
{
    const int stopFd = stopSignals();
    raiseDescriptorLimit();
    logToStderrWithoutWaiting();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("vorlen-server");
    QCoreApplication::setApplicationVersion(VORLEN_VERSION);

    const RelayLimits defaults;
    QCommandLineParser parser;
    parser.setApplicationDescription(description(defaults));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({
        option("listen", "Listen on ADDRESS; \"any\" is every IPv4 and IPv6 address", "ADDRESS",
               "127.0.0.1"),
        option("port", "Listen on TCP port N", "N", "7000"),
        option("max-players", "Connections at once; one over the cap is closed at once", "N",
               QString::number(defaults.maxPlayers)),
        option("max-per-address", "Connections from one address or IPv6 /64; 0 is no cap", "N",
               QString::number(defaults.maxPerAddress)),
        option("line-rate",
               "Lines a second a client may send, sustained; 0 turns every rate limit off", "N",
               QString::number(defaults.lineRate)),
        option("line-burst", "Lines a client may send at once above that rate", "N",
               QString::number(defaults.lineBurst)),
        option("line-timeout", "An unfinished line older than this ends the connection", "SECONDS",
               seconds(defaults.lineTimeoutMs)),
        option("idle-timeout",
               "A dead player who sends nothing for this long is disconnected; a living one "
               "after " +
                   seconds(defaults.livingIdleMs) + " s",
               "SECONDS", seconds(defaults.idleTimeoutMs)),
        {"name",
         "Name told to the lobbies on the local network, at most 32 bytes of UTF-8 (default "
         "the host name).",
         "NAME"},
        {"no-discovery", "Do not answer the lobbies' queries on the UDP port of the same number."},
        {"query",
         "Ask the relay at HOST[:PORT] what it is and how full, print its answer in one line "
         "and exit; exit 1 if it does not answer within 2 s.",
         "HOST[:PORT]"},
    });
    parser.process(app);
    if (parser.isSet("query"))
        return DiscoveryProbe::ask(parser.value("query"));
    const std::optional<Options> options = parse(parser);
    if (!options)
        return 2;

    SystemdNotifier notifier;
    Relay relay(options->limits);
    if (!relay.listen(options->address, options->port))
        return fail(QString("cannot listen on %1:%2: %3")
                        .arg(options->address.toString(), QString::number(options->port),
                             relay.errorString()));
    qInfo().noquote() << "listening on"
                      << options->address.toString() + ':' + QString::number(relay.port());
    std::unique_ptr<DiscoveryResponder> discovery;
    if (!parser.isSet("no-discovery")) {
        discovery = std::make_unique<DiscoveryResponder>(
            relay, options->name, options->limits.maxPlayers, DiscoveryResponder::Limits());
        if (!discovery->listen(options->address, relay.port()))
            return fail(QString("cannot answer discovery on UDP port %1: %2 (--no-discovery "
                                "turns it off)")
                            .arg(relay.port())
                            .arg(discovery->errorString()));
        qInfo().noquote() << "answering lobbies on the local network as" << options->name;
    }
    QObject::connect(&relay, &Relay::playersChanged, &notifier, &SystemdNotifier::setPlayers);
    notifier.ready();

    QSocketNotifier stop(stopFd, QSocketNotifier::Read);
    QObject::connect(&stop, &QSocketNotifier::activated, &app, [&] {
        signalfd_siginfo info{};
        if (read(stopFd, &info, sizeof info) != sizeof info)
            return;
        qInfo().noquote() << "shutting down on" << strsignal(int(info.ssi_signo));
        notifier.stopping();
        relay.shutDown("server shutting down");
        app.quit();
    });
    return app.exec();
}
