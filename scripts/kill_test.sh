#!/usr/bin/env bash
# Kills sonivert-cli at random points of a run, ROUNDS times (default 20), and checks after each
# following run into the same folder: no hidden or partial file survives, files that were there
# before are unchanged (checksums), every finished output reads back whole.
# Usage: scripts/kill_test.sh [ROUNDS]   (after a build into build/)
set -euo pipefail
cd "$(dirname "$0")/.."
rounds=${1:-20}
cli=$PWD/build/bin/sonivert-cli
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home TMPDIR=$work/tmp
mkdir -p "$HOME" "$TMPDIR" "$work/in" "$work/out"

for i in 1 2 3 4 5 6; do
    ffmpeg -hide_banner -loglevel error -f lavfi -i testsrc=size=160x120:d=3 \
        -f lavfi -i sine=d=3 -shortest "$work/in/clip$i.mp4"
done
echo "the person's own file" > "$work/out/clip1.MP3"
echo "not ours either" > "$work/out/.sonivert-1-1-0123abcd-00000000.MP3"
before=$(cd "$work/out" && sha256sum clip1.MP3 .sonivert-1-1-0123abcd-00000000.MP3)

whole() { # FILE: reads back with at least 2.9 s of sound
    local seconds
    seconds=$(ffprobe -v error -show_entries format=duration -of csv=p=0 "$1") || return 1
    awk -v s="$seconds" 'BEGIN { exit !(s >= 2.9) }'
}

for round in $(seq "$rounds"); do
    engines=(ffmpeg worker)
    engine=${engines[$((round % 2))]}
    "$cli" convert --engine "$engine" --threads 2 -o "$work/out" "$work/in"/*.mp4 >/dev/null 2>&1 &
    pid=$!
    sleep "0.$((RANDOM % 9 + 1))"
    kill -KILL "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
    left=$(find "$work/out" -name '.sonivert-*' ! -name '.sonivert-1-1-0123abcd-00000000.MP3' | wc -l)
    # The next run into the folder cleans up before it writes.
    "$cli" convert -o "$work/out" "$work/in/clip1.mp4" >/dev/null
    leftover=$(find "$work/out" -name '.sonivert-*' ! -name '.sonivert-1-1-0123abcd-00000000.MP3')
    if [ -n "$leftover" ]; then
        echo "round $round ($engine): left behind: $leftover" >&2
        exit 1
    fi
    if [ "$(cd "$work/out" && sha256sum clip1.MP3 .sonivert-1-1-0123abcd-00000000.MP3)" != "$before" ]; then
        echo "round $round ($engine): an existing file changed" >&2
        exit 1
    fi
    for f in "$work/out"/*.MP3; do
        [ "$f" = "$work/out/clip1.MP3" ] && continue
        whole "$f" || { echo "round $round ($engine): $f is not whole" >&2; exit 1; }
    done
    echo "round $round ($engine): killed with $left temporary file(s) in the folder; clean after the next run"
done
echo "$rounds rounds: nothing left behind, nothing changed, every output whole"
