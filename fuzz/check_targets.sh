#!/usr/bin/env bash
# Compares the list of fuzz targets with the programs in a build folder, and with the folders of
# saved inputs and seeds. Usage: check_targets.sh FOLDER
set -euo pipefail
list=$(dirname "$0")/targets.txt
built=$(cd "$1" && find . -maxdepth 1 -type f -name '*_fuzz' -perm -u+x | sed 's|^\./||' | sort)
diff "$list" - <<<"$built" || { echo "targets listed (<) and built (>) differ"; exit 1; }
while read -r target; do
    [ -n "$(ls -A "$1/seeds/$target")" ] || { echo "$target has no seeds"; exit 1; }
done <"$list"
for folder in "$(dirname "$0")"/corpus/*/; do
    grep -qx "$(basename "$folder")" "$list" || { echo "saved inputs of no target: $folder"; exit 1; }
done
