#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Runs the relay through every load case and prints one table row per case: the MTU of
# the link, delivery, loss, echo latency, cut clients, and the relay's peak memory and
# processor use.
#
#   bench/relay.sh                      # builds a Release relay into build-release
#   RELAY=/path/to/vorlen-server bench/relay.sh     # measures another relay build
#
# Uses TCP port 7300 on loopback. The cases on an Ethernet-sized link (MTU 1500) and
# the vanished-peer case need root (network namespaces); without it they are skipped.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ -z "${RELAY:-}" ]; then
    mapfile -t packages < tools/build-packages.txt
    tools/deps.sh "${packages[@]}" iproute2
    cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
    cmake --build build-release -j"$(nproc)" --target vorlen-server vorlen-loadgen >/dev/null
    RELAY=build-release/vorlen-server
fi
LOADGEN=${LOADGEN:-build-release/vorlen-loadgen}
[ -x "$LOADGEN" ] || cmake --build build-release --target vorlen-loadgen >/dev/null
port=7300
log=$(mktemp)
relay=
# A network namespace behind a veth pair: the far end of a link shaped like Ethernet.
ns=vorlen-bench-$$
host_link=vbh$$
cleanup_ns() {
    ip netns del "$ns" 2>/dev/null || true
    ip link del "$host_link" 2>/dev/null || true
}
trap 'rm -f "$log"; [ -z "$relay" ] || kill "$relay" 2>/dev/null || true; cleanup_ns' EXIT
make_ns() {
    ip netns add "$ns"
    ip link add "$host_link" mtu 1500 type veth peer name vbg$$ mtu 1500
    ip link set vbg$$ netns "$ns"
    ip addr add 10.77.0.1/24 dev "$host_link"
    ip link set "$host_link" up
    ip netns exec "$ns" ip addr add 10.77.0.2/24 dev vbg$$
    ip netns exec "$ns" ip link set vbg$$ up
    ip netns exec "$ns" ip link set lo up
}
# Where the load generator runs and what it connects to; the MTU of that link.
host=127.0.0.1
in_ns=()
mtu=$(cat /sys/class/net/lo/mtu)

