// SPDX-License-Identifier: GPL-3.0-or-later
// Bytes from hostile clients, read by the relay's own rules for one to four
// connections at once, with joins, hang-ups and the passing of time among them.
// Whatever comes in, every line that goes out must be one a client can read, and
// nothing may be sent to a connection once it has been closed.

#include "arena.h"
#include "line.h"

#include <QLoggingCategory>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace {

class Peer final : public Link
{
public:
    void send(const QByteArray &line) override
    {
        // The relay writes whole lines, each a line of the game under a real id.
        if (closed || !line.endsWith('\n') || line.count('\n') != 1)
            std::abort();
        const QByteArrayView text = QByteArrayView(line).chopped(1);
        const std::optional<Line> parsed = Line::parse(text);
        const int id = line.mid(2, line.indexOf(';') - 2).toInt();
        if (!parsed || parsed->type == Line::Respawn || text.size() > Arena::maxLineLength ||
            id < 1)
            std::abort();
    }
    void close() override { closed = true; }

    bool closed = false;
};

// The input, one step at a time: a byte that says what happens, then what it needs.
class Script
{
public:
    Script(const std::uint8_t *data, std::size_t size)
        : data(data)
        , size(size)
    {}

    bool atEnd() const { return at >= size; }
    std::uint8_t byte() { return at < size ? data[at++] : 0; }
    QByteArrayView bytes(std::size_t count)
    {
        count = std::min(count, size - at);
        const QByteArrayView view(reinterpret_cast<const char *>(data + at), qsizetype(count));
        at += count;
        return view;
    }

private:
    const std::uint8_t *data;
    std::size_t size;
    std::size_t at = 0;
};

RelayLimits smallLimits()
{
    RelayLimits limits;
    limits.maxPlayers = 3;
    limits.maxPerAddress = 2;
    limits.lineRate = 20;
    limits.lineBurst = 10;
    limits.lineTimeoutMs = 2000;
    return limits;
}

// Rates off, as a benchmark runs it.
RelayLimits unlimited()
{
    RelayLimits limits = smallLimits();
    limits.maxPlayers = 4;
    limits.maxPerAddress = 0;
    limits.lineRate = 0;
    return limits;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Script script(data, size);
    // The first byte picks the limits: a small arena, or none at all.
    const bool limited = script.byte() % 2 == 0;
    Arena arena(limited ? smallLimits() : unlimited());
    std::array<std::unique_ptr<Peer>, 4> peers;
    const char *addresses[] = {"10.0.0.1", "10.0.0.2"};
    qint64 now = 0;
    while (!script.atEnd()) {
        const std::uint8_t step = script.byte();
        std::unique_ptr<Peer> &peer = peers[step % peers.size()];
        switch (step / peers.size() % 8) {
        case 0: // a new connection in this place; the old one, if any, hangs up
            if (peer)
                arena.leave(peer.get(), "hung up");
            peer = std::make_unique<Peer>();
            if (!arena.join(peer.get(), addresses[step % 2], "peer", now))
                peer.reset();
            break;
        case 1:
            if (peer)
                arena.leave(peer.get(), "hung up");
            peer.reset();
            break;
        case 2:
            now += script.byte() * 20;
            arena.tick(now);
            break;
        default: // some bytes from this place
            if (peer && !peer->closed)
                arena.receive(peer.get(), script.bytes(script.byte()), now);
            now += step % 3;
        }
    }
    arena.closeAll("shutting down");
    for (const std::unique_ptr<Peer> &peer : peers) {
        if (peer && !peer->closed)
            std::abort();
    }
    return 0;
}
