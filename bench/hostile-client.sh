#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Measures the real game client on a relay beside a hostile peer: how long its
# clicks take to reach the other players, and how much memory it gains.
#
#   bench/hostile-client.sh                # 60 s with no hostile peer, then 60 s with one
#   bench/hostile-client.sh --seconds 20   # shorter spans
#
# Builds a Release client, relay and load generator into build-release, then runs each
# case on a fresh relay and client under a private Xvfb display. A listening socket
# stands in for a second player and timestamps the client's move lines as the relay
# passes them on; every half second the script right-clicks in the client's window.
# The client connects to 127.0.0.1:7000: as root the run takes its own network
# namespace, otherwise that port must be free.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=60
while [ $# -gt 0 ]; do
    case $1 in
    --seconds) seconds=$2; shift 2 ;;
    *) echo "usage: bench/hostile-client.sh [--seconds S]" >&2; exit 2 ;;
    esac
done

if [ -z "${VORLEN_IN_NAMESPACE:-}" ]; then
    mapfile -t packages < tools/build-packages.txt
    tools/deps.sh "${packages[@]}" xvfb xdotool python3 qt6-qpa-plugins fonts-dejavu-core
    cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
    cmake --build build-release -j"$(nproc)" --target vorlen vorlen-server vorlen-loadgen >/dev/null
    if [ "$(id -u)" = 0 ]; then
        exec unshare -n env VORLEN_IN_NAMESPACE=1 "$0" --seconds "$seconds"
    fi
fi
[ "$(id -u)" != 0 ] || ip link set lo up

work=$(mktemp -d)
pids=()
cleanup() {
    local pid
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

# Xvfb picks a free display number and writes it to the file.
Xvfb -displayfd 9 -screen 0 800x600x24 -nolisten tcp 9>"$work/display" 2>/dev/null &
pids+=($!)
for _ in $(seq 50); do [ -s "$work/display" ] && break; sleep 0.1; done
export DISPLAY=:$(cat "$work/display") QT_QPA_PLATFORM=xcb
unset WAYLAND_DISPLAY

# name, seconds, relay options, "--", then "hostile" for a hostile peer
run_case() {
    local name=$1 span=$2 relay_opts=() relay client
    shift 2
    while [ "$1" != -- ]; do relay_opts+=("$1"); shift; done
    shift
    build-release/vorlen-server "${relay_opts[@]}" 2>"$work/relay.log" &
    relay=$!
    pids+=("$relay")
    for _ in $(seq 50); do grep -q "listening on" "$work/relay.log" && break; sleep 0.1; done
    # The client logs every line it receives: part of its cost, so it stays on.
    build-release/vorlen >/dev/null 2>&1 &
    client=$!
    pids+=("$client")
    xdotool search --sync --onlyvisible --name '^vorlen$' >/dev/null
    sleep 1
    xdotool mousemove 400 288 click 1 # Wejdź na arenę
    sleep 1
    echo "== $name, $span s"
    [ $# = 0 ] || set -- build-release/vorlen-loadgen --clients 0 --hostile --seconds "$span"
    python3 bench/clickprobe.py "$client" "$span" "$@"
    kill "$client" "$relay" 2>/dev/null || true
    wait "$client" "$relay" 2>/dev/null || true
    awk '/kept sending/ {cut++} /^refused/ {refused += $2}
         END {printf "relay: cut the hostile peer %d times, refused %d of its reconnections\n",
              cut, refused}' "$work/relay.log"
}

run_case "no hostile peer" "$seconds" --
run_case "hostile peer" "$seconds" -- hostile
# Without the relay's limits every hostile line reaches the client, which then gains
# hundreds of megabytes within seconds: kept short. The observer, reading the same
# flood, adds its own lag to these delays.
run_case "hostile peer, relay limits off" "$((seconds < 10 ? seconds : 10))" \
    --line-rate 0 --max-per-address 0 -- hostile