# A relay without the limit options (an older build) gets only the port and address.
if "$RELAY" --help | grep -q -- --max-players; then limits=1; else limits=0; fi
relay_options() {
    local kept=() name
    while [ $# -gt 0 ]; do
        name=$1
        if [ "$limits" = 1 ] || [ "$name" = --listen ]; then kept+=("$1" "$2"); fi
        shift 2
    done
    echo "${kept[@]}"
}

start_relay() {
    # shellcheck disable=SC2046
    ${RELAY_WRAPPER:-} "$RELAY" --port "$port" $(relay_options "$@") \
        >/dev/null 2>"$log" &
    relay=$!
    for _ in $(seq 50); do grep -q "listening on" "$log" && return; sleep 0.1; done
    echo "relay did not start: $(cat "$log")" >&2
    exit 1
}
cpu_ticks() { awk '{print $14 + $15}' "/proc/$relay/stat"; }
stop_relay() {
    peak=$(awk '/VmHWM/ {printf "%.1f", $2 / 1024}' "/proc/$relay/status")
    logged=$(($(wc -c <"$log") / 1024))
    kill -TERM "$relay" 2>/dev/null || true
    wait "$relay" 2>/dev/null || true
    relay=
}
field() { grep -o "$1=[^ ]*" <<<"$2" | head -1 | cut -d= -f2; }

format='%-36s %6s %12s %8s %8s %8s %9s %5s %8s %6s %7s\n'
# shellcheck disable=SC2059
printf "$format" case mtu delivered/s lost p50_ms p99_ms max_ms cut rss_MB cpu_% log_kB
row() {
    local name=$1 out=$2 ticks=$3 seconds=$4
    # shellcheck disable=SC2059
    printf "$format" "$name" "$mtu" "$(field delivered_per_s "$out")" \
        "$(field lost "$out")" "$(field p50 "$out")" "$(field p99 "$out")" "$(field max "$out")" \
        "$(field members_cut "$out")" "$peak" "$(awk -v t="$ticks" -v s="$seconds" \
        'BEGIN {printf "%.0f", t / s}')" "$logged"
}
# name, relay options (pairs), "--", load generator options
run_case() {
    local name=$1 relay_opts=() out start ticks began
    shift
    while [ "$1" != -- ]; do relay_opts+=("$1"); shift; done
    shift
    start_relay "${relay_opts[@]}"
    ticks=$(cpu_ticks)
    began=$(date +%s.%N)
    out=$("${in_ns[@]}" "$LOADGEN" --host "$host" --port "$port" "$@")
    ticks=$(($(cpu_ticks) - ticks))
    local seconds
    seconds=$(awk -v a="$began" -v b="$(date +%s.%N)" 'BEGIN {print b - a}')
    stop_relay
    row "$name" "$out" "$ticks" "$seconds"
    [ -z "${VERBOSE:-}" ] || echo "$out"
}

open=(--line-rate 0 --max-per-address 0 --max-players 1000)
run_case "throughput, 16 clients flat out" "${open[@]}" -- --clients 16 --rate 0 --seconds 5
run_case "burst, 64 x 2000 lines" "${open[@]}" -- --clients 64 --burst 2000 --seconds 0
run_case "200 clients x 10 lines/s" --max-players 256 --max-per-address 0 -- \
    --clients 200 --rate 10 --seconds 10
run_case "flood by 1, 8 players at 10/s" -- --clients 8 --rate 10 --flooders 1 --seconds 10
run_case "flood by 3, unlimited, 8 at 10/s" "${open[@]}" -- \
    --clients 8 --rate 10 --flooders 3 --seconds 10
run_case "3000 connections, 32 players" --max-per-address 0 -- \
    --clients 32 --rate 10 --idle 3000 --seconds 5
run_case "hostile peer, 8 players at 5/s" -- --clients 8 --rate 5 --hostile --seconds 20

# At the descriptor limit: a few players are served while connections wait outside.
RELAY_WRAPPER="prlimit --nofile=64:64" start_relay --max-per-address 0 --max-players 1000
ticks=$(cpu_ticks)
began=$(date +%s.%N)
out=$("$LOADGEN" --port "$port" --clients 8 --rate 10 --idle 200 --seconds 10)
ticks=$(($(cpu_ticks) - ticks))
seconds=$(awk -v a="$began" -v b="$(date +%s.%N)" 'BEGIN {print b - a}')
after=$("$LOADGEN" --port "$port" --clients 1 --rate 1 --seconds 0.5)
stop_relay
row "descriptor limit, 8 + 200 waiting" "$out" "$ticks" "$seconds"
echo "  then a newcomer got its id in $(field join_ms_max "$after") ms"

if [ "$(id -u)" != 0 ]; then
    echo "MTU 1500 cases and vanished peer: skipped (need root for network namespaces)"
    exit 0
fi
make_ns
host=10.77.0.1
in_ns=(ip netns exec "$ns")
mtu=1500
# Every player sends one second of ordinary play at once, a bystander only reads.
run_case "burst, 60 x 30 lines of 250 B" --listen "$host" --max-per-address 0 -- \
    --clients 60 --burst 30 --line-bytes 250 --idle 1 --seconds 0

# A peer that vanishes without a word: its network link goes down under it.
start_relay --listen "$host"
"${in_ns[@]}" "$LOADGEN" --host "$host" --port "$port" --clients 1 --rate 1 \
    --seconds 120 >/dev/null &
victim=$!
sleep 2
ip netns exec "$ns" ip link set vbg$$ down
out=$("$LOADGEN" --host "$host" --port "$port" --await-death 60 || true)
kill "$victim" 2>/dev/null || true
wait "$victim" 2>/dev/null || true
stop_relay
echo "vanished peer: death announced after $(field after_s "$out") s (-1: never); rss ${peak} MB"
