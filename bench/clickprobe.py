#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Right-clicks in the game client's window every half second and times each click
until the client's move line reaches another player on the relay; samples the
client's memory every 10 s. Used by bench/hostile-client.sh, which has started the
relay on 127.0.0.1:7000 and the client, already in the arena, on $DISPLAY.

    clickprobe.py CLIENT_PID SECONDS [HOSTILE PEER COMMAND...]
"""

import socket
import statistics
import subprocess
import sys
import threading
import time

client_pid, seconds, hostile = int(sys.argv[1]), float(sys.argv[2]), sys.argv[3:]


class Observer:
    """A second player that only listens, noting when the client's moves arrive."""

    def __init__(self):
        self.sock = socket.create_connection(("127.0.0.1", 7000), timeout=10)
        self.lines = self.sock.makefile("rb")
        self.client_id = None
        while self.client_id is None:
            # The relay introduces the players already in: only the client so far.
            type_, fields = self.parse(self.lines.readline())
            if type_ == b"1":
                self.client_id = fields[0]
        self.sock.settimeout(None)  # quiet spells are normal from here on
        self.arrivals = []
        self.cond = threading.Condition()
        self.others = 0
        self.client_died = False
        threading.Thread(target=self.read, daemon=True).start()

    @staticmethod
    def parse(line):
        type_, _, rest = line.rstrip(b"\n").partition(b"x")
        return type_, rest.split(b";")

    def read(self):
        for line in self.lines:
            now = time.monotonic()
            type_, fields = self.parse(line)
            with self.cond:
                if fields[0] != self.client_id:
                    self.others += 1
                elif type_ == b"2":
                    self.arrivals.append(now)
                    self.cond.notify()
                elif type_ == b"5":
                    self.client_died = True

    def report_position(self):
        """What every living player sends every 4 s; the relay cuts a silent one."""
        self.sock.sendall(b"9x0;100;100\n")

    def moves(self):
        with self.cond:
            return len(self.arrivals)

    def wait_move(self, count, timeout):
        """When the move after the first count ones came, or None."""
        with self.cond:
            self.cond.wait_for(lambda: len(self.arrivals) > count, timeout)
            return self.arrivals[count] if len(self.arrivals) > count else None


def rss_mb():
    with open("/proc/%d/status" % client_pid) as f:
        kb = next(int(l.split()[1]) for l in f if l.startswith("VmRSS:"))
    return kb / 1024


observer = Observer()
peer = subprocess.Popen(hostile, stdout=subprocess.DEVNULL) if hostile else None
begin = time.monotonic()
rss = [rss_mb()]
delays, lost, click_tools = [], 0, []
spots = [(300, 350), (500, 250)]  # two spots, so that every click is a step
next_report = begin
while time.monotonic() - begin < seconds:
    if time.monotonic() >= next_report:
        observer.report_position()
        next_report += 4
    due = begin + 0.5 * (len(delays) + lost + 1)
    seen = observer.moves()
    clicked = time.monotonic()
    x, y = spots[(len(delays) + lost) % 2]
    subprocess.run(["xdotool", "mousemove", str(x), str(y), "click", "3"], check=True)
    click_tools.append(time.monotonic() - clicked)
    arrived = observer.wait_move(seen, max(due - time.monotonic(), 0.45))
    if arrived is None:
        lost += 1
    else:
        delays.append(arrived - clicked)
    if len(rss) <= (time.monotonic() - begin) // 10 < seconds // 10:
        rss.append(rss_mb())
    time.sleep(max(due - time.monotonic(), 0))
rss.append(rss_mb())
elapsed = time.monotonic() - begin
if peer:
    peer.wait()

ms = sorted(d * 1000 for d in delays)
at = lambda q: ms[int(q * (len(ms) - 1))] if ms else float("nan")
print("clicks=%d arrived=%d late_or_lost=%d client_died=%s" % (
    len(delays) + lost, len(delays), lost, observer.client_died))
print("click_to_arrival_ms p50=%.1f p99=%.1f max=%.1f (xdotool itself: median %.1f ms)" % (
    at(0.5), at(0.99), ms[-1] if ms else float("nan"),
    statistics.median(click_tools) * 1000))
print("rss_mb " + " ".join("%.1f" % r for r in rss) + "  growth=%.1f" % (rss[-1] - rss[0]))
print("other_players_lines_per_s=%.0f (what the relay passed on to the client too)" % (
    observer.others / elapsed))
