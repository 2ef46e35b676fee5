#!/usr/bin/env bash
# Builds the Debian package of the build into a fresh folder and checks that
# it carries what a user runs and depends on the Qt it was linked against.
#   package-contents.sh BUILD_DIR
set -euo pipefail
build=$1
work="$(mktemp -d "${TMPDIR:-/tmp}/linkhost-package-XXXXXX")"
trap 'rm -rf "$work"' EXIT
trap 'exit 1' INT TERM

"${CPACK:-cpack}" --config "$build/CPackConfig.cmake" -B "$work" >"$work/cpack.log" 2>&1 ||
    { cat "$work/cpack.log" >&2; exit 1; }
deb=("$work"/*.deb)
[ -f "${deb[0]}" ] || { echo "cpack made no .deb" >&2; exit 1; }

contents="$(dpkg-deb -c "${deb[0]}")"
for f in ./usr/bin/linkhost ./usr/lib/linkhost/libutps.so ./usr/lib/linkhost/libLinkFramework.so \
    ./usr/lib/linkhost/plugins/libDeviceMgrUI.so \
    ./usr/share/applications/linkhost.desktop ./usr/share/icons/hicolor/scalable/apps/linkhost.svg; do
    grep -q " $f\$" <<<"$contents" || { echo "the package lacks $f" >&2; exit 1; }
done
depends="$(dpkg-deb -f "${deb[0]}" Depends)"
grep -q 'libqt6widgets6' <<<"$depends" ||
    { echo "Depends misses libqt6widgets6: $depends" >&2; exit 1; }
echo "$(basename "${deb[0]}"): Depends: $depends"
