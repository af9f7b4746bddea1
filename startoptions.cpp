// SPDX-License-Identifier: GPL-3.0-or-later
#include "startoptions.h"

#include "lastserver.h"

#include <cstdio>

StartOptions::StartOptions()
    : serverOption("server",
                   QString("Game server: a name, an IPv4 address or a bracketed IPv6 address "
                           "([::1]:7000); also read from VORLEN_SERVER. Without either, the "
                           "lobby offers the server last played on, or %1.")
                       .arg(ServerAddress::standard().text()),
                   "HOST[:PORT]")
{
    parser.setApplicationDescription("Top-down arena shooter for a few friends.");
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption(serverOption);
}

std::optional<ServerAddress> StartOptions::server() const
{
    const bool named = parser.isSet(serverOption);
    if (!named && qEnvironmentVariableIsEmpty("VORLEN_SERVER"))
        return LastServer::load().value_or(ServerAddress::standard());
    const QString text = named ? parser.value(serverOption) : qEnvironmentVariable("VORLEN_SERVER");
    std::optional<ServerAddress> server = ServerAddress::parse(text);
    if (!server)
        std::fprintf(
            stderr,
            "vorlen: %s \"%s\" is not HOST[:PORT], such as 192.168.1.20:7000 or [::1]:7000\n",
            named ? "--server" : "VORLEN_SERVER", qPrintable(text));
    return server;
}
