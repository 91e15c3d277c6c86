#!/usr/bin/env bash
# Runs every fuzz target for some seconds, from the seeds and the saved inputs.
# Usage: tools/fuzz.sh SECONDS [TARGET...]. What a target has learnt stays in build/fuzz/learnt; an
# input that breaks something is left in build/fuzz/findings.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true

cmake -S . -B build/fuzz -G Ninja -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
    -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O2 -g1" -DLUMO_BUILD_FUZZ=ON \
    -DLUMO_BUILD_PROGRAM=OFF >/dev/null
cmake --build build/fuzz --target fuzz/all -- --quiet
fuzz/check_targets.sh build/fuzz/fuzz

# Small files come and go all the time: in memory, where there is such a folder.
memory=/dev/shm
[ -w $memory ] || memory=${TMPDIR:-/tmp}
TMPDIR=$(mktemp -d "$memory/lumo-fuzz.XXXXXX")
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT

mkdir -p build/fuzz/findings build/fuzz/logs
findings=0
printf '%-20s %8s %12s %10s  %s\n' target seconds executions a_second result
[ $# -gt 0 ] || mapfile -t targets <fuzz/targets.txt
for target in "$@" "${targets[@]}"; do
    learnt=build/fuzz/learnt/$target saved=fuzz/corpus/$target log=build/fuzz/logs/$target.txt
    folders=("$learnt" "build/fuzz/fuzz/seeds/$target")
    [ ! -d "$saved" ] || folders+=("$saved")
    mkdir -p "$learnt"
    result=clean
    UBSAN_OPTIONS=print_stacktrace=1 "build/fuzz/fuzz/$target" -max_total_time="$seconds" \
        -rss_limit_mb=2048 -malloc_limit_mb=256 -timeout=20 -print_final_stats=1 \
        -artifact_prefix="build/fuzz/findings/$target-" "${folders[@]}" >"$log" 2>&1 || result=FINDING
    statistic() { sed -n "s/^stat::$1: *//p" "$log"; }
    printf '%-20s %8s %12s %10s  %s\n' "$target" "$seconds" "$(statistic number_of_executed_units)" \
        "$(statistic average_exec_per_sec)" "$result"
    [ $result = clean ] || { findings=$((findings + 1)); tail -n 40 "$log"; }
done
[ $findings -eq 0 ]
