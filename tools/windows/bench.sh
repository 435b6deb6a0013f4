#!/usr/bin/env bash
# Builds the benchmarks for Windows with optimisation and runs them one after the other under Wine; inside the
# environment. An argument is a pattern for the names of those to run.
. "$(dirname "$0")/common.sh"
. "$tools/wine-environment.sh"
cd "$project"
build=build/windows-bench

run_all() {
    local bench name code=0
    for bench in "$build"/bin/bench_*.exe; do
        name=$(basename "$bench" .exe)
        [[ $name =~ ${1:-.} ]] || continue
        say "running $name"
        "$tools/run-under-wine" "$bench" "$build/${name#bench_}.json" || code=1
    done
    return $code
}

# Called again by itself, below, once there is a screen.
if [ "${1:-}" = --on-screen ]; then
    run_all "${2:-}"
    exit
fi

export QT_TARGET_PATH=$qt
if ! grep -qs "^QT_TARGET_PATH:.*=$qt$" "$build/CMakeCache.txt"; then rm -rf "$build"; fi
if [ ! -e "$build/build.ninja" ]; then
    say "configuring $build"
    cmake --preset windows-bench -DQT_TARGET_PATH="$qt" -Wno-dev >&2
fi
say "building $build"
cmake --build "$build" >&2

fresh_windows
export KV_WINEPREFIX=$WINEPREFIX
xvfb-run -a -s "-screen 0 1280x1024x24" "$tools/with-desktop" "$tools/bench.sh" --on-screen "${1:-}"
