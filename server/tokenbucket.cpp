// SPDX-License-Identifier: GPL-3.0-or-later
#include "tokenbucket.h"

#include <algorithm>
#include <cmath>

TokenBucket::TokenBucket(double rate, double burst, qint64 now)
    : rate(rate)
    , burst(burst)
    , tokens(burst)
    , last(now)
{}

bool TokenBucket::take(qint64 now)
{
    refill(now);
    if (tokens < 1)
        return false;
    tokens -= 1;
    return true;
}

// The bucket goes into debt, which the rate pays back before anything else is taken.
qint64 TokenBucket::reserve(qint64 now)
{
    refill(now);
    tokens -= 1;
    return tokens >= 0 ? now : now + qint64(std::ceil(-tokens * 1000 / rate));
}

void TokenBucket::refill(qint64 now)
{
    if (now > last) {
        tokens = std::min(burst, tokens + rate * double(now - last) / 1000);
        last = now;
    }
}
