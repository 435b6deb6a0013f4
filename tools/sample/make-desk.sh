#!/bin/sh
# Makes samples/desk again, from nothing: tools/sample/make-desk.sh [FOLDER]
# The result is checked in, so only a change of the sample needs this. Takes about half a minute.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
machine=${1:-$here/../../samples/desk}
cross=x86_64-w64-mingw32-
wine=/usr/lib/wine/wine64

missing=
need() { command -v "$1" >/dev/null 2>&1 || missing="$missing $2"; }
need python3 python3
need makensis nsis
need "${cross}g++-posix" g++-mingw-w64-x86-64-posix
need "$wine" wine64
need wineserver wine
if [ -n "$missing" ]; then
    echo "make-desk.sh: these packages are missing; install them with: apt-get install$missing" >&2
    exit 2
fi

work=$(mktemp -d)
server_started=no
finish() {
    [ "$server_started" = no ] || wineserver -k || true
    rm -rf "$work"
}
trap finish EXIT

mkdir -p "$machine"
machine=$(cd "$machine" && pwd)
# README.md is written by hand and stays; everything else is made here.
rm -rf "$machine/C" "$machine/D" "$machine/registry" "$machine/machine.json" "$machine/starts.jsonl"
mkdir -p "$machine/C" "$machine/D"

export LC_ALL=C.UTF-8 PYTHONDONTWRITEBYTECODE=1 SOURCE_DATE_EPOCH=1730800000
python3 "$here/make_programs.py" "$machine" "$work"
python3 "$here/make_machine.py" "$machine"
python3 "$here/make_launchers.py" "$machine"
python3 "$here/make_links.py" prepare "$machine" "$work"
for script in "$work"/*.nsi; do
    makensis -V2 -INPUTCHARSET UTF8 "$script"
done
"${cross}g++-posix" -std=c++17 -O1 -Wall -Wextra -static -s "$here/link_maker.cpp" -o "$work/link_maker.exe" \
    -lole32 -luuid

# The Windows tools look at what they link to, so they get a copy of the machine's drives to work in.
export WINEPREFIX="$work/prefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d" USER=kim
XDG_RUNTIME_DIR=/run/user/$(id -u)
export XDG_RUNTIME_DIR
unset DISPLAY WAYLAND_DISPLAY || true
# Wine's server needs this folder whatever XDG_RUNTIME_DIR says.
mkdir -p -m 700 "$XDG_RUNTIME_DIR"
server_started=yes
"$wine" wineboot -i 2>/dev/null
wineserver -w
# Links repeat the case of the folders that they find.
mv "$WINEPREFIX/drive_c/users" "$WINEPREFIX/drive_c/Users"
# Wine points "Documents" and its like at the home folder of whoever runs this.
# They must exist, though: without a desktop folder the shell makes links that have no ID list.
find "$WINEPREFIX/drive_c/Users/kim" -type l -exec sh -c 'rm "$1" && mkdir "$1"' sh {} \;
# Never over Wine's own programs: it needs its explorer.exe and cmd.exe.
for part in "$machine"/C/*; do
    name=$(basename "$part")
    [ "$name" != Windows ] || continue
    there=$(find "$WINEPREFIX/drive_c" -maxdepth 1 -iname "$name" | head -n 1)
    mkdir -p "${there:=$WINEPREFIX/drive_c/$name}"
    cp -rn "$part/." "$there/"
done
cp -rn "$machine/C/Windows/System32/." "$WINEPREFIX/drive_c/windows/system32/"
cp -r "$machine/D" "$WINEPREFIX/drive_d"
ln -sfn ../drive_d "$WINEPREFIX/dosdevices/d:"
# The same times on every run give the same links. Links hold the access time too, and Linux leaves only one alone
# that is newer than every change.
find "$WINEPREFIX/drive_c" "$WINEPREFIX/drive_d" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} + \
    -exec touch -h -a -d 2037-01-01 {} +

"$wine" "$work/link_maker.exe" "Z:$(echo "$work/links.tsv" | tr / '\\')"
for installer in harbor otter ostrich paintbox; do
    "$wine" "$work/$installer.exe" /S
done
wineserver -w

python3 "$here/make_links.py" collect "$machine" "$WINEPREFIX/drive_c"
python3 "$here/make_links.py" write "$machine"
python3 "$here/check-desk.py" "$machine"
