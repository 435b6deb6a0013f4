#!/usr/bin/env bash
# Builds the library and the example host to hand out and packs them, then tries the package in an empty Windows;
# inside the environment. Makes build/KvProgram-VERSION-windows-x64.zip and, with what a debugger needs,
# build/KvProgram-VERSION-windows-x64-symbols.zip.
. "$(dirname "$0")/common.sh"
. "$tools/wine-environment.sh"
cd "$project"

objcopy=$triplet-objcopy
style=Basic

build_it() {
    export QT_TARGET_PATH=$qt
    if ! grep -qs "^QT_TARGET_PATH:.*=$qt$" build/windows-package/CMakeCache.txt; then
        say "configuring build/windows-package"
        rm -rf build/windows-package
        cmake --preset windows-package -DQT_TARGET_PATH="$qt" -Wno-dev >&2
    fi
    say "building build/windows-package"
    cmake --build build/windows-package --target KvProgram kvprogram-host >&2
    rm -rf build/windows-package/stage
    cmake --install build/windows-package --prefix "$stage" >/dev/null
    cp build/windows-package/bin/kvprogram-host.exe "$stage/bin/"
}

# Moves the debug information of one file into the symbols folder and leaves a note where it is.
strip_it() {
    local file=$1 symbols
    symbols=$symbols_stage/$(basename "$file").debug
    mkdir -p "$symbols_stage"
    "$objcopy" --only-keep-debug "$file" "$symbols"
    "$objcopy" --strip-unneeded --add-gnu-debuglink="$symbols" "$file"
}

add_qml() {
    local module
    while read -r module; do
        mkdir -p "$stage/bin/qml/$module"
        # Modules contain the folders of others, which have lines of their own.
        find "$qt/qml/$module" -maxdepth 1 -type f ! -name '*.qmltypes' ! -name '*.debug' \
            -exec cp -t "$stage/bin/qml/$module" {} +
        if [ -d "$qt/qml/$module/images" ]; then cp -r "$qt/qml/$module/images" "$stage/bin/qml/$module/"; fi
    done < <("$tools/qml-modules.py" examples/host/qml "$qt" "$style")
}

add_plugins() {
    local plugin
    for plugin in platforms/qwindows platforms/qoffscreen imageformats/qico imageformats/qjpeg; do
        install -D -m 644 "$qt/plugins/$plugin.dll" "$stage/bin/plugins/$plugin.dll"
    done
    printf '[Paths]\nPrefix = .\nPlugins = plugins\nQmlImports = qml\n' >"$stage/bin/qt.conf"
}

add_dlls() {
    local files
    mapfile -t files < <(find "$stage/bin" -name '*.exe' -o -name '*.dll')
    "$tools/dlls.py" --search "$qt/bin" "$gcc_dir" "/usr/$triplet/lib" -- "${files[@]}" |
        xargs -I '{}' install -m 644 '{}' "$stage/bin/"
}

# What the licences of the redistributed parts ask for.
add_licences() {
    local to=$stage/licences
    mkdir -p "$to"
    cp /usr/share/common-licenses/LGPL-3 "$to/LGPL-3.txt"
    cp /usr/share/common-licenses/GPL-3 "$to/GPL-3.txt"
    cp /usr/share/doc/libqt6core6t64/copyright "$to/Qt.txt"
    cp /usr/share/doc/gcc-mingw-w64-x86-64-posix-runtime/copyright "$to/GCC-runtime.txt"
    cp /usr/share/doc/mingw-w64-x86-64-dev/copyright "$to/MinGW-w64-winpthreads.txt"
    sed "s/@QT_VERSION@/$qt_version/g" "$tools/licences.txt" >"$to/README.txt"
}

version=$(sed -n 's/^project(KvProgram VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
name=KvProgram-$version-windows-x64
stage=$project/build/windows-package/stage/$name
symbols_stage=$project/build/windows-package/stage/$name-symbols

build_it
say "packing $name"
strip_it "$stage/bin/KvProgram.dll"
strip_it "$stage/bin/kvprogram-host.exe"
add_plugins
add_qml
add_dlls
add_licences
rm -f "build/$name.zip" "build/$name-symbols.zip"
(cd "$(dirname "$stage")" && zip -qr -9 "$project/build/$name.zip" "$name" &&
    zip -qr "$project/build/$name-symbols.zip" "$name-symbols")
"$tools/try-package.sh" "$project/build/$name.zip"
say "build/$name.zip ($(du -h "build/$name.zip" | cut -f1)), build/$name-symbols.zip"
