#ifndef LINE_H
#define LINE_H

#include <QByteArray>
#include <optional>

// One line of the game protocol, `<type>x<id>;<a>;<b>`. The id a client writes is
// never trusted, so it is not kept; the values are kept as the text that was sent.
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
    static std::optional<Line> parse(const QByteArray &text);

    QByteArray withId(int id) const;

    Type type;
    QByteArray a;
    QByteArray b;
};

#endif // LINE_H
