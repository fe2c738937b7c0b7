#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Mutation sampling: how many small, bug-like changes of src/ the tests catch.
#
#   scripts/mutants.sh [N] [SEED] [COMMIT]      (defaults: 60 mutants, seed 1, HEAD)
#
# Prints one line per mutant (killed, survived or "no build", with the change) and ends with
# "score K/M killed". See scripts/mutants.py for how mutants are made and run.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/deps.sh"
exec python3 "$root/scripts/mutants.py" "$@"
