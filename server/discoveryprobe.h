// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef DISCOVERYPROBE_H
#define DISCOVERYPROBE_H

#include <QString>

// One query to one relay, as a host's monitoring sends it to see that the relay is
// up and how full it is.
class DiscoveryProbe
{
public:
    // Prints the answer of the relay at HOST[:PORT] in one line and gives 0; gives 1
    // when none comes within `timeoutMs`, 2 for a malformed target. Blocks meanwhile.
    static int ask(const QString &target, int timeoutMs = 2000);
};

#endif // DISCOVERYPROBE_H
