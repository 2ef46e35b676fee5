#!/usr/bin/env bash
# Plays the demo: headless with screenshots when there is no display, in a
# real window (the demo's virtual cards, ready to play with) when there is one.
set -euo pipefail
cd "$(dirname "$0")/.."
host=build/bin/linkhost
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    mkdir -p build/demo
    rm -f build/demo/*.png
    "$host" --headless --scenario scenarios/demo.json \
        --screenshots build/demo --transcript build/demo/transcript.txt
    echo "demo: transcript in build/demo/transcript.txt, screenshots:"
    ls build/demo/*.png
else
    exec "$host" --setup scenarios/demo.json
fi
