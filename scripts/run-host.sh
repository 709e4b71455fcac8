#!/usr/bin/env bash
# Starts the console host of a cross build tree: scripts/run-host.sh BUILD_DIR.
# With a display the host's window opens and the script stays until it is closed. Without one the
# host runs on a private display, prints the page's tree once the population has finished, takes
# a screenshot and exits; its text goes through a file, since a GUI program has no console.
set -uo pipefail
build="$(cd "${1:?usage: run-host.sh BUILD_DIR}" && pwd)"
here="$(cd "$(dirname "$0")" && pwd)"
dist="$build/dist"
host="$dist/vistrel-host.exe"
[ -f "$host" ] || { echo "run-host: $host is missing; build the tree first" >&2; exit 1; }
winpath() { echo "Z:${1//\//\\}"; }

if [ -n "${DISPLAY:-}" ]; then
    export WINEPREFIX="$build/wineprefix" WINEDEBUG="${WINEDEBUG:--all}"
    [ -f "$WINEPREFIX/system.reg" ] || wineboot -i >/dev/null 2>&1
    exec wine "$host" "$@"
fi

shot="$build/host-screenshot.png"
out="$build/host-output.txt"
rm -f "$shot" "$out"
"$here/with-display.sh" "$build/wineprefix" wine "$host" /print \
    "/screenshot:$(winpath "$shot")" "/out:$(winpath "$out")" "$@"
status=$?
if [ -f "$out" ]; then
    cat "$out"
else
    echo "run-host: the host wrote no output (exit status $status)" >&2
    [ "$status" -eq 0 ] && status=1
fi
[ -f "$shot" ] && echo "screenshot file: $shot"
exit "$status"
