#!/usr/bin/env bash
# Makes a fresh Windows for Wine, in a folder that doesn't exist yet: prefix.sh FOLDER. It must lie in the cache:
# its files are hard links to those of a template, which the first call makes.
. "$(dirname "$0")/common.sh"
. "$tools/wine-environment.sh"

wine_cache=$KV_CACHE/wine
template=$wine_cache/template-$(cat "$0" "$tools/wine-environment.sh" | sha256sum | cut -c1-12)

make_template() {
    say "making a Windows for Wine"
    rm -rf "$wine_cache"/template-*
    export WINEPREFIX=$template.new
    mkdir -p "$WINEPREFIX"
    wineboot --init
    # Without this class the shell gives every program the same icon.
    wine reg add 'HKCR\.exe' /ve /d exefile /f
    wineserver -k || true
    wineserver -w
    mv "$template.new" "$template"
}

exec 8>"$KV_CACHE/lock-wine"
flock 8
[ -e "$template" ] || logged "$KV_CACHE/log/wine-template" make_template
cp -al "$template" "$1"
# Wine writes these in place, which would change the template.
for file in system.reg user.reg userdef.reg .update-timestamp; do
    rm "$1/$file"
    cp -a "$template/$file" "$1/$file"
done
