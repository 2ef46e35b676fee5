#!/usr/bin/env bash
# Installs the Debian packages the build needs, only those that are missing.
set -euo pipefail

packages=(
    cmake g++ ninja-build pkg-config
    qt6-base-dev qt6-tools-dev qt6-l10n-tools qt6-tools-dev-tools
    xvfb xauth
    x11-utils  # xwininfo: the Xvfb test asks the X server where the PIN dialog is
    # clang for the sanitizer builds (its undefined-behaviour checks include
    # enumeration loads, which gcc's lack) and libFuzzer for the fuzz targets.
    clang libclang-rt-14-dev
    # make format and the formatting check of CI.
    clang-format
    # The SDK's modemmanager backend (libmm-glib forgets to depend on GLib's
    # headers), and the real daemon with a private bus for its tests.
    libmm-glib-dev libglib2.0-dev
    modemmanager dbus-daemon libglib2.0-bin
    # The tray tests' desktop: a tray host and a notification service on a
    # private session bus.
    python3-dbus python3-gi
    # make package: cpack finds the binaries with file and their dependencies
    # with dpkg-shlibdeps.
    dpkg-dev file
)

missing=()
for p in "${packages[@]}"; do
    dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-deps: installing ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
