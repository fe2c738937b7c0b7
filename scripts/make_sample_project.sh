#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Regenerates examples/sample_project.json and its generated files (the 3D volume and the
# coins' label mask) with examples/make_sample_project.cpp, built against the program's library.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${PIXMARKER_BUILD_DIR:-$root/build-release}"
"$root/scripts/deps.sh"
if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
fi
cmake --build "$build" --target pixmarker_core
generator="$build/make_sample_project"
# shellcheck disable=SC2046
c++ -std=c++17 -O1 -fPIC -I"$root/src" "$root/examples/make_sample_project.cpp" -o "$generator" \
    $(pkg-config --cflags --libs Qt5Widgets Qt5Gui Qt5Core) -L"$build/src" -lpixmarker_core \
    -Wl,-rpath,"$build/src"
"$generator" "$root/examples"
