// SPDX-License-Identifier: GPL-3.0-or-later
#include "discoverydatagram.h"

#include <QDataStream>
#include <QIODevice>
#include <QStringDecoder>
#include <algorithm>

namespace {

constexpr char magic[] = "vorlen";
constexpr int magicSize = sizeof magic - 1;
constexpr quint8 queryKind = '?';
constexpr quint8 answerKind = '!';

void writeHeader(QDataStream &out, quint8 kind)
{
    out.writeRawData(magic, magicSize);
    out << DiscoveryDatagram::protocolVersion << kind;
}

bool readHeader(QDataStream &in, quint8 kind)
{
    char text[magicSize];
    quint8 version = 0;
    quint8 readKind = 0;
    in.readRawData(text, magicSize);
    in >> version >> readKind;
    return in.status() == QDataStream::Ok && QByteArrayView(text, magicSize) == magic &&
           version == DiscoveryDatagram::protocolVersion && readKind == kind;
}

void writeText(QDataStream &out, const QString &text, int most)
{
    const QByteArray bytes = DiscoveryDatagram::cutUtf8(text, most);
    out << quint8(bytes.size());
    out.writeRawData(bytes.constData(), int(bytes.size()));
}

std::optional<QString> readText(QDataStream &in, int most)
{
    quint8 size = 0;
    in >> size;
    if (in.status() != QDataStream::Ok || size > most)
        return std::nullopt;
    QByteArray bytes(size, Qt::Uninitialized);
    if (in.readRawData(bytes.data(), size) != size)
        return std::nullopt;
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8(bytes);
    if (utf8.hasError() || !DiscoveryDatagram::printable(text))
        return std::nullopt;
    return text;
}

} // namespace

QByteArray DiscoveryDatagram::query(quint64 token)
{
    QByteArray datagram;
    QDataStream out(&datagram, QIODevice::WriteOnly);
    writeHeader(out, queryKind);
    out << token;
    datagram.resize(querySize, '\0');
    return datagram;
}

std::optional<quint64> DiscoveryDatagram::readQuery(QByteArrayView datagram)
{
    if (datagram.size() < querySize)
        return std::nullopt;
    const QByteArray bytes = datagram.toByteArray();
    QDataStream in(bytes);
    quint64 token = 0;
    if (!readHeader(in, queryKind))
        return std::nullopt;
    in >> token;
    return token;
}

QByteArray DiscoveryDatagram::answer(const DiscoveryAnswer &answer)
{
    QByteArray datagram;
    QDataStream out(&datagram, QIODevice::WriteOnly);
    writeHeader(out, answerKind);
    out << answer.token << answer.instance << answer.players << answer.maxPlayers << answer.port;
    writeText(out, answer.version, maxVersionBytes);
    writeText(out, answer.name, maxNameBytes);
    return datagram;
}

std::optional<DiscoveryAnswer> DiscoveryDatagram::readAnswer(QByteArrayView datagram)
{
    if (datagram.size() > maxAnswerSize)
        return std::nullopt;
    const QByteArray bytes = datagram.toByteArray();
    QDataStream in(bytes);
    DiscoveryAnswer answer;
    if (!readHeader(in, answerKind))
        return std::nullopt;
    in >> answer.token >> answer.instance >> answer.players >> answer.maxPlayers >> answer.port;
    const std::optional<QString> version = readText(in, maxVersionBytes);
    const std::optional<QString> name = version ? readText(in, maxNameBytes) : std::nullopt;
    if (!name || !in.atEnd())
        return std::nullopt;
    answer.version = *version;
    answer.name = *name;
    return answer;
}

bool DiscoveryDatagram::printable(const QString &text)
{
    return std::none_of(text.cbegin(), text.cend(),
                        [](QChar c) { return c.category() == QChar::Other_Control; });
}

QByteArray DiscoveryDatagram::cutUtf8(const QString &text, int bytes)
{
    const QByteArray utf8 = text.toUtf8();
    if (utf8.size() <= bytes)
        return utf8;
    int end = bytes;
    while (end > 0 && (quint8(utf8[end]) & 0xC0) == 0x80) // inside a character
        --end;
    return utf8.left(end);
}
