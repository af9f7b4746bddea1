#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Builds the flight benchmark as a release build and runs it over every load,
# beside the figures of the build before the flight was made cheap.
# Usage: bench/flight.sh [--seconds N] [--save FILE]
# The benchmark serves the client on 127.0.0.1:7000 itself: stop a relay running there.
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t packages < tools/build-packages.txt
tools/deps.sh "${packages[@]}" fonts-dejavu-core
cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
cmake --build build-release -j"$(nproc)" --target vorlen-flightbench
build-release/vorlen-flightbench --baseline bench/flight-baseline.txt "$@"
