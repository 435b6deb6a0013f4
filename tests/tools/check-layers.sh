#!/bin/sh
# Checks which folder includes what. Usage: check-layers.sh <the repository's folder>
# Includes written with "../" would get around the rules and are refused in all of them.
set -u
cd "${1:?the folder to check is missing}" || exit 2

failed=0

# forbid <what the rule says> <pattern of an included name> <folder or file>...
forbid() {
    rule=$1
    name=$2
    shift 2
    for path in "$@"; do
        if [ ! -e "$path" ]; then
            echo "$path: nothing to check here"
            failed=1
        fi
    done
    found=$(find "$@" -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.in' \) -exec \
        grep -EinH "^[[:space:]]*#[[:space:]]*include[[:space:]]*[<\"]($name)" {} +)
    if [ -n "$found" ]; then
        printf '%s\n%s\n' "$rule:" "$found"
        failed=1
    fi
}

system='windows\.h[>"]|windowsx?\.|winsock|winrt/|wtsapi32|userenv|sddl|psapi|tlhelp32|shlobj|shlwapi|shobjidl|shellapi'
forbid "Only src/platform/win may include the system's headers" "$system" \
    $(find src -path src/platform/win -prune -o -type f \( -name '*.h' -o -name '*.cpp' \) -print)
forbid "Formats know neither the platform nor the module" '\.\./|platform/|kv|x[A-Z]' src/formats
forbid "The platform doesn't know the module" '\.\./|kv|singleton' src/platform
forbid "The core library knows nothing of the module" '\.\./|kv|platform/|formats/|singleton' xcore
forbid "Only src/platform/win may include the system's headers" "$system" xcore examples

exit $failed
