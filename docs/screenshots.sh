#!/bin/sh
# Takes the screenshots in docs/, each from a real run of the program under a virtual X
# display, on data built here: the folders of a user's games, pictures and PSP, the
# settings file (written by ebootforge-cli settings set, as a user would), the pictures and
# manual pages (ImageMagick); the screenshot program adds the disc images, starts the main
# window from that settings file with a disc on its command line, and takes each window as a
# user reaches it (see screenshots.cpp).
#   docs/screenshots.sh [build folder]
set -eu
here=$(cd "$(dirname "$0")" && pwd)
build=${1:-"$here/../build"}
# A fixed place, so that the paths the windows show stay the same from one refresh to the
# next; it is removed at the end.
data=/tmp/ebootforge-docs
rm -rf "$data"
trap 'rm -rf "$data"' EXIT
mkdir -p "$data/Games" "$data/Pictures" "$data/Scans" "$data/PSP/GAME" \
  "$data/media/PSP/PSP/GAME" "$data/media/CARD" "$data/Resources/SLUS-99901"
cmake --build "$build" --target ebf_screenshots ebf_runtime_tree ebootforge-cli

ini=$data/ebootforge.ini
for setting in "DefaultImagePath $data/Games" "DefaultOutputDir $data/PSP/GAME" \
  "DefaultOutDirOpt 2" "DefaultCustDir $data/Pictures" "CompressLevel 9" "ImgResMode 3" \
  "PreviewDelay 1500" "ResourceRoot $data/Resources"; do
  # shellcheck disable=SC2086
  "$build/bin/ebootforge-cli" --quiet settings set ${setting%% *} "${setting#* }" --ini "$ini" \
    >/dev/null
done

# The menu icon, a night picture for the background, four pages of a manual.
convert -size 144x80 gradient:'#0b1d3a-#2e6a9a' -fill '#f4e9c1' -draw 'circle 112,24 112,10' \
  -fill '#06101f' -draw 'rectangle 0,62 143,79' -fill '#f4e9c1' -draw 'rectangle 96,66 128,68' \
  "$data/Pictures/harbour-icon.png"
convert -size 480x272 gradient:'#050b18-#1d3f66' -fill '#f4e9c1' -draw 'circle 370,70 370,40' \
  -fill '#04080f' -draw 'rectangle 0,200 479,271' -fill '#e8d9a8' \
  -draw 'rectangle 320,212 420,215' -draw 'rectangle 340,226 400,228' \
  -fill '#0a1424' -draw 'polygon 40,200 70,150 120,150 150,200' \
  -quality 90 "$data/Pictures/harbour-night.jpg"
# The game's own banner in the user's resource folder, found by its ID.
convert -size 310x180 gradient:'#14324f-#3d7fb0' -fill '#f4e9c1' -draw 'rectangle 20,70 290,110' \
  "$data/Resources/SLUS-99901/PIC0.png"
for page in 1 2 3 4; do
  ext=png
  [ "$page" -gt 2 ] && ext=jpg
  lines=""
  for y in 60 80 100 120 140 160 180 200 220; do
    lines="$lines rectangle 40,$y $((300 + (y * page * 7) % 140)),$((y + 6))"
  done
  convert -size 480x272 xc:'#f7f3ea' -fill '#1d3f66' -draw "rectangle 40,24 $((200 + page * 30)),40" \
    -fill '#8a8a8a' -draw "$lines" "$data/Scans/harbour-manual-0$page.$ext"
done

xvfb-run -a -s "-screen 0 1280x1024x24" \
  "$build/docs/ebf_screenshots" "$build/bin" "$here" "$data"
echo "screenshots written to $here"
