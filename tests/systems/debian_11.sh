#!/bin/sh
# debian_11.sh PROGRAMS BUNDLE ROOT: every effect gives the same picture here and in a root folder of Debian 11 (glibc
# 2.31), and says nothing on the standard error stream. The folder is made by debootstrap and kept. Exit code 77: it can't
# be had here.
set -eu
programs=$1 bundle=$2 root=$3

skip() { echo "Skipped: $*"; exit 77; }
fail() { echo "$*"; exit 1; }

"$programs/render_all" "$bundle" >"$root.here" 2>"$root.said"
[ "$(wc -l <"$root.here")" -ge 58 ] || fail "not all effects were rendered"
[ ! -s "$root.said" ] || fail "written to the host's standard error stream: $(head -3 "$root.said")"

[ "$(id -u)" -eq 0 ] || skip "a root folder of Debian 11 needs the rights of root"
if [ ! -e "$root/ready" ]; then
    command -v debootstrap >/dev/null || skip "debootstrap is not installed"
    rm -rf "$root"
    # The first stage is enough: packages unpacked, nothing of them run.
    timeout 600 debootstrap --foreign --variant=minbase bullseye "$root" http://deb.debian.org/debian >"$root.log" 2>&1 ||
        skip "debootstrap can't fetch Debian 11, see $root.log"
    rm -rf "$root/var/cache/apt/archives"
    chroot "$root" /bin/true || skip "programs can't be run in a root folder here"
    touch "$root/ready"
fi

rm -rf "$root/quillon"
mkdir "$root/quillon"
cp -R "$programs/render_all" "$programs/librender_all.so" "$bundle" "$root/quillon/"
# Without /proc the program does not know its own folder.
chroot "$root" /usr/bin/env LD_LIBRARY_PATH=/quillon /quillon/render_all /quillon/Quillon.ofx.bundle >"$root.there"
diff "$root.here" "$root.there" || fail "pictures of Debian 11 differ (>) from those of this system (<)"
echo "$(wc -l <"$root.here") pictures are the same"
