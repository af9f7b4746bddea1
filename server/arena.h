// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef ARENA_H
#define ARENA_H

#include "avatar.h"
#include "link.h"
#include "relaylimits.h"
#include "sendrate.h"

#include <QHash>
#include <QMultiMap>
#include <QSet>
#include <QString>
#include <array>
#include <optional>

// The game's rules over connections, without the sockets: gives every life its id,
// introduces players to each other, passes each client's lines on to everybody under
// the sender's own id, and decides who is refused, limited or cut. Time is given in
// milliseconds by the caller.
class Arena
{
public:
    static constexpr int maxLineLength = 256;
    static constexpr int maxUnfinishedLength = 4096;

    explicit Arena(const RelayLimits &limits);

    // False when the connection would pass a cap; the caller then closes it.
    bool join(Link *link, const QString &address, const QString &peer, qint64 now);
    // Bytes as they arrived, whole lines or not.
    void receive(Link *link, QByteArrayView bytes, qint64 now);
    // The connection has ended; its avatar dies for everybody.
    void leave(Link *link, const QString &reason);
    // Ends what has timed out, answers the respawns that are due and writes the
    // summaries of what was dropped.
    void tick(qint64 now);
    void closeAll(const QString &reason);
    // When the earliest respawn that waits for its rate may be answered.
    std::optional<qint64> nextRespawnDue() const;
    void answerRespawns(qint64 now);

    qsizetype size() const { return members.size(); }
    // The next life gets the id after this one.
    void startIdsAfter(int id) { lastId = id; }

private:
    enum Drop
    {
        OverRate,
        OverTypeRate,
        TooLong,
        Unparsable,
        ServerOnly,
        NoAvatar,
        DropKinds,
    };

    struct Member
    {
        Avatar avatar;
        QString address;
        QString peer;
        SendRate sendRate;
        // The last line of the game from this client.
        qint64 lastHeard = 0;
        QByteArray unfinished;
        qint64 unfinishedSince = 0;
        // When its waiting respawn is due, if one waits.
        std::optional<qint64> respawnDue;
        std::array<int, DropKinds> dropped{};
    };

    bool handleLine(Link *link, Member &member, QByteArrayView text, qint64 now);
    bool refuse(Link *link, Member &member, SendRate::Verdict verdict, Drop kind, qint64 now);
    QString overdue(const Member &member, qint64 now) const;
    void startLife(Link *link, Member &member);
    void introduceOthers(Link *newcomer);
    bool askRespawn(Link *link, Member &member, qint64 now);
    void respawn(Link *link, Member &member);
    void relayLine(Link *link, Member &member, const Line &line);
    void expel(Link *link, const QString &reason);
    void broadcast(const QByteArray &line, const Link *except = nullptr);
    int freshId();
    void reportDrops(Member &member);
    void reportRefusals();

    RelayLimits limits;
    QHash<Link *, Member> members;
    QHash<QString, int> perAddress;
    QHash<QString, qint64> barredUntil;
    QSet<int> idsInUse;
    QMultiMap<qint64, Link *> waitingRespawns;
    int lastId = 0;
    int refusedFull = 0;
    int refusedAddress = 0;
    int refusedBarred = 0;
};

#endif // ARENA_H
