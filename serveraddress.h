// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef SERVERADDRESS_H
#define SERVERADDRESS_H

#include <QString>
#include <optional>

// Where the game server is: a host name or address, and a port.
struct ServerAddress
{
    static constexpr quint16 standardPort = 7000;

    // The server used when none is named at start: the build's choice, on the game's port.
    static ServerAddress standard();
    // Reads HOST[:PORT]: a name, an IPv4 address or a bracketed IPv6 address, with an
    // optional port from 1 to 65535; anything else is none.
    static std::optional<ServerAddress> parse(const QString &text);
    // HOST:PORT as parse reads it back, an IPv6 address in brackets.
    QString text() const;

    QString host;
    quint16 port = 0;
};

#endif // SERVERADDRESS_H
