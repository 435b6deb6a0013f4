#!/usr/bin/env bash
# Builds everything for Windows and runs the tests under Wine; inside the environment. Arguments go to ctest.
. "$(dirname "$0")/common.sh"
. "$tools/wine-environment.sh"
cd "$project"

export QT_TARGET_PATH=$qt
# Another Qt, another compiler: what was configured with the old one is of no use.
if ! grep -qs "^QT_TARGET_PATH:.*=$qt$" build/windows/CMakeCache.txt; then rm -rf build/windows; fi
if [ ! -e build/windows/build.ninja ]; then
    say "configuring build/windows"
    cmake --preset windows -DQT_TARGET_PATH="$qt" -Wno-dev >&2
fi
say "building build/windows"
cmake --build build/windows >&2
[ "${1:-}" != --build-only ] || exit 0

fresh_windows
export KV_WINEPREFIX=$WINEPREFIX
say "testing build/windows"
xvfb-run -a -s "-screen 0 1280x1024x24" "$tools/with-desktop" ctest --preset windows "$@"
