// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef LASTSERVER_H
#define LASTSERVER_H

#include "serveraddress.h"

// The server of the last visit in which the player was given an id: the one setting
// kept between runs, in the user's settings of organisation and application "vorlen".
class LastServer
{
public:
    // None before the first such visit, or if the setting cannot be read.
    static std::optional<ServerAddress> load();
    static void store(const ServerAddress &server);
};

#endif // LASTSERVER_H
