#!/usr/bin/env bash
# Installs into a folder of its own and builds programs outside the tree against it, by CMake package
# and by pkg-config; the headers must compile alone. Arguments: build folder, source folder.
set -euo pipefail
build=$1 source=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
prefix=$folder/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
export PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name lumo.pc)")
export LD_LIBRARY_PATH=$prefix/lib:$prefix/lib64:$(dirname "$(find "$prefix" -name liblumo.so)")
export ORVEL_LOG_DIR=$folder

for header in lumo.h lumo_legacy.h lumo_steps.h lumo_quality.h; do
    for compiler in gcc clang-14; do
        command -v $compiler >/dev/null || continue
        echo "#include <$header>" >"$folder/alone.c"
        $compiler -std=c11 -pedantic-errors -Wall -Wextra -Werror -I"$prefix/include" -c "$folder/alone.c" -o "$folder/alone.o"
        $compiler -x c++ -std=c++20 -pedantic-errors -Wall -Wextra -Werror -I"$prefix/include" -c "$folder/alone.c" -o "$folder/alone.o"
    done
done

# The README's own program, in C; and a C++ one that uses a function of C++ linkage.
mkdir "$folder/consumer"
awk '/^```c$/ {inside = 1; next} /^```/ {inside = 0} inside' "$source/README.md" >"$folder/consumer/first.c"
cat >"$folder/consumer/second.cpp" <<'CPP'
#include <lumo_legacy.h>
#include <lumo_steps.h>
#include <cstdlib>
#include <cstring>
int main(int, char** arguments) {
    if (std::strstr(LumoGetVersion(), "libpng") == nullptr || LumoCountSteps() < 1) return 1;
    auto* pixels = static_cast<uint16_t*>(std::calloc(6, 2));
    const int code = WriteImageRot({3, 2, pixels}, arguments[1], 90);
    std::free(pixels);
    return code;
}
CPP
cat >"$folder/consumer/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(Consumer C CXX)
find_package(Lumo 2.3 REQUIRED)
add_executable(first first.c)
add_executable(second second.cpp)
target_link_libraries(first Lumo::lumo)
target_link_libraries(second Lumo::lumo)
CMAKE
cmake -S "$folder/consumer" -B "$folder/consumer/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$folder/consumer/build" >/dev/null
"$folder/consumer/build/second" "$folder/a.raw"
cc "$folder/consumer/first.c" $(pkg-config --cflags --libs lumo) -o "$folder/first"
c++ -std=c++20 "$folder/consumer/second.cpp" $(pkg-config --cflags --libs lumo) -o "$folder/second"
"$folder/second" "$folder/a.raw"
[ "$(pkg-config --modversion lumo)" = 2.3.0 ]
for program in "$folder/consumer/build/first" "$folder/first"; do
    # A name without any '.', folders included, asks for no information file.
    mv "$folder/a.raw" "$folder/plain"
    (cd "$folder" && "$program" plain b.png)
    [ -s "$folder/b.png" ]
    if "$program" "$folder/missing" "$folder/c.png" 2>/dev/null; then exit 1; fi
    mv "$folder/plain" "$folder/a.raw"
    rm -f "$folder/b.png"
done
if [ -x "$prefix/bin/lumo" ]; then env -u LD_LIBRARY_PATH "$prefix/bin/lumo" --version >/dev/null; fi
echo "installed and used"
