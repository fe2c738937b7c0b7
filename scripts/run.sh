#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what is missing, builds a Release build and starts Pixmarker.
# Arguments are passed on to the program; with none it opens the sample project in examples/
# (two images, four labels, a shape of every kind and a loaded mask).
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/deps.sh"
build="${PIXMARKER_BUILD_DIR:-$root/build-release}"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
cmake --build "$build" --target pixmarker
if [ $# -eq 0 ]; then
  # The sample project names its files relative to its own folder.
  cd "$root/examples"
  set -- sample_project.json
fi
exec "$build/src/pixmarker" "$@"
