#!/usr/bin/env bash
# The enter-PIN dialog on a real X screen. linkhost replays
# pin_dialog_on_screen.json on the xcb platform of an Xvfb of its own; while
# the dialog is up, the X server is asked where the dialog's window is, and a
# picture of the screen must show the dialog there.
#   pin_dialog_on_screen.sh LINKHOST XSHOT SCENARIO OUTDIR
# OUTDIR keeps the last run's pictures, transcript and output.
set -euo pipefail
linkhost=$1 xshot=$2 scenario=$3 out=$4

screen_w=1280 screen_h=800
# The fixed size the plug-in gives its single-field PIN dialogs.
dialog_w=320 dialog_h=170
# The dialog has no parent: the plug-in centres it on the screen's available
# area, which is the whole screen when no window manager claims a panel. With
# no window manager there is no frame either, so the X window is the dialog.
expected_x=$(((screen_w - 1) / 2 - dialog_w / 2))
expected_y=$(((screen_h - 1) / 2 - dialog_h / 2))
tolerance=3

work=$(mktemp -d "${TMPDIR:-/tmp}/xvfb-pin-XXXXXX")
xvfb_pid="" host=""
cleanup() {
    for pid in $host $xvfb_pid; do
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' INT TERM HUP
fail() {
    echo "pin_dialog_on_screen: $*" >&2
    exit 1
}

rm -rf "$out"
mkdir -p "$out/shots"

# shellcheck source=xvfb.sh
source "$(dirname "$0")/xvfb.sh"
start_xvfb "${screen_w}x${screen_h}" "$out/xvfb.log" || fail "Xvfb did not start (see $out/xvfb.log)"
export QT_QPA_PLATFORM=xcb
export XDG_RUNTIME_DIR="$work/runtime" XDG_CONFIG_HOME="$work/config"
mkdir -m 700 "$XDG_RUNTIME_DIR"

"$xshot" grab "$out/background.png" || fail "no picture of the empty screen"

"$linkhost" --scenario "$scenario" --transcript "$out/transcript.txt" \
    --screenshots "$out/shots" --user-data "$work/data" >"$out/linkhost.log" 2>&1 &
host=$!

# The scenario records this once the dialog's own picture is saved.
marker='expect ok [0-9]+ widget DeviceMgrUI_VerifyPINDlg: visible true'
for _ in $(seq 200); do
    grep -Eq "$marker" "$out/transcript.txt" 2>/dev/null && break
    kill -0 "$host" 2>/dev/null || break
    sleep 0.1
done
grep -Eq "$marker" "$out/transcript.txt" 2>/dev/null ||
    fail "linkhost never showed the enter-PIN dialog: $(tail -n 5 "$out/linkhost.log")"

# The dialog's title names its window; the scenario keeps the English one.
window() { xwininfo -name "Enter PIN" 2>&1; }
field() { sed -n "s/^ *$1: *//p" <<<"$info"; }
info=$(window) || fail "no X window for the enter-PIN dialog: $info"
[ "$(field 'Map State')" = IsViewable ] || fail "the dialog's window is not viewable: $info"
x=$(field 'Absolute upper-left X') y=$(field 'Absolute upper-left Y')
w=$(field Width) h=$(field Height)
[ "$w" = "$dialog_w" ] && [ "$h" = "$dialog_h" ] ||
    fail "the dialog is ${w}x${h}, not ${dialog_w}x${dialog_h}"
near() { (($1 - $2 <= tolerance && $2 - $1 <= tolerance)); }
near "$x" "$expected_x" && near "$y" "$expected_y" ||
    fail "the dialog is at $x,$y, not centred on the screen at $expected_x,$expected_y"

"$xshot" grab "$out/screen.png" || fail "no picture of the screen"
info=$(window) && [ "$(field 'Map State')" = IsViewable ] ||
    fail "the dialog went away before the screen's picture was taken"
"$xshot" compare "$out/screen.png" "$out/background.png" "$out/shots/pin-dialog.png" "$x" "$y" ||
    fail "the screen does not show the dialog at $x,$y (pictures in $out)"

status=0
wait "$host" || status=$?
host=""
[ "$status" -eq 0 ] || fail "linkhost exited with $status: $(tail -n 5 "$out/linkhost.log")"
echo "pin_dialog_on_screen: the enter-PIN dialog is on the X screen at $x,$y"
