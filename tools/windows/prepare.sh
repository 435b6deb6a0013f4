#!/usr/bin/env bash
# Makes sure that there is an environment and a Qt for Windows; with --build-qt Qt is built from its sources anew.
. "$(dirname "$0")/common.sh"

prepare_native() {
    local name wanting=()
    for name in $(package_names); do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$name" 2>/dev/null)" = installed ] || wanting+=("$name")
    done
    [ ${#wanting[@]} -gt 0 ] || return 0
    [ "$(id -u)" -eq 0 ] || command -v sudo >/dev/null || missing "these packages are missing: ${wanting[*]}"
    say "installing ${wanting[*]}"
    as_root apt-get update -qq
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -qq --no-install-recommends "${wanting[@]}" >/dev/null
}

prepare_root() { "$tools/root.sh"; }

prepare_container() {
    local tool sum
    tool=$(container_tool) || missing "neither podman nor docker is there"
    sum=$(cat "$tools/packages" "$project/Containerfile" | sha256sum | cut -c1-12)
    [ "$(cat "$KV_CACHE/container" 2>/dev/null)" != "$sum" ] || return 0
    say "building the container image kvprogram-windows"
    mkdir -p "$KV_CACHE"
    logged "$KV_CACHE/log/container" "$tool" build -t kvprogram-windows -f "$project/Containerfile" "$project"
    echo "$sum" >"$KV_CACHE/container"
}

prepare_none() {
    missing "the Windows tool chain needs one of:" "  Debian 13" \
        "  a Debian or Ubuntu on which you are root or may use sudo without a password" \
        "  podman or docker" "none of them is here"
}

case $(environment_kind) in
native | root | container) "prepare_$(environment_kind)" ;;
*) prepare_none ;;
esac
"$tools/get-qt.sh" ${1:+--build}
