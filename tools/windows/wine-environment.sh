# Settings for everything that starts Wine. Needs common.sh.

export WINEDEBUG=${KV_TEST_WINEDEBUG:--all} WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"

# Folders with the DLLs of Qt and of the compiler.
gcc_dir=$(dirname "$($triplet-g++-posix -print-file-name=libstdc++-6.dll)")
windows_path() { printf 'Z:%s' "${1//\//\\}"; }
WINEPATH="$(windows_path "$qt/bin");$(windows_path "$gcc_dir");$(windows_path /usr/$triplet/lib)"
export WINEPATH
