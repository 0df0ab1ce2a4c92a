#!/usr/bin/env bash
# Installs the Debian packages Sonivert needs to build, run and test, when any is missing.
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config clang-format
    qt6-base-dev qt6-multimedia-dev qt6-svg-dev libxkbcommon-dev fonts-dejavu-core
    libavformat-dev libavcodec-dev libavutil-dev libswresample-dev libswscale-dev ffmpeg
    gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-libav
    help2man librsvg2-bin shared-mime-info dbus desktop-file-utils appstream lintian dpkg-dev
    clang
)
if [[ "${1:-}" == "--with-display" ]]; then
    packages+=(xvfb xauth)
fi

missing=()
for p in "${packages[@]}"; do
    status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
    [[ "$status" == "install ok installed" ]] || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "Installing: ${missing[*]}"
sudo=()
[[ $(id -u) -eq 0 ]] || sudo=(sudo)
"${sudo[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
