#!/usr/bin/env bash
# Puts Qt for Windows into the cache: unpacks a prebuilt archive if one lies in the folder "shared" beside the
# checkout and its sum holds, else builds it from Debian's source packages. With --build always builds.
. "$(dirname "$0")/common.sh"

archive=$project/../shared/qt-windows/$(basename "$qt").tar.xz

unpack() {
    [ -e "$archive" ] || return 1
    say "unpacking $(basename "$archive")"
    if ! (cd "$(dirname "$archive")" && sha256sum --quiet --check SHA256SUMS); then
        say "its sum is wrong: not used"
        return 1
    fi
    rm -rf "$qt.new" "$qt"
    mkdir "$qt.new"
    tar -xf "$archive" -C "$qt.new" --strip-components 1
    mv "$qt.new" "$qt"
}

lock_cache
if [ "${1:-}" = --build ]; then
    "$tools/enter" "$tools/build-qt.sh"
elif [ ! -e "$qt" ]; then
    unpack || "$tools/enter" "$tools/build-qt.sh"
fi
