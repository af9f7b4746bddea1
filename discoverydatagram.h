// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef DISCOVERYDATAGRAM_H
#define DISCOVERYDATAGRAM_H

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <optional>

// What a relay tells about itself when asked on the local network.
struct DiscoveryAnswer
{
    quint64 token = 0;    // the query's, echoed
    quint64 instance = 0; // the same for every answer of one running relay
    quint32 players = 0;
    quint32 maxPlayers = 0;
    quint16 port = 0; // where the relay takes players over TCP
    QString version;
    QString name;
};

// The query and the answer that find relays on the local network. Both start with
// the magic text "vorlen", the protocol version and a kind byte; integers are
// big-endian, texts a length byte and that many bytes of printable UTF-8. A query is padded to
// querySize and every answer fits in that, so that an answer to a forged sender is
// never more traffic than the forgery itself.
class DiscoveryDatagram
{
public:
    static constexpr quint8 protocolVersion = 1;
    static constexpr int querySize = 96;
    static constexpr int maxNameBytes = 32;
    static constexpr int maxVersionBytes = 16;
    static constexpr int maxAnswerSize =
        6 + 1 + 1 + 8 + 8 + 4 + 4 + 2 + 1 + maxVersionBytes + 1 + maxNameBytes;
    static_assert(maxAnswerSize <= querySize);

    static QByteArray query(quint64 token);
    // The token of a well-formed query of this protocol version; none otherwise.
    static std::optional<quint64> readQuery(QByteArrayView datagram);
    // Names and versions past their limits are cut at a character boundary.
    static QByteArray answer(const DiscoveryAnswer &answer);
    static std::optional<DiscoveryAnswer> readAnswer(QByteArrayView datagram);
    // Without control characters, which would break the line a text is shown in.
    static bool printable(const QString &text);
    // The longest start of `text` that is at most `bytes` bytes of UTF-8.
    static QByteArray cutUtf8(const QString &text, int bytes);
};

#endif // DISCOVERYDATAGRAM_H
