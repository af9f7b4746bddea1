// SPDX-License-Identifier: GPL-3.0-or-later
#include "arena.h"

#include <QDebug>
#include <QStringList>
#include <algorithm>
#include <climits>

namespace {

bool clientMaySend(Line::Type type)
{
    return type != Line::Spawn && type != Line::NewPlayer && type != Line::Reserved;
}

const char *describe(int drop)
{
    static const char *const names[] = {"over the line rate", "faster than the game allows",
                                        "too long",           "unparsable",
                                        "server-only type",   "no living avatar"};
    return names[drop];
}

} // namespace

Arena::Arena(const RelayLimits &limits)
    : limits(limits)
{}

bool Arena::join(Link *link, const QString &address, const QString &peer, qint64 now)
{
    if (members.size() >= limits.maxPlayers) {
        ++refusedFull;
        return false;
    }
    if (barredUntil.value(address, -1) > now) {
        ++refusedBarred;
        return false;
    }
    int &fromAddress = perAddress[address];
    if (limits.maxPerAddress > 0 && fromAddress >= limits.maxPerAddress) {
        ++refusedAddress;
        return false;
    }
    ++fromAddress;
    Member &member =
        members.insert(link, Member{{}, address, peer, SendRate(limits, now), now, {}, 0, {}, {}})
            .value();
    startLife(link, member);
    qInfo().noquote() << "player" << member.avatar.id() << "connected from" << peer;
    introduceOthers(link);
    return true;
}

void Arena::receive(Link *link, QByteArrayView bytes, qint64 now)
{
    const auto it = members.find(link);
    if (it == members.end())
        return;
    Member &member = *it;
    // A line that is still unfinished began in this chunk unless it began earlier.
    if (member.unfinished.isEmpty() || bytes.contains('\n'))
        member.unfinishedSince = now;
    member.unfinished.append(bytes);
    qsizetype start = 0;
    for (qsizetype end = member.unfinished.indexOf('\n'); end >= 0;
         end = member.unfinished.indexOf('\n', start)) {
        const QByteArrayView text = QByteArrayView(member.unfinished).sliced(start, end - start);
        if (!handleLine(link, member, text, now))
            return;
        start = end + 1;
    }
    member.unfinished.remove(0, start);
    if (member.unfinished.size() > maxUnfinishedLength)
        expel(link, "sent an endless line");
}

// False when the line has cost the client its connection.
bool Arena::handleLine(Link *link, Member &member, QByteArrayView text, qint64 now)
{
    // An empty line costs us a pass through here like any other.
    if (const SendRate::Verdict verdict = member.sendRate.admitLine(now);
        verdict != SendRate::Accept)
        return refuse(link, member, verdict, OverRate, now);
    if (text.isEmpty())
        return true;
    const std::optional<Line> line = text.size() > maxLineLength ? std::nullopt : Line::parse(text);
    if (line && clientMaySend(line->type))
        member.lastHeard = now;
    if (!line)
        ++member.dropped[text.size() > maxLineLength ? TooLong : Unparsable];
    else if (!clientMaySend(line->type))
        ++member.dropped[ServerOnly];
    else if (line->type == Line::Respawn)
        return askRespawn(link, member, now);
    else if (!member.avatar.isAlive())
        ++member.dropped[NoAvatar];
    else if (const SendRate::Verdict verdict = member.sendRate.admit(line->type, now);
             verdict != SendRate::Accept)
        return refuse(link, member, verdict, OverTypeRate, now);
    else
        relayLine(link, member, *line);
    return true;
}

bool Arena::refuse(Link *link, Member &member, SendRate::Verdict verdict, Drop kind, qint64 now)
{
    ++member.dropped[kind];
    if (verdict == SendRate::Drop)
        return true;
    barredUntil.insert(member.address, now + limits.floodBarMs);
    expel(link, QString("kept sending lines %1").arg(describe(kind)));
    return false;
}

void Arena::startLife(Link *link, Member &member)
{
    member.avatar = Avatar(freshId());
    link->send(Line{Line::Spawn, "0", "0"}.withId(member.avatar.id()));
    for (const QByteArray &line : member.avatar.introduction())
        broadcast(line, link);
}

void Arena::introduceOthers(Link *newcomer)
{
    QList<const Avatar *> others;
    for (auto it = members.cbegin(); it != members.cend(); ++it) {
        if (it.key() != newcomer && it->avatar.isAlive())
            others << &it->avatar;
    }
    std::sort(others.begin(), others.end(),
              [](const Avatar *a, const Avatar *b) { return a->id() < b->id(); });
    for (const Avatar *other : others) {
        for (const QByteArray &line : other->introduction())
            newcomer->send(line);
    }
}

// A client asks once per death and never again until it is answered, so an early one
// waits for its rate instead of being lost; asking again meanwhile is over the rate.
bool Arena::askRespawn(Link *link, Member &member, qint64 now)
{
    if (member.respawnDue)
        return refuse(link, member, member.sendRate.overflow(now), OverTypeRate, now);
    // Clients ask only once they are dead and have dropped their own avatar. One that
    // asks while alive here has dropped it all the same, so that life ends as a death
    // would end it, and nobody keeps a ghost of it.
    if (member.avatar.isAlive())
        relayLine(link, member, Line{Line::Death, "0", "0"});
    const qint64 due = member.sendRate.reserveRespawn(now);
    if (due <= now) {
        respawn(link, member);
        return true;
    }
    member.respawnDue = due;
    waitingRespawns.insert(due, link);
    return true;
}

