#!/bin/sh
# Builds the fuzz targets with clang in build-fuzz/, replays the kept inputs of
# tests/fuzz/regressions/ through them, and runs each for a short while (FUZZ_SECONDS,
# default 12) or for a number of executions (FUZZ_RUNS), then prints one line per target:
# executions, coverage (edges, features) and crashes. Seeds are the kept inputs and, when it is installed, pictures from
# ImageMagick. Exits non-zero when a kept input fails or a target finds a crash; the
# crashing input is left in build-fuzz/fuzz/ (add it to make_regressions.py once fixed).
set -eu
cd "$(dirname "$0")/../.."
if ! command -v clang++ >/dev/null 2>&1; then
  echo "clang++ not found: fuzzing skipped"
  exit 0
fi
SECONDS_EACH=${FUZZ_SECONDS:-12}
BUILD=build-fuzz
# Undefined behaviour stops the run like a crash, so the fuzzers and the replay report it.
SAN="-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer"
CC=clang CXX=clang++ cmake -S . -B "$BUILD" -DEBF_BUILD_GUI=OFF -DEBF_BUILD_BENCH=OFF \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_FLAGS="$SAN" -DCMAKE_CXX_FLAGS="$SAN" >/dev/null
TARGETS="bmp ico document_dat disc_sheets chd ecm package sfo iso_game_id game_list dat ppf ips bps vcdiff"
cmake --build "$BUILD" -j2 --target $(for t in $TARGETS; do printf 'fuzz_%s ' "$t"; done) >/dev/null

CORPUS="$BUILD/fuzz/corpus"
for t in $TARGETS; do mkdir -p "$CORPUS/$t"; done
if command -v convert >/dev/null 2>&1 && [ ! -e "$CORPUS/bmp/seeded" ]; then
  convert -size 7x5 gradient:red-blue "$CORPUS/src.png" || true
  convert "$CORPUS/src.png" bmp3:"$CORPUS/bmp/b24.bmp" || true
  convert "$CORPUS/src.png" -colors 16 -compress none bmp3:"$CORPUS/bmp/b4.bmp" || true
  convert "$CORPUS/src.png" -type palette -compress RLE bmp3:"$CORPUS/bmp/rle8.bmp" || true
  convert "$CORPUS/src.png" -monochrome bmp3:"$CORPUS/bmp/b1.bmp" || true
  convert "$CORPUS/src.png" -define bmp:subtype=RGB565 bmp3:"$CORPUS/bmp/b16.bmp" || true
  convert "$CORPUS/src.png" -alpha set bmp:"$CORPUS/bmp/b32.bmp" || true
  convert "$CORPUS/src.png" bmp2:"$CORPUS/bmp/os2.bmp" || true
  convert "$CORPUS/src.png" -define icon:auto-resize=32,16 ico:"$CORPUS/ico/a.ico" || true
  convert "$CORPUS/src.png" cur:"$CORPUS/ico/a.cur" || true
  convert "$CORPUS/src.png" -resize 256x256! ico:"$CORPUS/ico/png.ico" || true
  touch "$CORPUS/bmp/seeded"
  rm -f "$CORPUS/src.png"
fi
# DOCUMENT.DAT, sheets (the first byte picks the parser: 0 CUE, 1 CloneCD, 2 MDS) and the
# rest are seeded from their kept inputs alone.

status=0
echo "== replaying tests/fuzz/regressions"
ctest --test-dir "$BUILD" -R '^fuzz_regressions_' --output-on-failure || status=1

REGRESSIONS="$(pwd)/tests/fuzz/regressions"
if [ -n "${FUZZ_RUNS:-}" ]; then
  LIMIT="-runs=$FUZZ_RUNS"
  echo "== each target for $FUZZ_RUNS executions"
else
  LIMIT="-max_total_time=$SECONDS_EACH"
  echo "== each target for ${SECONDS_EACH}s"
fi
summary=""
for target in $TARGETS; do
  log="$BUILD/fuzz/$target.log"
  crashes=0
  if ! (cd "$BUILD/fuzz" && ./fuzz_$target $LIMIT -max_len=65536 \
      -rss_limit_mb=1024 -print_final_stats=1 "corpus/$target" "$REGRESSIONS/$target" \
      >"$target.log" 2>&1); then
    tail -n 40 "$log"
    echo "fuzz_$target found a crash: see $log and the crash-* file in $BUILD/fuzz/"
    crashes=1
    status=1
  fi
  execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  cov=$(grep -Eo 'cov: [0-9]+ ft: [0-9]+' "$log" | tail -n 1)
  summary="$summary$(printf '%-13s execs %-9s %-22s crashes %s' "$target" "${execs:-?}" "${cov:-cov: ?}" "$crashes")
"
done
echo "== summary"
printf '%s' "$summary"
exit $status
