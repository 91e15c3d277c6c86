#!/usr/bin/env bash
# Formatting, warnings of gcc and clang as errors, static analysis and the house's own rules.
set -euo pipefail
cd "$(dirname "$0")/.."

echo "== formatting"
git ls-files '*.cpp' '*.h' '*.c' | xargs clang-format-14 --dry-run --Werror

echo "== house rules"
python3 tools/house_rules.py

# Without ISA-L once, so that this build of the library cannot rot.
for compiler in g++ clang++-14; do
    echo "== warnings of $compiler"
    isal=$([ "$compiler" = g++ ] && echo OFF || echo ON)
    directory=build/lint-$compiler
    cmake -S . -B "$directory" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DLUMO_BUILD_TESTS=ON -DLUMO_WITH_ISAL="$isal" \
        -DLUMO_WARNINGS_AS_ERRORS=ON -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O1 >/dev/null
    cmake --build "$directory" -- --quiet
done

echo "== static analysis"
# The library; in the program and its helpers, the headers of others would take most of the time.
git ls-files '*.cpp' ':!tests' ':!fuzz' ':!bench' ':!cli' ':!interchange' |
    xargs -P "$(nproc)" -n 4 clang-tidy-14 --quiet --warnings-as-errors='*' -p build/lint-clang++-14 2>&1 |
    { grep -vE '^[0-9]+ warnings? (generated|treated)|^Suppressed|^Use -header-filter' || true; } |
    tee build/lint-tidy.txt
if grep -q ' error: ' build/lint-tidy.txt; then exit 1; fi

echo "== reference pages"
cmake --build build/lint-g++ --target reference >/dev/null
echo "lint: clean"
