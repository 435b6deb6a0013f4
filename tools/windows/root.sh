#!/usr/bin/env bash
# Makes a Debian 13 in a folder of the cache and installs the packages into it. What an interrupted run left is
# thrown away (the bare system) or completed (the packages).
. "$(dirname "$0")/common.sh"

# Where this machine gets Debian from; apt itself tells, so both styles of source lists are understood.
mirror() {
    local codename found=
    codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
    if grep -q '^ID=debian' /etc/os-release; then
        found=$(apt-get indextargets --format '$(RELEASE) $(REPO_URI)' 'Created-By: Packages' |
            awk -v suite="$codename" '$1 == suite || $1 == "stable" || $1 == "testing" { print $2; exit }')
    fi
    [ -n "$found" ] || missing "apt names no mirror to take Debian 13 from: run this on Debian, or use podman or docker"
    echo "$found"
}

make_base() {
    [ ! -e "$root" ] || return 0
    command -v debootstrap >/dev/null || as_root apt-get install -qq --no-install-recommends debootstrap >/dev/null ||
        missing "install debootstrap first"
    local address
    address=$(mirror)
    say "making a Debian 13 in $root"
    as_root rm -rf "$root.new"
    local proxy=${http_proxy:-}
    [ -n "$proxy" ] || eval "$(apt-config shell proxy Acquire::http::Proxy)"
    logged "$KV_CACHE/log/debootstrap" as_root env ${proxy:+"http_proxy=$proxy"} \
        debootstrap --variant=minbase --include=ca-certificates trixie "$root.new" "$address"
    as_root mv "$root.new" "$root"
}

# Proxy, credentials, keys and certificates of this machine; not its hooks, which call programs that the root lacks.
copy_apt_settings() {
    local address
    address=$(mirror)
    apt-config dump | grep -E '^Acquire::(http|https|ForceIPv[46]|Check-|Retries|Max-)' |
        as_root tee "$root/etc/apt/apt.conf.d/50host" >/dev/null || true
    as_root cp -a /etc/apt/auth.conf.d /etc/apt/trusted.gpg.d "$root/etc/apt/" 2>/dev/null || true
    as_root cp -aL /etc/resolv.conf "$root/etc/resolv.conf"
    printf 'Types: deb\nURIs: %s\nSuites: trixie\nComponents: main\n' "$address" |
        as_root tee "$root/etc/apt/sources.list.d/debian.sources" >/dev/null
    as_root rm -f "$root/etc/apt/sources.list"
    if compgen -G '/usr/local/share/ca-certificates/*.crt' >/dev/null; then
        as_root cp /usr/local/share/ca-certificates/*.crt "$root/usr/local/share/ca-certificates/"
    fi
}

install_packages() {
    local sum
    sum=$(package_names | sha256sum | cut -c1-64)
    [ "$(cat "$root/var/lib/kv-packages" 2>/dev/null)" != "$sum" ] || return 0
    say "installing the packages (about 2 GB unpacked)"
    copy_apt_settings
    logged "$KV_CACHE/log/packages" env KV_ENTER_AS_ROOT=1 "$tools/enter" bash -euc '
        update-ca-certificates || true
        dpkg --configure -a
        apt-get update
        DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
            -o Dpkg::Options::=--force-unsafe-io "$@"
        apt-get clean' bash $(package_names)
    echo "$sum" | as_root tee "$root/var/lib/kv-packages" >/dev/null
}

lock_cache
make_base
install_packages
