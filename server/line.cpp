#include "line.h"

#include <QList>
#include <cmath>

namespace {

std::optional<Line::Type> typeOf(char letter)
{
    if (letter == 'r')
        return Line::Respawn;
    if (letter >= '0' && letter <= '9')
        return Line::Type(letter - '0');
    return std::nullopt;
}

bool isInteger(const QByteArray &field)
{
    bool ok = false;
    field.toInt(&ok);
    return ok;
}

bool isFiniteNumber(const QByteArray &field)
{
    bool ok = false;
    const double value = field.toDouble(&ok);
    return ok && std::isfinite(value);
}

} // namespace

std::optional<Line> Line::parse(const QByteArray &text)
{
    if (text.indexOf('x') != 1)
        return std::nullopt;
    const std::optional<Type> type = typeOf(text.at(0));
    const QList<QByteArray> fields = text.mid(2).split(';');
    if (!type || fields.size() != 3 || !isInteger(fields[0]) || !isFiniteNumber(fields[1]) ||
        !isFiniteNumber(fields[2]))
        return std::nullopt;
    // toDouble accepts surrounding blanks; nobody downstream needs them.
    return Line{*type, fields[1].trimmed(), fields[2].trimmed()};
}

QByteArray Line::withId(int id) const
{
    const char letter = type == Respawn ? 'r' : char('0' + type);
    return QByteArray(1, letter) + 'x' + QByteArray::number(id) + ';' + a + ';' + b;
}
