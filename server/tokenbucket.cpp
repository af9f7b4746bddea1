// SPDX-License-Identifier: GPL-3.0-or-later
#include "tokenbucket.h"

#include <algorithm>

TokenBucket::TokenBucket(double rate, double burst, qint64 now)
    : rate(rate)
    , burst(burst)
    , tokens(burst)
    , last(now)
{}

bool TokenBucket::take(qint64 now)
{
    if (now > last) {
        tokens = std::min(burst, tokens + rate * double(now - last) / 1000);
        last = now;
    }
    if (tokens < 1)
        return false;
    tokens -= 1;
    return true;
}
