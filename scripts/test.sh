#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what is missing, builds a Debug build with AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs every test headless.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/deps.sh"
build="${PIXMARKER_TEST_BUILD_DIR:-$root/build-test}"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DPIXMARKER_SANITIZE=ON \
      -DPIXMARKER_WERROR=ON -DPIXMARKER_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$build"
export QT_QPA_PLATFORM=offscreen
cd "$build"
ctest --output-on-failure -j"$(nproc)" "$@"
