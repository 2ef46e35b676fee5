#!/usr/bin/env bash
# Runs a command on a desktop of its own: an X server (Xvfb), a session bus,
# and on it a tray host and a notification service (desktop.py), which log
# what they are asked to $LINK_DESKTOP_LOG. Everything goes when the command
# ends.
#   desktop-session.sh COMMAND [ARGS...]
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"

if [ -z "${LINK_DESKTOP_INNER:-}" ]; then
    work="$(mktemp -d "${TMPDIR:-/tmp}/linkhost-desktop-XXXXXX")"
    xvfb_pid=""
    cleanup() {
        [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null || true
        rm -rf "$work"
    }
    trap cleanup EXIT
    # shellcheck source=../../xvfb/xvfb.sh
    source "$here/../../xvfb/xvfb.sh"
    start_xvfb 1280x800 "$work/xvfb.log" || { echo "desktop-session: Xvfb did not start" >&2; exit 1; }
    export QT_QPA_PLATFORM=xcb LINK_DESKTOP_INNER=1
    export LINK_DESKTOP_LOG="${LINK_DESKTOP_LOG:-$work/desktop.log}"
    export XDG_RUNTIME_DIR="$work/runtime"
    mkdir -m 700 "$XDG_RUNTIME_DIR"
    : >"$LINK_DESKTOP_LOG"
    dbus-run-session -- "$0" "$@" 2> >(grep -v 'Failed to set fd limit' >&2)
    exit $?
fi

/usr/bin/python3 "$here/desktop.py" >"$XDG_RUNTIME_DIR/desktop.out" &
desktop=$!
trap 'kill $desktop 2>/dev/null || true' EXIT
for _ in $(seq 100); do
    grep -q ready "$XDG_RUNTIME_DIR/desktop.out" 2>/dev/null && break
    kill -0 $desktop 2>/dev/null || { echo "desktop-session: desktop.py failed" >&2; exit 1; }
    sleep 0.05
done
"$@"
