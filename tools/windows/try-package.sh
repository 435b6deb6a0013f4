#!/usr/bin/env bash
# Unpacks a package into an empty Windows and runs its host there, without any folder of the build in the search path:
# try-package.sh FILE.ZIP. Fails if the host can't scan, tell its lists or draw its window. Inside the environment.
. "$(dirname "$0")/common.sh"

package=$1
name=$(basename "$package" .zip)
. "$tools/wine-environment.sh"
# Nothing but the package's own folder may answer for its DLLs.
unset WINEPATH
export WINEQT_QUICK_BACKEND=software WINEQT_FORCE_STDERR_LOGGING=1
say "trying $name"
fresh_windows
unzip -q "$package" -d "$WINEPREFIX/drive_c"
cd "$WINEPREFIX/drive_c/$name/bin"

xvfb-run -a -s "-screen 0 1280x1024x24" "$tools/with-desktop" \
    timeout 120 wine kvprogram-host.exe --json --screenshot 'C:\window.png' >lists.json ||
    { code=$?; say "the host failed: exit code $code"; exit 1; }
python3 -c 'import json, sys; json.load(open(sys.argv[1], encoding="utf-8"))' lists.json
[ "$(head -c 4 "$WINEPREFIX/drive_c/window.png" | tail -c 3)" = PNG ] || { say "there is no picture of the window"; exit 1; }
cp "$WINEPREFIX/drive_c/window.png" "$project/build/windows-package/window.png"
