#!/usr/bin/env bash
# Plays the demo: headless with screenshots when there is no display, in a
# real window (the demo's virtual cards, ready to play with) when there is one.
set -euo pipefail
cd "$(dirname "$0")/.."
host=build/bin/linkhost
demo="${DEMO:-scenarios/demo.json}"
# Qt wants a private runtime folder; give it one rather than a warning.
if [ -z "${XDG_RUNTIME_DIR:-}" ]; then
    export XDG_RUNTIME_DIR="$PWD/build/runtime"
    mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
fi
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    mkdir -p build/demo
    rm -f build/demo/*.png build/demo/transcript.txt
    "$host" --headless --scenario "$demo" \
        --screenshots build/demo --transcript build/demo/transcript.txt
    echo "demo: what the device manager did (full transcript in build/demo/transcript.txt):"
    grep -E '\] (sdk UTPS_DevSrv_(Un)?Register|notify|shown|hidden|msgbox|call)' \
        build/demo/transcript.txt || true
    echo "demo: screenshots:"
    ls build/demo/*.png
else
    exec "$host" --setup "$demo"
fi
