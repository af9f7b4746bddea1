// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef RELAYLIMITS_H
#define RELAYLIMITS_H

#include <QtGlobal>

// What one relay lets its clients do, and how long it waits for them. The defaults
// suit a public server; tests shorten the time-outs.
struct RelayLimits
{
    // Every player is introduced to every other, so the work of a join grows with the
    // square of this.
    int maxPlayers = 64;
    // Players behind one NAT share an address; 0 turns the cap off.
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
    // Output that the kernel refuses for this long means a client that stopped reading.
    qint64 stallTimeoutMs = 10000;
    // Output still queued after handing what we can to the kernel.
    qint64 maxBacklog = 256 * 1024;
    // How often time-outs are checked and dropped lines summed up in the log.
    int sweepIntervalMs = 1000;
    // Accepting pauses this long when the process runs out of file descriptors.
    int acceptPauseMs = 500;
};

#endif // RELAYLIMITS_H
