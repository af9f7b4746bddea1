// SPDX-License-Identifier: GPL-3.0-or-later
#include "sendrate.h"

namespace {

struct Rate
{
    double perSecond;
    double burst;
};

// Each with a wide margin over what the game itself does.
Rate rateOf(Line::Type type)
{
    switch (type) {
    case Line::Move:
        return {10, 20}; // clicks
    case Line::Shoot:
        return {5, 10}; // clicks; a weapon fires at most twice a second
    case Line::Weapon:
        return {3, 6}; // key presses and the pick-up
    case Line::Setup:
        return {1, 6}; // two per life
    case Line::Damage:
        return {20, 40}; // one per hit taken, reported at most every 100 ms, and bleeding
    case Line::Position:
        return {1, 4}; // one every 4 s
    case Line::Respawn:
        return {0.5, 3}; // one per life
    default:
        return {1, 1}; // never relayed
    }
}

} // namespace

SendRate::SendRate(const RelayLimits &limits, qint64 now)
    : limited(limits.lineRate > 0)
    , lines(limits.lineRate, limits.lineBurst, now)
    , drops(limits.lineRate, 10 * limits.lineBurst, now)
{
    for (int type = 0; type < int(types.size()); ++type) {
        const Rate rate = rateOf(Line::Type(type));
        types[type] = TokenBucket(rate.perSecond, rate.burst, now);
    }
}

SendRate::Verdict SendRate::admitLine(qint64 now)
{
    return judge(lines, now);
}

SendRate::Verdict SendRate::admit(Line::Type type, qint64 now)
{
    // One death per life, and the lives are paced by the respawns.
    if (type == Line::Death)
        return Accept;
    return judge(types[type], now);
}

qint64 SendRate::reserveRespawn(qint64 now)
{
    return limited ? types[Line::Respawn].reserve(now) : now;
}

SendRate::Verdict SendRate::overflow(qint64 now)
{
    return drops.take(now) ? Drop : Expel;
}

SendRate::Verdict SendRate::judge(TokenBucket &bucket, qint64 now)
{
    if (!limited || bucket.take(now))
        return Accept;
    return overflow(now);
}
