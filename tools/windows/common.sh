# What the scripts of this folder share; each sources it.
set -euo pipefail

tools=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
project=$(readlink -f "$tools/../..")
# Everything that is made once and kept: the environment, Qt for Windows, Wine's template. KV_CACHE moves it.
export KV_CACHE=${KV_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/kvprogram}
root=$KV_CACHE/windows-root
qt_version=6.8.2
qt=$KV_CACHE/qt-$qt_version-windows-x64-mingw
triplet=x86_64-w64-mingw32
# What is built in another folder, such as CI's, comes out of the compiler's cache as well.
export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_DIR=$KV_CACHE/ccache CCACHE_BASEDIR=$project CCACHE_NOHASHDIR=1

say() { printf '\033[1m==> %s\033[0m\n' "$*" >&2; }
# Nothing is broken, something is missing: exit code 2.
missing() { printf 'kv: %s\n' "$@" >&2; exit 2; }

package_names() { sed 's/#.*//' "$tools/packages" | xargs -n 1; }

# Which kind of environment this machine offers: native, root or container. KV_WINDOWS chooses another.
environment_kind() {
    if [ -n "${KV_WINDOWS:-}" ]; then echo "$KV_WINDOWS"; return; fi
    if grep -q '^VERSION_CODENAME=trixie' /etc/os-release; then echo native; return; fi
    if command -v apt-get >/dev/null && may_be_root; then echo root; return; fi
    if container_tool >/dev/null; then echo container; return; fi
    echo none
}

may_be_root() { [ "$(id -u)" -eq 0 ] || sudo -n true 2>/dev/null; }

# Docker's client may be there without a server that answers.
container_tool() {
    local tool
    for tool in podman docker; do
        if command -v "$tool" >/dev/null && "$tool" info >/dev/null 2>&1; then command -v "$tool"; return; fi
    done
    return 1
}

as_root() { if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi; }

# Runs a long command with its output in a file; shows the end of it if the command fails.
logged() {
    local log=$1
    shift
    mkdir -p "$(dirname "$log")"
    "$@" >"$log" 2>&1 || { local code=$?; tail -n 25 "$log" >&2; say "the whole output: $log"; return $code; }
}

# One preparation at a time, and none while another checkout's is under way.
lock_cache() {
    mkdir -p "$KV_CACHE"
    exec 9>"$KV_CACHE/lock"
    flock -n 9 || { say "waiting for another ./kv that prepares $KV_CACHE"; flock 9; }
}
