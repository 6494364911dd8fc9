#!/usr/bin/env bash
# Makes docs/images/effects.jpg, the picture of the README: eight looks, each on another plate, the first one beside its
# source. Needs a built program and oiiotool (Debian: openimageio-tools).
#
#     tools/readme_picture.sh [the program, default build/release/quillon]
set -euo pipefail
cd "$(dirname "$0")/.."
quillon=${1:-build/release/quillon}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# look NAME PLATE FRAME EFFECT ARGS...: a tile of a frame, or of the last one of several, rendered at the plate's size, or
# 1920x1080.
tiles=()
look() {
  local name=$1 plate=$2 frame=$3
  shift 3
  "$quillon" render "$@" -i "$plate" -f "$frame" -o "$work/$name.%d.png" -q
  tile "$work/$name.${frame##*-}.png"
}
tile() { tiles+=("$1" --ch R,G,B --resize:filter=lanczos3 640x360); }

plate() { # PLATE: its middle, in the shape of a tile
  oiiotool "examples/$1" --ch R,G,B --resize:filter=lanczos3 "$2" --cut "$3" --origin +0+0 -o "$work/$1.png"
}

tile examples/street.jpg
look rain examples/street.jpg 40 Rain --preset Squall
look snow examples/winter.jpg 60 Snow --preset Blizzard -p PreRoll=400 -p Lifetime=600 -p Left=-0.2,1.05 -p Right=1.2,1.05
look fireworks examples/launch.jpg 60 Fireworks --preset Celebration
look mosaic examples/trees.jpg 0 RomanTile --preset Pompeii
look geese examples/road.jpg 40 Flock --preset "Geese in Formation"
oiiotool examples/seeding.jpg --ch R,G,B --resize 1920x1080 -o "$work/meadow.png"
plate coffee.jpg 1920x1280 1920x1080+0+100
look blown examples/portrait.jpg 30 BitsFly --preset "Blown Away" -i Input2="$work/meadow.png"
look burn "$work/coffee.jpg.png" 21 Burn -p Direction="Top Right" -p Duration=20
oiiotool examples/hearth-fuel.png --resize 1920x1080 -o "$work/fuel.png"
look fire examples/hearth.jpg 0-70 Fire -i Input="$work/fuel.png" --preset Wilder -p Thresh=0.1
oiiotool --nosoftwareattrib "${tiles[@]}" --mosaic:pad=8 3x3 --quality 84 -o docs/images/effects.jpg
echo docs/images/effects.jpg
