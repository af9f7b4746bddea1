// SPDX-License-Identifier: GPL-3.0-or-later
#include "lastserver.h"

#include <QSettings>

namespace {
const char *const key = "server";
} // namespace

std::optional<ServerAddress> LastServer::load()
{
    return ServerAddress::parse(QSettings("vorlen", "vorlen").value(key).toString());
}

void LastServer::store(const ServerAddress &server)
{
    QSettings("vorlen", "vorlen").setValue(key, server.text());
}
