// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef LINK_H
#define LINK_H

#include <QByteArray>

// One connection as the arena sees it: somewhere to send lines, and something to end.
class Link
{
public:
    // One whole line with its line feed.
    virtual void send(const QByteArray &line) = 0;
    // The arena has forgotten this connection and wants it gone.
    virtual void close() = 0;

protected:
    ~Link() = default;
};

#endif // LINK_H
