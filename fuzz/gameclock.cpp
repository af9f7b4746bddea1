// SPDX-License-Identifier: GPL-3.0-or-later
#include "gameclock.h"

#include <QCoreApplication>
#include <cstdint>
#include <dlfcn.h>
#include <time.h>

namespace {
std::int64_t aheadNs = 0;
}

// Stands in for the C library's: the fuzz targets export it, and Qt calls it.
extern "C" int clock_gettime(clockid_t clock, struct timespec *time) noexcept
{
    using Real = int (*)(clockid_t, struct timespec *);
    static const auto real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = real(clock, time);
    if (result == 0 && clock == CLOCK_MONOTONIC) {
        const std::int64_t ns = time->tv_nsec + aheadNs;
        time->tv_sec += ns / 1'000'000'000;
        time->tv_nsec = ns % 1'000'000'000;
    }
    return result;
}

void passTime(int ms)
{
    aheadNs += std::int64_t(ms) * 1'000'000;
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void rewindTime()
{
    aheadNs = 0;
}
