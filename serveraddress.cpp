// SPDX-License-Identifier: GPL-3.0-or-later
#include "serveraddress.h"

#include <QHostAddress>
#include <QUrl>

ServerAddress ServerAddress::standard()
{
    return {QString::fromLatin1(VORLEN_SERVER_ADDRESS), standardPort};
}

std::optional<ServerAddress> ServerAddress::parse(const QString &text)
{
    // The authority of a URL has exactly this form, apart from what is refused here.
    QUrl url;
    url.setAuthority(text, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty() || text.contains('@') || text.endsWith(':') ||
        url.port() == 0)
        return std::nullopt;
    if (text.startsWith('[') &&
        QHostAddress(url.host()).protocol() != QAbstractSocket::IPv6Protocol)
        return std::nullopt;
    return ServerAddress{url.host(), quint16(url.port(standardPort))};
}

QString ServerAddress::text() const
{
    QUrl url;
    url.setHost(host);
    url.setPort(port);
    return url.authority();
}
