#!/usr/bin/env bash
# The window under load: imports IMPORT_FILES files (default 5,000) and converts CONVERT_FILES
# tiny clips (default 1,000) with the real main window (build/tests/window_driver, offscreen),
# and prints
#   - the longest stall of the UI thread during the import and during the run: how late a 10 ms
#     timer on that thread fired (target: under 50 ms);
#   - memory per row: the window's resident size after importing IMPORT_FILES files less the
#     same after importing SMALL_IMPORT files (default 500), divided by the difference in rows, so
#     that what any import costs once (libraries, threads, the wait dialog) is left out
#     (target: under 5 KB);
#   - the run's totals: every file accounted for, done + failed = total.
# The inputs are hard links to a few generated clips under different names; one in 50 is the
# first half of a clip with its index in front, which opens but fails to convert (a partial file),
# so that the totals count failures too.
#
# Usage: bench/load_bench.sh [BUILD_DIR]   (default: build)
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
window=$build/tests/window_driver
import_files=${IMPORT_FILES:-5000}
convert_files=${CONVERT_FILES:-1000}
small_import=${SMALL_IMPORT:-500}

for tool in "$window" ffmpeg; do
    command -v "$tool" >/dev/null || { echo "missing: $tool" >&2; exit 2; }
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home TMPDIR=$work/tmp XDG_RUNTIME_DIR=$work/runtime QT_QPA_PLATFORM=offscreen
export SONIVERT_WORKER_PROGRAM=$build/bin/sonivert-worker
mkdir -p "$HOME" "$TMPDIR" "$work/in" "$work/out"
mkdir -m 700 "$XDG_RUNTIME_DIR"

echo "Generating $import_files inputs (load average $(cut -d' ' -f1-3 /proc/loadavg))..."
ffmpeg -hide_banner -nostdin -loglevel error -y -f lavfi -i testsrc=size=160x120:rate=25:duration=0.5 \
    -f lavfi -i sine=duration=0.5 -pix_fmt yuv420p -shortest "$work/seed0.mp4"
ffmpeg -hide_banner -nostdin -loglevel error -y -f lavfi -i testsrc=size=160x120:rate=25:duration=0.5 \
    -f lavfi -i sine=duration=0.5 -c:a libvorbis -shortest "$work/seed1.mkv"
ffmpeg -hide_banner -nostdin -loglevel error -y -f lavfi -i testsrc=size=160x120:rate=25:duration=0.5 \
    -f lavfi -i sine=duration=0.5 -shortest "$work/seed2.avi"
ffmpeg -hide_banner -nostdin -loglevel error -y -f lavfi -i testsrc=size=160x120:rate=25:duration=2 \
    -f lavfi -i sine=duration=2 -pix_fmt yuv420p -shortest -movflags +faststart "$work/whole.mp4"
head -c $(($(stat -c %s "$work/whole.mp4") / 2)) "$work/whole.mp4" >"$work/cut.mp4"
seeds=("$work"/seed*)
for ((i = 0; i < import_files; i++)); do
    seed=${seeds[$((i % ${#seeds[@]}))]}
    ((i % 50 == 49)) && seed=$work/cut.mp4
    ln "$seed" "$work/in/clip$i.${seed##*.}"
done
broken=$((convert_files / 50))
mapfile -t files < <(ls -1 "$work"/in/* | sort -V)
cat "${seeds[@]}" >/dev/null

echo
echo "== Import of $small_import files, then of $import_files files =="
"$window" "${files[@]:0:$small_import}" 2>/dev/null | tee "$work/small.txt"
"$window" "${files[@]}" 2>/dev/null | tee "$work/import.txt"

echo
echo "== Import and run of $convert_files files (to the default format, 2 at once) =="
"$window" --convert --threads 2 --output "$work/out/" "${files[@]:0:$convert_files}" 2>/dev/null \
    | grep -v '^converting$' | tee "$work/run.txt"

import_stall=$(sed -n 's/.*longest UI stall \([0-9]*\) ms.*/\1/p' "$work/import.txt")
resident() { sed -n 's/.*; resident \([0-9]*\) bytes.*/\1/p' "$1"; }
per_row=$(( ($(resident "$work/import.txt") - $(resident "$work/small.txt")) / (import_files - small_import) ))
run_stall=$(sed -n 's/^run:.*longest UI stall \([0-9]*\) ms.*/\1/p' "$work/run.txt")
read -r done failed total < <(sed -n 's/^run: done \([0-9]*\), failed \([0-9]*\), total \([0-9]*\);.*/\1 \2 \3/p' "$work/run.txt")
outputs=$(find "$work/out" -type f ! -name '.*' | wc -l)

echo
echo "== Summary (load average $(cut -d' ' -f1-3 /proc/loadavg)) =="
printf 'Longest UI stall, import of %d : %4d ms  (target < 50 ms)\n' "$import_files" "$import_stall"
printf 'Longest UI stall, run of %d    : %4d ms  (target < 50 ms)\n' "$convert_files" "$run_stall"
printf 'Memory per row                  : %4.2f KB (target < 5 KB)\n' "$(echo "scale=2; $per_row / 1024" | bc)"
printf 'Run totals                      : %d done + %d failed = %d of %d files; %d outputs; %d cut inputs\n' \
    "$done" "$failed" "$((done + failed))" "$total" "$outputs" "$broken"
[ "$((done + failed))" -eq "$total" ] && [ "$total" -eq "$convert_files" ] && [ "$outputs" -eq "$done" ] \
    && [ "$failed" -eq "$broken" ]
