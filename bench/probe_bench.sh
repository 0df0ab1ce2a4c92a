#!/usr/bin/env bash
# Probing speed and list memory.
#
# 1. Files per second of `sonivert-cli probe` over 500 short clips against one `ffprobe` process
#    per file (target: at least 10 times faster).
# 2. Memory per row of the file list: the peak resident size of `sonivert-cli probe` over 10,000
#    files, less the same over one file, divided by 10,000. The probe command keeps every probed
#    row in a FileListModel until it has printed them all, so the difference is the list's cost
#    plus what probing leaves behind (target: under 5 KB per row).
#
# Usage: bench/probe_bench.sh [BUILD_DIR]   (default: build)
# Environment: CLIPS (500), FFPROBE_FILES (files timed with ffprobe, 100), ROWS (10000).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
cli=$build/bin/sonivert-cli
clips=${CLIPS:-500}
ffprobe_files=${FFPROBE_FILES:-100}
rows=${ROWS:-10000}

for tool in "$cli" ffmpeg ffprobe /usr/bin/time; do
    command -v "$tool" >/dev/null || { echo "missing: $tool" >&2; exit 2; }
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

now() { date +%s.%N; }
rate() { echo "scale=1; $1 / ($3 - $2)" | bc; }

echo "Generating $clips clips..."
# A handful of distinct short clips (containers, stream mixes), each copied to make up the set.
ffmpeg -hide_banner -nostdin -loglevel error -y -f lavfi -i testsrc=size=320x240:rate=25:duration=2 \
    -f lavfi -i sine=duration=2 -pix_fmt yuv420p -shortest "$work/seed0.mp4"
ffmpeg -hide_banner -nostdin -loglevel error -y -f lavfi -i testsrc=size=640x360:rate=30000/1001:duration=2 \
    -f lavfi -i sine=duration=2 -ac 6 -pix_fmt yuv420p -shortest "$work/seed1.mkv"
ffmpeg -hide_banner -nostdin -loglevel error -y -f lavfi -i sine=duration=2 -ac 1 "$work/seed2.mp3"
ffmpeg -hide_banner -nostdin -loglevel error -y -f lavfi -i testsrc=size=320x240:rate=25:duration=2 \
    -pix_fmt yuv420p "$work/seed3.avi"
ffmpeg -hide_banner -nostdin -loglevel error -y -f lavfi -i sine=duration=2 -c:a libvorbis "$work/seed4.ogg"
seeds=("$work"/seed*)
mkdir "$work/clips"
for ((i = 0; i < clips; i++)); do
    seed=${seeds[$((i % ${#seeds[@]}))]}
    cp "$seed" "$work/clips/clip$i.${seed##*.}"
done
mapfile -t files < <(ls -1 "$work"/clips/* | sort -V)

# Warm the page cache so both sides read from memory.
cat "${files[@]}" >/dev/null

echo
echo "== Probe throughput ($clips files) =="
start=$(now)
"$cli" probe "${files[@]}" >/dev/null
end=$(now)
ours=$(rate "$clips" "$start" "$end")
printf 'sonivert-cli probe      : %8s files/s  (%.2f s)\n' "$ours" "$(echo "$end - $start" | bc)"

start=$(now)
for ((i = 0; i < ffprobe_files; i++)); do
    ffprobe -v error -show_format -show_streams "${files[$i]}" >/dev/null
done
end=$(now)
theirs=$(rate "$ffprobe_files" "$start" "$end")
printf 'ffprobe, one per file   : %8s files/s  (%d files, %.2f s)\n' "$theirs" "$ffprobe_files" \
    "$(echo "$end - $start" | bc)"
printf 'speed-up                : %8sx  (target >= 10x)\n' "$(echo "scale=1; $ours / $theirs" | bc)"

echo
echo "== List memory ($rows rows) =="
mkdir "$work/many"
for ((i = 0; i < rows; i++)); do
    seed=${seeds[$((i % ${#seeds[@]}))]}
    ln "$seed" "$work/many/f$i.${seed##*.}"
done
peak() { /usr/bin/time -f '%M' "$cli" probe "$@" 2>&1 >/dev/null | tail -n 1; }
one=$(peak "${files[0]}")
mapfile -t many < <(ls -1 "$work"/many/* | sort -V)
all=$(peak "${many[@]}")
per_row=$(echo "scale=2; ($all - $one) * 1024 / $rows / 1024" | bc)
printf 'peak RSS, 1 file        : %8d KB\n' "$one"
printf 'peak RSS, %d files   : %8d KB\n' "$rows" "$all"
printf 'per row                 : %8s KB  (target < 5 KB)\n' "$per_row"
