// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef STARTOPTIONS_H
#define STARTOPTIONS_H

#include "serveraddress.h"

#include <QCommandLineParser>

// vorlen's command line, and the server the lobby starts with: --server, else
// VORLEN_SERVER, else the server last played on, else the build's own.
class StartOptions
{
public:
    StartOptions();

    // Once the parser has read the command line. None for a malformed --server or
    // VORLEN_SERVER, which is reported on standard error.
    std::optional<ServerAddress> server() const;

    QCommandLineParser parser;

private:
    QCommandLineOption serverOption;
};

#endif // STARTOPTIONS_H
