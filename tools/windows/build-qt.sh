#!/usr/bin/env bash
# Builds Qt for Windows from Debian 13's source packages; runs inside the environment. Takes the better part of an hour
# on two cores, although several sources are compiled at once. An interrupted run goes on where it was: Ninja knows what
# is built.
. "$(dirname "$0")/common.sh"

work=$KV_CACHE/qt-build
toolchain=$project/cmake/toolchains/mingw-w64.cmake
common=(-G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel -DBUILD_SHARED_LIBS=ON -DQT_BUILD_EXAMPLES=OFF -DQT_BUILD_TESTS=OFF
    -DQT_BUILD_DOCS=OFF -DQT_GENERATE_SBOM=OFF -DQT_UNITY_BUILD=ON -DQT_UNITY_BUILD_BATCH_SIZE=16
    -DQT_HOST_PATH=/usr -DQT_HOST_PATH_CMAKE_DIR=/usr/lib/x86_64-linux-gnu/cmake)

# Debian's source archives, with the sums that they had when this was written.
declare -A sums=(
    [qt6-base]=e0dddfea4dabb8ae4ad9224d674bef21cd101a6a5126fe988e3af69b251260b8
    [qt6-declarative]=1a1ba5ca63ce147ccf172736173af23d6fac4dc1bfdc5eb8fd61f1a5bde8c47a
)

# apt with lists of its own that name source packages: the system's lists stay as they are.
source_apt() {
    local program=$1
    shift
    "$program" -o Dir::Etc::SourceParts=/dev/null -o Dir::Etc::SourceList="$work/apt/sources.list" \
        -o Dir::State::Lists="$work/apt/lists" -o Dir::Cache="$work/apt/cache" -o APT::Sandbox::User= "$@"
}

prepare_apt() {
    local mirror
    mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' | head -n 1)
    [ -n "$mirror" ] || missing "apt names no mirror to take Qt's sources from"
    mkdir -p "$work/apt/lists/partial" "$work/apt/cache/archives/partial"
    echo "deb-src $mirror trixie main" >"$work/apt/sources.list"
    source_apt apt-get update -qq
}

# Upstream's archive alone: Debian's patches don't concern Windows, and a mirror may lack the other files.
fetch() {
    local name=$1 file address
    file=$work/${name}_$qt_version+dfsg.orig.tar.xz
    [ ! -e "$work/$name/CMakeLists.txt" ] || return 0
    if ! echo "${sums[$name]}  $file" | sha256sum --quiet --check >/dev/null 2>&1; then
        say "fetching $(basename "$file")"
        [ -e "$work/apt/sources.list" ] || prepare_apt
        address=$(source_apt apt-get source --print-uris "$name" |
            sed -n "s/^'\([^']*orig\.tar\.xz\)'.*/\1/p" | head -n 1)
        /usr/lib/apt/apt-helper download-file "$address" "$file" "SHA256:${sums[$name]}" >&2
    fi
    rm -rf "$work/$name.new"
    mkdir -p "$work/$name.new"
    tar -xf "$file" -C "$work/$name.new" --strip-components 1
    mv "$work/$name.new" "$work/$name"
}

# Configures, builds and installs one of the two into the staging folder: make NAME OPTION...
make_part() {
    local name=$1
    shift
    [ ! -e "$work/$name.done" ] || return 0
    say "configuring $name"
    logged "$KV_CACHE/log/$name-configure" \
        cmake -S "$work/$name" -B "$work/$name-build" -DCMAKE_INSTALL_PREFIX="$work/stage" "${common[@]}" "$@"
    say "building $name"
    # Ninja prints one line that it overwrites, so the log needs no file of its own on a terminal.
    if [ -t 2 ]; then cmake --build "$work/$name-build" >&2
    else logged "$KV_CACHE/log/$name-build" cmake --build "$work/$name-build"; fi
    logged "$KV_CACHE/log/$name-install" cmake --install "$work/$name-build" --strip
    touch "$work/$name.done"
}

off() { local feature; for feature in "$@"; do printf -- '-DFEATURE_%s=OFF\n' "$feature"; done; }

mkdir -p "$work"
fetch qt6-base
fetch qt6-declarative

# No OpenGL: what draws is Direct3D, or the software renderer. Libraries come with Qt: there are no others here.
mapfile -t base_off < <(off opengl sql dbus widgets printsupport concurrent xml vulkan icu glib openssl schannel pdf \
    pkg_config zstd brotli tabletevent \
    system_{zlib,png,jpeg,pcre2,freetype,harfbuzz,doubleconversion,libb2})
make_part qt6-base -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DINPUT_opengl=no "${base_off[@]}"

mapfile -t quick_off < <(off quick_particles quick_canvas quick_designer qml_profiler qml_debug qml_preview \
    quickcontrols2_{fusion,fluentwinui3,imagine,material,universal,windows,macos,ios})
make_part qt6-declarative -DCMAKE_TOOLCHAIN_FILE="$work/stage/lib/cmake/Qt6/qt.toolchain.cmake" "${quick_off[@]}"

rm -rf "$qt"
mv "$work/stage" "$qt"
rm -rf "$work"
