// SPDX-License-Identifier: GPL-3.0-or-later
// Load generator for the relay: many clients on one epoll loop, each line checked for
// arrival, order and sender, with the echo latency of every client's own lines.
//
//   vorlen-loadgen [--host A] [--port N] [--clients N] [--rate R] [--seconds S]
//                  [--burst L] [--line-bytes B] [--flooders K] [--hostile] [--idle N]
//                  [--await-death S]
//
// --rate 0 sends as fast as the echoes come back (a window of lines in flight each).
// --line-bytes pads every numbered line to B bytes with its line feed.

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

struct Options
{
    std::string host = "127.0.0.1";
    int port = 7000;
    int clients = 16;
    double rate = 10;
    double seconds = 10;
    long burst = 0;
    int lineBytes = 0;
    int flooders = 0;
    bool hostile = false;
    int idle = 0;
    double awaitDeath = 0;
};

enum class Role
{
    Member,  // sends numbered lines at the rate and checks everything it receives
    Flooder, // sends valid lines as fast as it can, reconnecting when cut
    Hostile, // takes weapons, shoots, reports damage and respawns as fast as it can
    Idle,    // connects and reads
};

struct Conn
{
    Role role;
    int index = 0;
    int fd = -1;
    int id = 0;
    bool open = false;
    bool wantsOut = false;
    Clock::time_point connectedAt;
    double joinMs = -1;
    std::string in;
    std::string out;
    long sent = 0;
    long echoed = 0;
    long delivered = 0;
    double nextSend = 0;
    std::vector<Clock::time_point> sentAt; // by sequence number
    std::unordered_map<int, long> lastSeq; // per sending member id
};

struct Totals
{
    long outOfOrder = 0;
    long misattributed = 0;
    long cut = 0;
    long reconnects = 0;
    long hostileSeen[11] = {};
    long deaths = 0;
    std::vector<float> latencyMs;
};

class LoadGen
{
public:
    explicit LoadGen(const Options &options)
        : o(options)
        , epoll(epoll_create1(0))
    {}

    int run();

private:
    void open(Conn &c);
    void closeConn(Conn &c, bool cut);
    void flush(Conn &c);
    void readFrom(Conn &c);
    void handle(Conn &c, const char *line, size_t size);
    void sendDue(Conn &c, double now);
    void queue(Conn &c, long count);
    void pump(double until, bool sending);
    void report(double sendingSeconds);

    Options o;
    int epoll;
    std::vector<Conn> conns;
    std::unordered_map<int, int> memberById;
    Totals totals;
    Clock::time_point start = Clock::now();
    bool deathSeen = false;
    double deathAt = 0;
    static constexpr long window = 256;
};

