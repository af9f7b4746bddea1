// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef SENDRATE_H
#define SENDRATE_H

#include "line.h"
#include "relaylimits.h"
#include "tokenbucket.h"

#include <array>

// How fast one client may send: lines of any kind, and each kind of line no faster
// than a real player's game produces it, so that nobody can make the other clients
// do more than a player could.
class SendRate
{
public:
    enum Verdict
    {
        Accept,
        Drop,
        // Far over the limit for long: a flood, not a player.
        Expel,
    };

    SendRate() = default;
    SendRate(const RelayLimits &limits, qint64 now);

    Verdict admitLine(qint64 now);
    Verdict admit(Line::Type type, qint64 now);
    // When the next respawn may be answered; the time is taken for it.
    qint64 reserveRespawn(qint64 now);
    // A line over some rate has been dropped.
    Verdict overflow(qint64 now);

private:
    Verdict judge(TokenBucket &bucket, qint64 now);

    bool limited = false;
    TokenBucket lines;
    // Fed by the dropped lines: it runs dry only for a client that keeps sending
    // well over its rate.
    TokenBucket drops;
    std::array<TokenBucket, Line::Respawn + 1> types;
};

#endif // SENDRATE_H
