#!/usr/bin/env bash
# fuzz/run.sh BUILD SECONDS [FORMAT...]: runs each fuzzer for so many seconds on one core, from small pictures that
# `quillon convert` has made (build/release/quillon) and from what earlier runs have found. Ends with a table.
set -euo pipefail
build=$(realpath "$1") seconds=$2
shift 2
formats=("$@")
[ $# -gt 0 ] || formats=(tiff jpeg targa2 sgisgi sun gif cin rla tk7 softimage alias pixar yuv)
quillon=$(realpath "$(dirname "$0")/../build/release/quillon")
seeds=$build/seeds
mkdir -p "$seeds"

# A Sun raster file of 16 x 12 pixels, half of it flat and half as good as noise.
{ printf '\x59\xa6\x6a\x95\0\0\0\x10\0\0\0\x0c\0\0\0\x18\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0\0'
  head -c 288 /dev/zero | tr '\0' 'q'
  head -c 8000 "$quillon" | tail -c 288; } >"$seeds/source.ras"
for format in "${formats[@]}"; do
  folder=$build/corpus/$format
  mkdir -p "$folder"
  "$quillon" convert "$seeds/source.ras" "$folder/seed8" --format "$format" --compress
  "$quillon" convert "$seeds/source.ras" "$folder/seed16" --format "$format" --bits 16 2>/dev/null || true
  start=$SECONDS
  (cd "$build" && IMGIO_YUV_LINESIZE=16 "fuzz/fuzz_$format" -max_total_time="$seconds" -max_len=20000 -timeout=120 \
    -rss_limit_mb=3000 -print_final_stats=1 -artifact_prefix="$build/found-$format-" "$folder") \
    >"$build/$format.log" 2>&1 && state=clean || state=FOUND
  runs=$(sed -n 's/^stat::number_of_executed_units: //p' "$build/$format.log")
  echo "$format $((SECONDS - start)) s ${runs:-?} runs $state"
done
