#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The size of the tests against the size of the program: non-blank lines of C++ (.cpp and .h)
# under tests/ over those under src/. With a percentage, fails when the ratio is above it.
#
#   scripts/test-ratio.sh [MAX_PERCENT]
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
count() { find "$1" \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 cat | grep -cv '^[[:space:]]*$'; }
src=$(count "$root/src")
tests=$(count "$root/tests")
percent=$(( (tests * 1000 / src + 5) / 10 ))
echo "tests $tests lines, src $src lines: $percent%"
if [ $# -gt 0 ] && [ "$percent" -gt "$1" ]; then
  echo "The tests are $percent% of the program's size, above the $1% allowed." >&2
  exit 1
fi
