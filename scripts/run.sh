#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what is missing, builds a Release build and starts Pixmarker.
# Arguments are passed on to the program; with none it opens the bundled sample image.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/deps.sh"
build="${PIXMARKER_BUILD_DIR:-$root/build-release}"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
cmake --build "$build" --target pixmarker
if [ $# -eq 0 ]; then
  set -- "$root/examples/sample.png"
fi
exec "$build/src/pixmarker" "$@"
