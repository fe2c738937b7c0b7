#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the libFuzzer harnesses of tests/fuzz with clang (AddressSanitizer and
# UndefinedBehaviorSanitizer) in a build directory of their own, then runs every target for
# SECONDS each (default 60), one process at a time. Each run starts from the committed seeds,
# replays the saved crash inputs, and keeps what it learns in the build directory's corpus.
# An input that crashes is copied to tests/fuzz/crashes/<target>/. The last line of output is
# "N targets, M crashes".
#
# The harnesses run with a 16 MiB memory budget, which every reader's output and staging
# buffers are held to together. libFuzzer's malloc limit (64 MiB: well under what any header
# may claim, four times the budget) turns one allocation that a header sized past the budget
# into a crash, and its RSS limit (2048 MiB) catches many smaller ones held at once.
#
#   scripts/fuzz.sh [SECONDS] [TARGET[=SECONDS]...]
#
#   scripts/fuzz.sh                  every target for 60 s
#   scripts/fuzz.sh 600 tiff         one target for ten minutes
#   scripts/fuzz.sh 60 tiff=600 j2k  tiff for ten minutes, then j2k for one
#
# PIXMARKER_FUZZ_TARGET=list on the fuzzing program prints the target names.
# PIXMARKER_FUZZ_BUILD_DIR chooses the build directory (default build-fuzz); with
# PIXMARKER_BUILD_LOCK set, configuring and building wait for that lock file (flock).
# PIXMARKER_FUZZ_MALLOC_LIMIT_MB and PIXMARKER_FUZZ_RSS_LIMIT_MB replace the two limits.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
seconds=60
if [ $# -gt 0 ] && [[ "$1" =~ ^[0-9]+$ ]]; then
  seconds="$1"
  shift
fi
for arg in "$@"; do
  if [[ "$arg" == *=* && ! "${arg#*=}" =~ ^[0-9]+$ ]]; then
    echo "fuzz.sh: \"$arg\" is not TARGET=SECONDS" >&2
    exit 2
  fi
done
malloc_limit="${PIXMARKER_FUZZ_MALLOC_LIMIT_MB:-64}"
rss_limit="${PIXMARKER_FUZZ_RSS_LIMIT_MB:-2048}"
build="${PIXMARKER_FUZZ_BUILD_DIR:-$root/build-fuzz}"

"$root/scripts/deps.sh"

# clang with its libFuzzer runtime; on Debian 12 that is clang and libclang-rt-dev (14).
probe_dir="$(mktemp -d)"
trap 'rm -rf "$probe_dir"' EXIT
probe() {
  command -v clang++ >/dev/null 2>&1 &&
    printf 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }\n' |
      clang++ -x c++ -fsanitize=fuzzer,address,undefined - -o "$probe_dir/probe" >/dev/null 2>&1
}
if ! probe; then
  echo "Installing: clang libclang-rt-dev"
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends clang libclang-rt-dev
  probe || { echo "clang cannot build a libFuzzer program" >&2; exit 1; }
fi

lock=()
[ -n "${PIXMARKER_BUILD_LOCK:-}" ] && lock=(flock "$PIXMARKER_BUILD_LOCK")
"${lock[@]}" cmake -S "$root" -B "$build" -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPIXMARKER_FUZZ=ON -DPIXMARKER_BUILD_BENCHMARKS=OFF >/dev/null
"${lock[@]}" cmake --build "$build" --target pixmarker-fuzz
fuzzer="$build/tests/fuzz/pixmarker-fuzz"

if [ $# -gt 0 ]; then
  targets=("$@")
else
  mapfile -t targets < <(PIXMARKER_FUZZ_TARGET=list "$fuzzer")
fi

export QT_QPA_PLATFORM=offscreen
# Qt's offscreen platform and fontconfig keep objects until the process dies.
suppressions="$build/lsan.supp"
printf 'leak:libqoffscreen.so\nleak:libfontconfig.so\n' >"$suppressions"
export LSAN_OPTIONS="suppressions=$suppressions"

crashes=0
for entry in "${targets[@]}"; do
  target="${entry%%=*}"
  target_seconds="$seconds"
  [[ "$entry" == *=* ]] && target_seconds="${entry#*=}"
  corpus="$build/corpus/$target"
  artifacts="$build/artifacts/$target"
  mkdir -p "$corpus" "$artifacts"
  rm -f "$artifacts"/*
  inputs=("$corpus" "$root/tests/fuzz/seeds/$target")
  [ -d "$root/tests/fuzz/crashes/$target" ] && inputs+=("$root/tests/fuzz/crashes/$target")
  log="$build/$target.log"
  status=0
  PIXMARKER_FUZZ_TARGET="$target" nice -n 10 "$fuzzer" -max_total_time="$target_seconds" -timeout=25 \
    -rss_limit_mb="$rss_limit" -malloc_limit_mb="$malloc_limit" -print_final_stats=1 -artifact_prefix="$artifacts/" "${inputs[@]}" >"$log" 2>&1 ||
    status=$?
  runs="$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)"
  rate="$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)"
  found=0
  for artifact in "$artifacts"/crash-* "$artifacts"/leak-* "$artifacts"/timeout-* "$artifacts"/oom-*; do
    [ -e "$artifact" ] || continue
    found=$((found + 1))
    mkdir -p "$root/tests/fuzz/crashes/$target"
    cp "$artifact" "$root/tests/fuzz/crashes/$target/"
  done
  if [ "$status" -ne 0 ] && [ "$found" -eq 0 ]; then
    found=1 # died without leaving an input behind; the log tells why
  fi
  crashes=$((crashes + found))
  echo "$target: ${target_seconds} s, ${runs:-0} runs, ${rate:-0} per second, $found crashes (log: $log)"
done
echo "${#targets[@]} targets, $crashes crashes"
