#!/usr/bin/env bash
# Builds targets in the shared development tree build-dev/, one build at a
# time (several people may work in the same checkout).
#   tools/dev-build.sh [target...]      no target = everything
set -euo pipefail
cd "$(dirname "$0")/.."
exec 9>/tmp/linkmarrow-dev-build.lock
flock 9
if [ ! -f build-dev/build.ninja ]; then
    cmake -S . -B build-dev -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
if [ $# -eq 0 ]; then
    ninja -C build-dev
else
    ninja -C build-dev "$@"
fi
