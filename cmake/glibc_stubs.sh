#!/bin/sh
# glibc_stubs.sh READELF VERSION FOLDER LIBRARY...
#
# For each of the installed glibc's libraries (libc.so.6, libm.so.6, ...) writes FOLDER/<name>.s and FOLDER/<name>.map,
# from which a library is made that has nothing behind its names, to link against in place of the real one. It holds
# every symbol under the newest version that glibc VERSION has too. What came later is missing, so that using it is an
# error of the linker. Functions that glibc has moved into libc.so.6 since then go back to libpthread.so.0,
# libdl.so.2 and librt.so.1, where older systems have them.
set -eu
readelf=$1 version=$2 folder=$3
shift 3
mkdir -p "$folder"

# Name, version and kind of each symbol, by library.
symbols() {
    LC_ALL=C "$readelf" -W --dyn-syms "$@" | LC_ALL=C awk -v highest="GLIBC_$version" '
        function number(version,    part) {  # GLIBC_2.2.5 gives 2002005
            split(version, part, /[_.]/)
            return part[2] * 1000000 + part[3] * 1000 + part[4]
        }
        function home(symbol) {
            if (symbol ~ /^(__)?(pthread|sem)_/) return "libpthread.so.0"
            if (symbol ~ /^dl/) return "libdl.so.2"
            if (symbol ~ /^(aio|lio|mq|shm|timer)_/) return "librt.so.1"
            return "libc.so.6"
        }
        /^File: / { library = $2; sub(/.*\//, "", library) }
        # Versions themselves are absolute symbols, to which some readelf programs add a version.
        $7 != "UND" && $7 != "ABS" && $8 ~ /@GLIBC_[0-9]/ {
            at = index($8, "@")
            key = library " " substr($8, 1, at - 1)
            version = substr($8, at)
            usual = sub(/^@@/, "", version)
            sub(/^@/, "", version)
            value = number(version)
            if (value > number(highest)) { if (usual) moved[key] = 1 }
            else if (value > best[key]) {
                best[key] = value
                text[key] = version " " ($4 == "OBJECT" || $4 == "TLS" ? "object" : "function")
            }
        }
        END {
            for (key in text) {
                split(key, part, " ")
                print (key in moved && part[1] == "libc.so.6" ? home(part[2]) : part[1]), part[2], text[key]
            }
        }'
}

symbols "$@" | LC_ALL=C sort -u >"$folder/symbols"
for library in "$@"; do
    name=$(basename "$library")
    awk -v name="$name" 'BEGIN { print ".data" }
        $1 == name { printf ".globl %s\n.type %s, %%%s\n%s: .quad 0\n.size %s, 8\n", $2, $2, $4, $2, $2 }
        END { print ".section .note.GNU-stack, \"\", %progbits" }' "$folder/symbols" >"$folder/$name.s"
    awk -v name="$name" '$1 == name { nodes[$3] = nodes[$3] " " $2 ";" }
        END { for (node in nodes) print node " {" nodes[node] " };" }' "$folder/symbols" >"$folder/$name.map"
done
