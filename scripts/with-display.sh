#!/usr/bin/env bash
# Runs a command with a Wine server kept up for its whole length and, when no display is set, a
# private Xvfb. Both are stopped again afterwards, by pid, whatever the command's outcome.
set -uo pipefail
prefix="$1"; shift
export WINEPREFIX="$prefix" WINEDEBUG="${WINEDEBUG:--all}" WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=}"
xvfb_pid=""
cleanup() {
    wineserver -k >/dev/null 2>&1 || true
    [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null && wait "$xvfb_pid" 2>/dev/null
    return 0
}
trap cleanup EXIT
if [ -z "${DISPLAY:-}" ] || [ "${VISTREL_OWN_DISPLAY:-0}" = 1 ]; then
    for n in $(seq 91 120); do
        [ -e "/tmp/.X11-unix/X$n" ] || [ -e "/tmp/.X$n-lock" ] || { display=":$n"; break; }
    done
    Xvfb "$display" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
    xvfb_pid=$!
    for _ in $(seq 1 50); do [ -e "/tmp/.X11-unix/X${display#:}" ] && break; sleep 0.1; done
    export DISPLAY="$display"
fi
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    echo "wine: creating prefix $WINEPREFIX"
    wineboot -i >/dev/null 2>&1
fi
wineserver -p >/dev/null 2>&1
# The first Wine program of a session starts Wine's background services, which live as long as
# the server. Started here with their output discarded, they can't hold a test's output pipe open
# (which would keep CTest waiting for ever).
wine cmd /c exit </dev/null >/dev/null 2>&1
"$@"
