// SPDX-License-Identifier: GPL-3.0-or-later
#include "line.h"

#include <cmath>
#include <cstdio>

namespace {

std::optional<Line::Type> typeOf(char letter)
{
    if (letter == 'r')
        return Line::Respawn;
    if (letter >= '0' && letter <= '9')
        return Line::Type(letter - '0');
    return std::nullopt;
}

bool isInteger(QByteArrayView field)
{
    bool ok = false;
    (void)field.toInt(&ok);
    return ok;
}

// The field without the blanks that toDouble skips, if it holds a finite number:
// toDouble takes a field of blanks alone for a number too.
std::optional<QByteArrayView> finiteNumber(QByteArrayView field)
{
    field = field.trimmed();
    bool ok = false;
    const double value = field.toDouble(&ok);
    if (field.isEmpty() || !ok || !std::isfinite(value))
        return std::nullopt;
    return field;
}

} // namespace

std::optional<Line> Line::parse(QByteArrayView text)
{
    if (text.indexOf('x') != 1)
        return std::nullopt;
    const std::optional<Type> type = typeOf(text.at(0));
    const QByteArrayView fields = text.sliced(2);
    const qsizetype first = fields.indexOf(';');
    const qsizetype second = fields.indexOf(';', first + 1);
    if (!type || first < 0 || second < 0 || fields.indexOf(';', second + 1) >= 0)
        return std::nullopt;
    const std::optional<QByteArrayView> a =
        finiteNumber(fields.sliced(first + 1, second - first - 1));
    const std::optional<QByteArrayView> b = finiteNumber(fields.sliced(second + 1));
    if (!isInteger(fields.first(first)) || !a || !b)
        return std::nullopt;
    return Line{*type, *a, *b};
}

QByteArray Line::withId(int id) const
{
    char number[16];
    const int numberLength = std::snprintf(number, sizeof number, "%d", id);
    QByteArray line;
    line.reserve(4 + numberLength + a.size() + b.size() + 1);
    line.append(type == Respawn ? 'r' : char('0' + type)).append('x');
    line.append(number, numberLength).append(';').append(a).append(';').append(b).append('\n');
    return line;
}
