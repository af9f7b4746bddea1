// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef LINE_H
#define LINE_H

#include <QByteArray>
#include <QByteArrayView>
#include <optional>

// One line of the game protocol, `<type>x<id>;<a>;<b>`. The id a client writes is
// never trusted, so it is not kept; the values are kept as the text that was sent,
// viewed where it lies, so they live no longer than that text.
struct Line
{
    enum Type
    {
        Spawn,
        NewPlayer,
        Move,
        Shoot,
        Weapon,
        Death,
        Setup,
        Damage,
        Reserved,
        Position,
        Respawn,
    };

    // None for anything but one type character, "x", an integer id and two finite numbers.
    static std::optional<Line> parse(QByteArrayView text);

    // The whole line under this id, with its line feed.
    QByteArray withId(int id) const;

    Type type;
    QByteArrayView a;
    QByteArrayView b;
};

#endif // LINE_H
