// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef RELAYLIMITS_H
#define RELAYLIMITS_H

#include <QtGlobal>
#include <algorithm>

// What one relay lets its clients do, and how long it waits for them. These are the
// only defaults: the options, --help, the unit and the manual page follow them. They
// suit a public server; tests shorten the time-outs.
struct RelayLimits
{
    // The longest line the relay sends: a client's longest line, 256 bytes, under a
    // ten-digit id instead of its own one digit, with the line feed.
    static constexpr int longestRelayedLine = 266;

    // Every player is introduced to every other, so the work of a join grows with the
    // square of this.
    int maxPlayers = 64;
    // Players behind one NAT share an address, and an IPv6 host has a whole /64 to
    // pick from, so a /64 counts as one address; 0 turns the cap off.
    int maxPerAddress = 16;
    // A player sends a click or two a second, a position every 4 s and a damage line
    // per hit taken; 40 a second sustained is several times what a busy fight needs.
    // 0 turns every rate limit off.
    double lineRate = 40;
    double lineBurst = 80;
    // An address whose client was cut for flooding is refused this long, so that
    // reconnecting at once does not turn the flood into one of connections.
    qint64 floodBarMs = 10000;
    // A line of a real client arrives whole within milliseconds.
    qint64 lineTimeoutMs = 10000;
    // A living client reports its position every 4 s; one silent this long is gone.
    qint64 livingIdleMs = 30000;
    // A dead player may think a while before asking to play again.
    qint64 idleTimeoutMs = 600000;
    // Output that the kernel refuses for this long means a client that stopped reading.
    qint64 stallTimeoutMs = 10000;
    // How often time-outs are checked and dropped lines summed up in the log.
    int sweepIntervalMs = 1000;
    // Accepting pauses this long when the process runs out of file descriptors.
    int acceptPauseMs = 500;

    // Output that may wait for one client once the kernel has taken all it would: the
    // whole burst of every player there is, so that players within their rates never
    // cut a reader, whatever the link, and never less than 256 KiB. Within one pass of
    // the event loop, before the kernel has been offered any of it, twice this.
    qint64 maxBacklog(qsizetype players) const
    {
        return std::max<qint64>(256 * 1024,
                                qint64(players) * qint64(lineBurst) * longestRelayedLine);
    }
};

#endif // RELAYLIMITS_H
