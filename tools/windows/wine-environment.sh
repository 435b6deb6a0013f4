# Settings for everything that starts Wine. Needs common.sh.

export WINEDEBUG=${KV_TEST_WINEDEBUG:--all} WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"

# Makes a fresh Windows that goes when the script ends, and names it WINEPREFIX. Process ids begin anew in each
# environment, so they are no names for it.
fresh_windows() {
    local folder
    mkdir -p "$KV_CACHE/wine"
    # Left behind by runs that were killed.
    find "$KV_CACHE/wine" -maxdepth 1 -name 'run-*' -mtime +0 -exec rm -rf {} +
    folder=$(mktemp -d "$KV_CACHE/wine/run-XXXXXX")
    export WINEPREFIX=$folder/windows
    trap 'wineserver -k || true; wineserver -w; rm -rf "$(dirname "$WINEPREFIX")"' EXIT
    "$tools/prefix.sh" "$WINEPREFIX"
}

# Folders with the DLLs of Qt and of the compiler.
gcc_dir=$(dirname "$($triplet-g++-posix -print-file-name=libstdc++-6.dll)")
windows_path() { printf 'Z:%s' "${1//\//\\}"; }
WINEPATH="$(windows_path "$qt/bin");$(windows_path "$gcc_dir");$(windows_path /usr/$triplet/lib)"
export WINEPATH
