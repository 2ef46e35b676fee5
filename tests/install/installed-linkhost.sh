#!/usr/bin/env bash
# Installs the build into a fresh prefix and plays a scenario with the
# installed linkhost, in an environment that knows nothing of the build tree:
# the binary must find its libraries and its plug-in through its own run
# paths and folder.
#   installed-linkhost.sh BUILD_DIR SCENARIO
set -euo pipefail
build=$1 scenario=$2
work="$(mktemp -d "${TMPDIR:-/tmp}/linkhost-install-XXXXXX")"
trap 'rm -rf "$work"' EXIT
trap 'exit 1' INT TERM
prefix="$work/prefix"

"${CMAKE:-cmake}" --install "$build" --prefix "$prefix" >/dev/null

# What a user runs, and nothing else (no tests, helpers, headers).
expected="bin/linkhost
lib/linkhost/libLinkFramework.so
lib/linkhost/libutps.so
lib/linkhost/plugins/DeviceMgrUIPlugin/DeviceSelect
lib/linkhost/plugins/libDeviceMgrUI.so
share/applications/linkhost.desktop
share/icons/hicolor/scalable/apps/linkhost.svg"
actual="$(cd "$prefix" && find . -type f -o -type l | sed 's|^\./||' | LC_ALL=C sort)"
if [ "$actual" != "$expected" ]; then
    echo "installed files differ from the expected ones:" >&2
    diff <(echo "$expected") <(echo "$actual") >&2 || true
    exit 1
fi

# Run paths relative to the installed file only, so that the tree works
# wherever it is: none may name the build tree, or any fixed folder.
for f in "$prefix"/bin/linkhost "$prefix"/lib/linkhost/*.so "$prefix"/lib/linkhost/plugins/*.so; do
    runpath="$(readelf -d "$f" | sed -n 's/.*(R\(UN\)\{0,1\}PATH).*\[\(.*\)\]/\2/p')"
    for path in ${runpath//:/ }; do
        case $path in
        \$ORIGIN*) ;;
        *) echo "${f#"$prefix"/}: run path $path is not relative to \$ORIGIN" >&2 && exit 1 ;;
        esac
    done
done

# And through them each finds our libraries in the prefix. The plug-in's own
# would be loaded anyway by linkhost, so only this shows its run path wrong.
for f in "$prefix"/bin/linkhost "$prefix"/lib/linkhost/plugins/*.so; do
    for lib in libLinkFramework.so libutps.so; do
        found="$(env -i ldd "$f" | awk -v lib="$lib" '$1 == lib { print $3, $4 }')"
        found=${found% (0x*}
        if [ "$(realpath -m "${found:-none}")" != "$(realpath -m "$prefix/lib/linkhost/$lib")" ]; then
            echo "${f#"$prefix"/} finds $lib: ${found:-nowhere}, not in the prefix" >&2
            exit 1
        fi
    done
done

mkdir -m 700 "$work/runtime" "$work/home"
transcript="$work/transcript.txt"
status=0
env -i PATH=/usr/bin:/bin HOME="$work/home" XDG_RUNTIME_DIR="$work/runtime" \
    QT_QPA_PLATFORM=offscreen \
    "$prefix/bin/linkhost" --headless --scenario "$scenario" --transcript "$transcript" ||
    status=$?
if [ "$status" -ne 0 ]; then
    echo "installed linkhost exited with $status" >&2
    exit 1
fi
# Only the plug-in opens windows named DeviceMgrUI_*.
if ! grep -q '\] shown DeviceMgrUI_' "$transcript"; then
    echo "the transcript shows no window of the plug-in: it was not loaded" >&2
    exit 1
fi
echo "installed linkhost played $(basename "$scenario") with its plug-in"
