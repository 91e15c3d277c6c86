#!/usr/bin/env bash
# Tries the program on a synthetic radiograph: through every format and back, compared by checksum.
# Arguments: the program, the folder for the results.
set -euo pipefail
lumo=$1 folder=$2
mkdir -p "$folder"

checksum() { "$lumo" info --json "$1" | sed -n 's/.*"crc32": "\(.*\)".*/\1/p'; }

say() { printf '\n== %s\n' "$*"; }

say "a synthetic radiograph"
"$lumo" phantom "$folder/phantom.png" --force
"$lumo" info "$folder/phantom.png"

say "through every format and back"
original=$(checksum "$folder/phantom.png")
previous=phantom.png
for next in by_xyz.xyz by_raw.raw by_png.png; do
    "$lumo" convert "$folder/$previous" "$folder/$next" --force
    [ "$(checksum "$folder/$next")" = "$original" ] || { echo "$next: pixels differ"; exit 1; }
    echo "$next: the same pixels ($original)"
    previous=$next
done
"$lumo" convert "$folder/phantom.png" "$folder/by_xyz8.xyz" --format xyz8 --force
[ "$(checksum "$folder/by_xyz8.xyz")" != "$original" ]
echo "by_xyz8.xyz: 8-bit codes, other pixels as announced"

say "its history"
"$lumo" history "$folder/by_png.png"
"$lumo" history "$folder/phantom.png"

say "pictures to look at"
"$lumo" preview "$folder/phantom.png" "$folder/preview.png" --force
"$lumo" preview "$folder/by_xyz8.xyz" "$folder/preview_8bit.png" --force
echo "$folder/preview.png, $folder/preview_8bit.png"
