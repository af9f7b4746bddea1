// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef TOKENBUCKET_H
#define TOKENBUCKET_H

#include <QtGlobal>

// Allows `burst` events at once and `rate` a second after that. Time is given in
// milliseconds by the caller, so any clock, or none, can drive it.
class TokenBucket
{
public:
    TokenBucket() = default;
    TokenBucket(double rate, double burst, qint64 now);

    // Takes a token if one is left.
    bool take(qint64 now);
    // Takes the next token, now or in the future, and says when it is there.
    qint64 reserve(qint64 now);

private:
    void refill(qint64 now);

    double rate = 0;
    double burst = 0;
    double tokens = 0;
    qint64 last = 0;
};

#endif // TOKENBUCKET_H
