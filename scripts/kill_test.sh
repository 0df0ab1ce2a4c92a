#!/usr/bin/env bash
# Kills sonivert-cli or the window at random points of a run, ROUNDS times (default 20), and
# checks after each following run into the same folder: no hidden or partial file survives, files
# that were there before are unchanged (checksums), every finished output reads back whole.
# The window is the real main window run by build/tests/window_driver (offscreen), which opens the
# files and presses Convert Now.
# Usage: scripts/kill_test.sh [ROUNDS]   (after a build into build/)
set -euo pipefail
cd "$(dirname "$0")/.."
rounds=${1:-20}
cli=$PWD/build/bin/sonivert-cli
window=$PWD/build/tests/window_driver
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home TMPDIR=$work/tmp XDG_RUNTIME_DIR=$work/runtime QT_QPA_PLATFORM=offscreen
export SONIVERT_WORKER_PROGRAM=$PWD/build/bin/sonivert-worker
mkdir -p "$HOME" "$TMPDIR" "$work/in" "$work/out"
mkdir -m 700 "$XDG_RUNTIME_DIR"

command_for() { # FRONT ENGINE: sets run to the command of one run into the output folder
    if [ "$1" = window ]; then
        run=("$window" --convert --output "$work/out/" --threads 2 --engine "$2")
    else
        run=("$cli" convert --engine "$2" --threads 2 -o "$work/out")
    fi
}

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
    fronts=(cli cli window window)
    front=${fronts[$((round % 4))]}
    command_for "$front" "$engine"
    "${run[@]}" "$work/in"/*.mp4 >/dev/null 2>&1 &
    pid=$!
    sleep "0.$((RANDOM % 9 + 1))"
    kill -KILL "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
    left=$(find "$work/out" -name '.sonivert-*' ! -name '.sonivert-1-1-0123abcd-00000000.MP3' | wc -l)
    # The next run into the folder cleans up before it writes.
    command_for "$front" auto
    "${run[@]}" "$work/in/clip1.mp4" >/dev/null 2>&1
    leftover=$(find "$work/out" -name '.sonivert-*' ! -name '.sonivert-1-1-0123abcd-00000000.MP3')
    if [ -n "$leftover" ]; then
        echo "round $round ($front, $engine): left behind: $leftover" >&2
        exit 1
    fi
    if [ "$(cd "$work/out" && sha256sum clip1.MP3 .sonivert-1-1-0123abcd-00000000.MP3)" != "$before" ]; then
        echo "round $round ($front, $engine): an existing file changed" >&2
        exit 1
    fi
    for f in "$work/out"/*.MP3; do
        [ "$f" = "$work/out/clip1.MP3" ] && continue
        whole "$f" || { echo "round $round ($front, $engine): $f is not whole" >&2; exit 1; }
    done
    echo "round $round ($front, $engine): killed with $left temporary file(s) in the folder; clean after the next run"
done
echo "$rounds rounds: nothing left behind, nothing changed, every output whole"