void LoadGen::open(Conn &c)
{
    c.fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
    const int one = 1;
    setsockopt(c.fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(uint16_t(o.port));
    inet_pton(AF_INET, o.host.c_str(), &address.sin_addr);
    connect(c.fd, reinterpret_cast<sockaddr *>(&address), sizeof address);
    epoll_event event{};
    event.events = EPOLLIN | EPOLLRDHUP;
    event.data.ptr = &c;
    epoll_ctl(epoll, EPOLL_CTL_ADD, c.fd, &event);
    c.open = true;
    c.id = 0;
    c.in.clear();
    c.out.clear();
    c.connectedAt = Clock::now();
}

void LoadGen::closeConn(Conn &c, bool cut)
{
    epoll_ctl(epoll, EPOLL_CTL_DEL, c.fd, nullptr);
    close(c.fd);
    c.open = false;
    if (c.role == Role::Member) {
        totals.cut += cut;
    } else if (c.role != Role::Idle && cut) {
        ++totals.reconnects;
        open(c);
    }
}

void LoadGen::flush(Conn &c)
{
    while (!c.out.empty()) {
        const ssize_t written = write(c.fd, c.out.data(), c.out.size());
        if (written <= 0)
            break;
        c.out.erase(0, size_t(written));
    }
    const bool wantsOut = !c.out.empty();
    if (wantsOut != c.wantsOut) {
        epoll_event event{};
        event.events = EPOLLIN | EPOLLRDHUP | (wantsOut ? uint32_t(EPOLLOUT) : 0u);
        event.data.ptr = &c;
        epoll_ctl(epoll, EPOLL_CTL_MOD, c.fd, &event);
        c.wantsOut = wantsOut;
    }
}

void LoadGen::readFrom(Conn &c)
{
    char chunk[65536];
    for (;;) {
        const ssize_t size = read(c.fd, chunk, sizeof chunk);
        if (size == 0 || (size < 0 && errno != EAGAIN && errno != EWOULDBLOCK)) {
            closeConn(c, true);
            return;
        }
        if (size < 0)
            return;
        c.in.append(chunk, size_t(size));
        size_t begin = 0;
        for (size_t end; (end = c.in.find('\n', begin)) != std::string::npos; begin = end + 1)
            handle(c, c.in.data() + begin, end - begin);
        c.in.erase(0, begin);
    }
}

void LoadGen::handle(Conn &c, const char *line, size_t size)
{
    if (size < 3 || line[1] != 'x')
        return;
    const int type = line[0] == 'r' ? 10 : line[0] - '0';
    char *field = nullptr;
    const int id = int(std::strtol(line + 2, &field, 10));
    const long a = std::strtol(field + 1, &field, 10);
    const long b = std::strtol(field + 1, nullptr, 10);
    if (type == 0) {
        c.id = id;
        if (c.joinMs < 0)
            c.joinMs = secondsSince(c.connectedAt) * 1000;
        if (c.role == Role::Member)
            memberById[id] = c.index;
        return;
    }
    if (type == 5 && id != c.id) {
        ++totals.deaths;
        if (!deathSeen) {
            deathSeen = true;
            deathAt = secondsSince(start);
        }
    }
    if (c.role != Role::Member)
        return;
    const auto member = memberById.find(id);
    if (member == memberById.end()) {
        if (type >= 2 && type <= 10)
            ++totals.hostileSeen[type];
        return;
    }
    if (type != 7)
        return;
    if (b != member->second)
        ++totals.misattributed;
    long &last = c.lastSeq[id];
    if (a != last + 1)
        ++totals.outOfOrder;
    last = a;
    ++c.delivered;
    if (id == c.id && a >= 1 && a <= long(c.sentAt.size())) {
        totals.latencyMs.push_back(
            float(std::chrono::duration<double, std::milli>(Clock::now() - c.sentAt[size_t(a - 1)])
                      .count()));
        ++c.echoed;
    }
}

void LoadGen::queue(Conn &c, long count)
{
    char line[320];
    const auto now = Clock::now();
    // Leading zeros pad the sequence number; they read as the same number.
    const int rest = std::snprintf(nullptr, 0, "7x0;;%d\n", c.index);
    const int width = std::clamp(o.lineBytes - rest, 1, int(sizeof line) - rest - 1);
    for (long i = 0; i < count; ++i) {
        ++c.sent;
        c.sentAt.push_back(now);
        c.out.append(line, size_t(std::snprintf(line, sizeof line, "7x0;%0*ld;%d\n", width, c.sent,
                                                c.index)));
    }
}

void LoadGen::sendDue(Conn &c, double now)
{
    if (!c.open || c.id == 0)
        return;
    static const char hostileLines[] = "4x0;2;1\n3x0;5;5\n7x0;5;0\nrx-1;0;0\n";
    if (c.role == Role::Flooder && c.out.size() < 65536) {
        for (int i = 0; i < 1000; ++i)
            c.out += "2x0;1;1\n";
    } else if (c.role == Role::Hostile && c.out.size() < 65536) {
        for (int i = 0; i < 500; ++i)
            c.out += hostileLines;
    } else if (c.role == Role::Member && o.burst == 0) {
        if (o.rate > 0) {
            long due = 0;
            for (; c.nextSend <= now; c.nextSend += 1 / o.rate)
                ++due;
            queue(c, due);
        } else {
            queue(c, std::max(0L, window - (c.sent - c.echoed)));
        }
    }
    flush(c);
}

// Serves every socket until the given time, sending while asked to.
void LoadGen::pump(double until, bool sending)
{
    epoll_event events[256];
    for (double now = secondsSince(start); now < until; now = secondsSince(start)) {
        const int count = epoll_wait(epoll, events, 256, 1);
        for (int i = 0; i < count; ++i) {
            Conn &c = *static_cast<Conn *>(events[i].data.ptr);
            if (events[i].events & EPOLLOUT)
                flush(c);
            if (c.open && (events[i].events & (EPOLLIN | EPOLLRDHUP | EPOLLHUP | EPOLLERR)))
                readFrom(c);
        }
        if (o.awaitDeath > 0 && deathSeen)
            return;
        now = secondsSince(start);
        for (Conn &c : conns) {
            if (sending || c.role != Role::Member)
                sendDue(c, now);
        }
    }
}

int LoadGen::run()
{
    const int members = o.awaitDeath > 0 ? 1 : o.clients;
    conns.resize(size_t(members + o.flooders + (o.hostile ? 1 : 0) + o.idle));
    for (size_t i = 0; i < conns.size(); ++i) {
        Conn &c = conns[i];
        c.index = int(i);
        c.role = int(i) < members                              ? Role::Member
                 : int(i) < members + o.flooders               ? Role::Flooder
                 : o.hostile && int(i) == members + o.flooders ? Role::Hostile
                                                               : Role::Idle;
    }
    // Members join first, so that they are served even when the rest cannot be.
    for (Conn &c : conns) {
        if (c.role == Role::Member) {
            open(c);
            pump(secondsSince(start) + 0.002, false);
        }
    }
    const double joinDeadline = secondsSince(start) + 10;
    while (secondsSince(start) < joinDeadline &&
           std::any_of(conns.begin(), conns.end(),
                       [](const Conn &c) { return c.role == Role::Member && c.id == 0; }))
        pump(secondsSince(start) + 0.01, false);
    for (Conn &c : conns) {
        if (c.role != Role::Member)
            open(c);
    }
    if (o.awaitDeath > 0) {
        start = Clock::now();
        // A living player reports its position every 4 s, or the relay takes it for gone.
        for (double report = 0; report < o.awaitDeath && !deathSeen; report += 4) {
            for (Conn &c : conns) {
                c.out += "9x0;100;100\n";
                flush(c);
            }
            pump(std::min(report + 4, o.awaitDeath), false);
        }
        std::printf("death_seen=%d after_s=%.1f\n", deathSeen, deathSeen ? deathAt : -1.0);
        return deathSeen ? 0 : 1;
    }
    const double begin = secondsSince(start);
    for (Conn &c : conns) {
        c.nextSend = begin + (o.rate > 0 ? (c.index % 97) / 97.0 / o.rate : 0);
        if (c.role == Role::Member && o.burst > 0) {
            queue(c, o.burst);
            flush(c);
        }
    }
    pump(begin + o.seconds, true);
    const double sendingSeconds = secondsSince(start) - begin;
    // Lines still on their way get a moment to arrive.
    long expected = 0;
    for (const Conn &c : conns)
        expected += c.role == Role::Member ? c.sent * members : 0;
    const double drainDeadline = secondsSince(start) + 10;
    const auto delivered = [this] {
        long sum = 0;
        for (const Conn &c : conns)
            sum += c.delivered;
        return sum;
    };
    while (delivered() < expected && secondsSince(start) < drainDeadline)
        pump(secondsSince(start) + 0.05, false);
    report(o.burst > 0 ? secondsSince(start) - begin : sendingSeconds);
    return 0;
}

void LoadGen::report(double seconds)
{
    long sent = 0, delivered = 0, expected = 0, members = 0;
    double joinMax = 0;
    for (const Conn &c : conns) {
        if (c.role != Role::Member)
            continue;
        ++members;
        sent += c.sent;
        delivered += c.delivered;
        joinMax = std::max(joinMax, c.joinMs);
    }
    for (const Conn &c : conns)
        expected += c.role == Role::Member ? c.sent * members : 0;
    std::vector<float> &l = totals.latencyMs;
    std::sort(l.begin(), l.end());
    const auto at = [&l](double q) {
        return l.empty() ? 0.0 : double(l[size_t(q * (l.size() - 1))]);
    };
    std::printf("clients=%ld sent=%ld delivered=%ld expected=%ld lost=%ld seconds=%.2f "
                "delivered_per_s=%.0f\n",
                members, sent, delivered, expected, expected - delivered, seconds,
                double(delivered) / seconds);
    std::printf("echo_ms p50=%.2f p99=%.2f max=%.2f join_ms_max=%.1f\n", at(0.5), at(0.99),
                l.empty() ? 0.0 : double(l.back()), joinMax);
    std::printf("out_of_order=%ld misattributed=%ld members_cut=%ld reconnects=%ld\n",
                totals.outOfOrder, totals.misattributed, totals.cut, totals.reconnects);
    if (o.hostile || o.flooders > 0) {
        const double perMember = members > 0 ? double(members) * seconds : 1;
        std::printf("others_per_member_s move=%.1f shoot=%.1f weapon=%.1f damage=%.1f "
                    "new_player=%.1f death=%.1f\n",
                    totals.hostileSeen[2] / perMember, totals.hostileSeen[3] / perMember,
                    totals.hostileSeen[4] / perMember, totals.hostileSeen[7] / perMember,
                    totals.hostileSeen[1] / perMember, totals.hostileSeen[5] / perMember);
    }
}

bool parse(int argc, char *argv[], Options &o)
{
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--hostile") {
            o.hostile = true;
            continue;
        }
        if (i + 1 >= argc)
            return false;
        const char *value = argv[++i];
        if (name == "--host")
            o.host = value;
        else if (name == "--port")
            o.port = std::atoi(value);
        else if (name == "--clients")
            o.clients = std::atoi(value);
        else if (name == "--rate")
            o.rate = std::atof(value);
        else if (name == "--seconds")
            o.seconds = std::atof(value);
        else if (name == "--burst")
            o.burst = std::atol(value);
        else if (name == "--line-bytes")
            o.lineBytes = std::atoi(value);
        else if (name == "--flooders")
            o.flooders = std::atoi(value);
        else if (name == "--idle")
            o.idle = std::atoi(value);
        else if (name == "--await-death")
            o.awaitDeath = std::atof(value);
        else
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    // A relay that cuts a client must not end the whole generator.
    std::signal(SIGPIPE, SIG_IGN);
    Options options;
    if (!parse(argc, argv, options)) {
        std::fprintf(stderr, "usage: vorlen-loadgen [--host A] [--port N] [--clients N] "
                             "[--rate R] [--seconds S] [--burst L] [--line-bytes B] "
                             "[--flooders K] [--hostile] [--idle N] [--await-death S]\n");
        return 2;
    }
    return LoadGen(options).run();
}
