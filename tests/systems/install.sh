#!/bin/sh
# install.sh CMAKE BUILD PREFIX: what is installed below a prefix works from there, without symbols.
set -eu
cmake=$1 build=$2 prefix=$3

fail() { echo "$*"; exit 1; }

rm -rf "$prefix"
"$cmake" --install "$build" --prefix "$prefix"
bundle=$prefix/OFX/Plugins/Quillon.ofx.bundle/Contents
for file in Info.plist Resources/effects.json Resources/LICENSE Resources/licences.md Resources/CREDITS.md; do
    [ -s "$bundle/$file" ] || fail "$file is missing"
done
[ "$(env -i "$prefix/bin/quillon" list | wc -l)" -ge 58 ] || fail "the installed program does not find its bundle"
readelf -S "$bundle"/Linux-*/Quillon.ofx | grep -q '\.symtab' && fail "the library is not stripped"
rm -rf "$prefix"
