#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Builds the evening benchmark as a release build and runs it: offscreen by default,
# or with --xcb on a private Xvfb display, as a desktop would draw it.
# Usage: bench/evening.sh [--xcb] [--seconds N] [--visits N]
set -euo pipefail
cd "$(dirname "$0")/.."

platform=offscreen
if [ "${1:-}" = --xcb ]; then
    platform=xcb
    shift
fi
mapfile -t packages < tools/build-packages.txt
tools/deps.sh "${packages[@]}" fonts-dejavu-core xvfb xauth
cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
cmake --build build-release -j"$(nproc)" --target vorlen-eveningbench
if [ "$platform" = xcb ]; then
    QT_QPA_PLATFORM=xcb xvfb-run -a -s "-screen 0 1280x800x24" \
        build-release/vorlen-eveningbench "$@"
else
    QT_QPA_PLATFORM=offscreen build-release/vorlen-eveningbench "$@"
fi
