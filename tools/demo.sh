#!/usr/bin/env bash
# Tries the program on a synthetic radiograph: through every format and back, compared by checksum;
# then each operation, before and after side by side.
# Arguments: the program, the folder for the results.
set -euo pipefail
program=$(realpath "$1") folder=$2
mkdir -p "$folder"
cd "$folder"

lumo() { "$program" "$@"; }
checksum() { lumo info --json "$1" | sed -n 's/.*"crc32": "\(.*\)".*/\1/p'; }
say() { printf '\n== %s\n' "$*"; }

# made VERB IN OUT ...: replaces earlier results and remembers OUT for the next sheet.
pictures=()
made() { lumo "$@" --force && pictures+=("$3"); }
sheet() {
    lumo sheet "${pictures[@]}" "$@" --force
    echo "$folder/$1"
    pictures=()
}

say "a synthetic radiograph"
lumo phantom phantom.png --force
lumo info phantom.png

say "through every format and back"
original=$(checksum phantom.png)
previous=phantom.png
for next in by_xyz.xyz by_raw.raw by_png.png; do
    lumo convert "$previous" "$next" --force
    [ "$(checksum "$next")" = "$original" ] || { echo "$next: pixels differ"; exit 1; }
    echo "$next: the same pixels ($original)"
    previous=$next
done
lumo convert phantom.png by_xyz8.xyz --format xyz8 --force
[ "$(checksum by_xyz8.xyz)" != "$original" ]
echo "by_xyz8.xyz: 8-bit codes, other pixels as announced"

say "read, sharpen, turn, write as PNG, read back"
lumo filter by_xyz.xyz sharpened.png "type=unsharp_mask radius=0.5 value=2" --force
lumo rotate sharpened.png turned.png --quarter 90 --force
lumo info turned.png | head -n 5
lumo history turned.png

say "grey values"
lumo stats phantom.png --roi 200,200,290,360 --roi 440,860,480,960
lumo dose phantom.png
lumo histogram phantom.png --lo 10500 --hi 58000 --png histogram.png --force
lumo profile phantom.png --roi 0,640,1023,660 --axis x --png profile.png --force
echo "$folder/histogram.png, $folder/profile.png"
pictures=(phantom.png)
made window phantom.png windowed.png --mode sqrt --lo 9600 --hi 50000
made window phantom.png window_sigmoid.png --mode sigmoid --lo 9000 --hi 46000
made equalize phantom.png equalized.png --limits 5000,5000
made equalize phantom.png equalized_clipped.png --clipped --strength 50
made invert windowed.png inverted.png
sheet mapping.png --columns 3 --width 400

say "filters, a detail"
pictures=(windowed.png)
while read -r name command; do
    made filter windowed.png "filter_$name.png" "$command"
done <<'COMMANDS'
mean type=mean_filter size=7
median type=median_filter size=7
unsharp type=unsharp_mask radius=1 value=0.5
unsharp2 type=unsharp_mask2 radius=1 value=1
band type=gauss_fd ah0=0.2 fhp=0.1
band2 type=gauss_fd2 ab1=3 fbp0=1 fbp=1
equal type=histogramm_equal low=1 high=1
equal3 type=histogramm_equal3 np=50
COMMANDS
sheet filters.png --columns 3 --width 400 --roi 380,480,779,879

say "turns"
pictures=(windowed.png)
made rotate windowed.png rotate_quarter.png --quarter 90
made rotate windowed.png rotate_angle.png --angle 12.5
lumo rotate phantom.png straight.png --straighten --force
made window straight.png straightened.png --mode sqrt --lo 9600 --hi 50000
made mirror windowed.png mirrored.png --horizontal
made shear windowed.png sheared.png --angle 5
made crop windowed.png cropped.png --roi 180,120,760,980
made bin windowed.png binned.png --x 8 --y 8
sheet turns.png --columns 4 --width 320

say "a detector of uneven gain, corrected by its flat field"
lumo phantom exposure.png --detector flat.png --force
lumo calibrate create flat.png detector.cal --force
lumo calibrate apply detector.cal exposure.png corrected.png --force
noise() {  # deviation over mean where the beam met no object
    lumo stats "$1" --roi 200,200,290,360 --csv | awk -F, 'END {printf "%.4f", $NF / $(NF - 1)}'
}
echo "deviation / mean without object: $(noise exposure.png) before, $(noise corrected.png) after"
made window exposure.png exposure_windowed.png --lo 4000 --hi 32000 --invert
made window corrected.png corrected_windowed.png --lo 4000 --hi 32000 --invert
made deflash corrected_windowed.png deflashed.png --threshold 8000
sheet calibration.png --columns 3 --width 480 --roi 240,120,719,599

say "a chain, and the recipe that repeats it"
lumo run exposure.png chain.png "calibrate detector.cal" "rotate --straighten" "crop --roi 200,150,820,1000" \
    "filter type=unsharp_mask2 radius=0.5 value=1" "window --limits 1000,1000 --mode sqrt" --force
lumo history --recipe chain.png >recipe.txt
cat recipe.txt
lumo run exposure.png repeated.png --recipe recipe.txt --force >repeated.txt
[ "$(checksum chain.png)" = "$(checksum repeated.png)" ] || { echo "repeated.png: pixels differ"; exit 1; }
echo "repeated.png: the same pixels ($(checksum repeated.png))"

say "folders"
mkdir -p exposures
cp exposure.png flat.png exposures
lumo calibrate apply detector.cal --batch exposures --out corrected --json --force
echo "the flat field itself: $(noise flat.png) before, $(noise corrected/flat.png) after"

say "pictures from elsewhere"
lumo convert corrected.png detector.bin --format dump --force
lumo convert detector.bin imported.png --from dump --sidecar detector.ini --force
if lumo convert corrected.png corrected.tif --compression lzw --force 2>/dev/null; then
    lumo info corrected.tif | sed -n 1,4p
fi