std::optional<qint64> Arena::nextRespawnDue() const
{
    if (waitingRespawns.isEmpty())
        return std::nullopt;
    return waitingRespawns.firstKey();
}

void Arena::answerRespawns(qint64 now)
{
    while (!waitingRespawns.isEmpty() && waitingRespawns.firstKey() <= now) {
        Link *link = waitingRespawns.begin().value();
        waitingRespawns.erase(waitingRespawns.begin());
        Member &member = members[link];
        member.respawnDue.reset();
        respawn(link, member);
    }
}

void Arena::respawn(Link *link, Member &member)
{
    const int oldId = member.avatar.id();
    idsInUse.remove(oldId);
    // The client kept every other avatar and heard about every change while it was
    // dead, so it needs no introductions: a second MsgNewPlayer for an id would leave
    // the old copy behind on its scene.
    startLife(link, member);
    qInfo() << "player" << oldId << "respawned as player" << member.avatar.id();
}

void Arena::relayLine(Link *link, Member &member, const Line &line)
{
    member.avatar.follow(line);
    // Position reports only correct the others' copies; every other line is also how
    // the sender learns that its own request happened.
    broadcast(line.withId(member.avatar.id()), line.type == Line::Position ? link : nullptr);
}

void Arena::leave(Link *link, const QString &reason)
{
    const auto it = members.find(link);
    if (it == members.end())
        return;
    reportDrops(*it);
    const Member member = *it;
    members.erase(it);
    if (member.respawnDue)
        waitingRespawns.remove(*member.respawnDue, link);
    if (--perAddress[member.address] == 0)
        perAddress.remove(member.address);
    idsInUse.remove(member.avatar.id());
    qInfo().noquote() << "player" << member.avatar.id() << "from" << member.peer
                      << "disconnected:" << reason;
    // There is no message for leaving; without this the avatar would stand on forever.
    if (member.avatar.isAlive())
        broadcast(Line{Line::Death, "0", "0"}.withId(member.avatar.id()));
}

void Arena::expel(Link *link, const QString &reason)
{
    leave(link, reason);
    link->close();
}

void Arena::tick(qint64 now)
{
    answerRespawns(now);
    QList<std::pair<Link *, QString>> expired;
    for (auto it = members.begin(); it != members.end(); ++it) {
        reportDrops(*it);
        if (QString reason = overdue(*it, now); !reason.isEmpty())
            expired.append({it.key(), std::move(reason)});
    }
    reportRefusals();
    barredUntil.removeIf([now](const auto &entry) { return entry.value() <= now; });
    for (const auto &[link, reason] : std::as_const(expired))
        expel(link, reason);
}

// Why the member has waited too long for something, if it has.
QString Arena::overdue(const Member &member, qint64 now) const
{
    if (!member.unfinished.isEmpty() && now - member.unfinishedSince >= limits.lineTimeoutMs)
        return QString("left a line unfinished for %1 s").arg(limits.lineTimeoutMs / 1000.0);
    // A living client reports its position every few seconds; a dead one says nothing
    // until its player asks to play again.
    const bool alive = member.avatar.isAlive();
    const qint64 idle = alive ? limits.livingIdleMs : limits.idleTimeoutMs;
    if (now - member.lastHeard >= idle)
        return QString("sent nothing for %1 s %2")
            .arg(idle / 1000.0)
            .arg(alive ? "while alive" : "while dead");
    return {};
}

void Arena::closeAll(const QString &reason)
{
    const QList<Link *> links = members.keys();
    for (Link *link : links)
        expel(link, reason);
}

void Arena::broadcast(const QByteArray &line, const Link *except)
{
    for (auto it = members.cbegin(); it != members.cend(); ++it) {
        if (it.key() != except)
            it.key()->send(line);
    }
}

// Ids stay positive ints forever; the few in use are skipped once the count wraps.
int Arena::freshId()
{
    do
        lastId = lastId == INT_MAX ? 1 : lastId + 1;
    while (idsInUse.contains(lastId));
    idsInUse.insert(lastId);
    return lastId;
}

// One line per client and sweep at most, however much it sends.
void Arena::reportDrops(Member &member)
{
    QStringList counts;
    int total = 0;
    for (int kind = 0; kind < DropKinds; ++kind) {
        if (member.dropped[kind] > 0)
            counts << QString("%1 %2").arg(member.dropped[kind]).arg(describe(kind));
        total += member.dropped[kind];
    }
    if (total == 0)
        return;
    qWarning().noquote() << "player" << member.avatar.id() << "dropped" << total
                         << "lines:" << counts.join(", ");
    member.dropped.fill(0);
}

void Arena::reportRefusals()
{
    if (refusedFull > 0)
        qWarning().noquote() << "refused" << refusedFull << "connections: already"
                             << limits.maxPlayers << "players";
    if (refusedAddress > 0)
        qWarning().noquote() << "refused" << refusedAddress << "connections: already"
                             << limits.maxPerAddress << "players from their address";
    if (refusedBarred > 0)
        qWarning().noquote() << "refused" << refusedBarred
                             << "connections: their address flooded us moments ago";
    refusedFull = refusedAddress = refusedBarred = 0;
}
