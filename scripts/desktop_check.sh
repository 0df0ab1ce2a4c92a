#!/usr/bin/env bash
# Checks what makes the build an installable desktop application: installs it into a temporary
# prefix, moves that prefix (the programs must not depend on where they were installed) and
# converts a clip with the installed sonivert-cli, validates the desktop entry and the metainfo,
# and builds the Debian package and runs lintian on it when the tools are present.
# Usage: scripts/desktop_check.sh BUILD_DIR
set -euo pipefail
build=$(cd "${1:?build folder}" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/moved"
prefix=$work/moved
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config XDG_DATA_HOME=$work/home/.local/share
mkdir -p "$HOME" "$work/out"

"$prefix/bin/sonivert-cli" --version
"$prefix/bin/sonivert" --version
ffmpeg -nostdin -v error -f lavfi -i testsrc=size=160x120:rate=10 -f lavfi -i sine=frequency=440 \
    -t 1 -shortest "$work/clip.mp4"
"$prefix/bin/sonivert-cli" convert --format mp3 -o "$work/out" -- "$work/clip.mp4" >/dev/null
test -s "$work/out/clip.MP3"
test -x "$prefix/libexec/sonivert/sonivert-worker"
test -d "$prefix/share/sonivert/Skin"
echo "installed programs run from a moved prefix"

for tool in desktop-file-validate appstreamcli; do
    command -v "$tool" >/dev/null || { echo "$tool missing: desktop checks skipped"; exit 0; }
done
desktop-file-validate "$prefix"/share/applications/*.desktop
# --pedantic would also flag the capital in the reverse-DNS id, which is the usual spelling.
appstreamcli validate --no-net --explain "$prefix"/share/metainfo/*.metainfo.xml

if command -v cpack >/dev/null && command -v dpkg-shlibdeps >/dev/null; then
    (cd "$work" && cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work/package") \
        >"$work/cpack.log" 2>&1 || { cat "$work/cpack.log"; exit 1; }
    deb=$(ls "$work"/package/sonivert_*.deb)
    dpkg-deb -f "$deb" Depends | grep -q ffmpeg
    if command -v lintian >/dev/null; then
        # Errors and warnings fail; informational tags do not.
        report=$(lintian --fail-on error,warning "$deb" 2>&1) || { echo "$report"; exit 1; }
    fi
    echo "package $(basename "$deb") built and checked"
fi
