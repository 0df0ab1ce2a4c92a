#!/usr/bin/env bash
# Wall time of "sonivert-cli convert --format ORIGINAL" (the audio copied as it is, on the
# long-lived workers) against "ffmpeg -c:a copy" run once per file, both two files at a time, on
# 40 clips of 15 s (640x360 H.264 + AAC, into M4A). Target: not slower than the ffmpeg line.
#
#   bench/copy_bench.sh [path/to/sonivert-cli] [rounds]
#
# Each line runs `rounds` times (default 5), taking turns, and the best time of each counts.
set -euo pipefail

source "$(dirname "$0")/common.sh"
find_cli "${1:-}"
rounds=${2:-5}

make_work copy-bench

echo "Generating the inputs in $work ..."
mkdir -p "$work/batch"
clip 15 640x360 "$work/fifteen.mp4"
for i in $(seq -w 1 40); do cp "$work/fifteen.mp4" "$work/batch/clip$i.mp4"; done

plan=$("$cli" convert --format ORIGINAL --dry-run --json -o "$work" "$work/fifteen.mp4")
grep -q '"engine": "worker"' <<<"$plan" || { echo "sonivert-cli would not use the worker" >&2; exit 1; }
grep -q '"-acodec",' <<<"$plan" && grep -q '"copy",' <<<"$plan" \
    || { echo "the plan is not a stream copy" >&2; exit 1; }

run_cli() {
    local out="$work/out-cli"
    rm -rf "$out" && mkdir -p "$out"
    "$cli" convert --format ORIGINAL --threads 2 -o "$out" "$work/batch"/*.mp4 >/dev/null
}

run_ffmpeg() {
    local out="$work/out-ffmpeg"
    rm -rf "$out" && mkdir -p "$out"
    printf '%s\0' "$work/batch"/*.mp4 | xargs -0 -P 2 -I{} sh -c \
        'ffmpeg -hide_banner -nostdin -loglevel error -n -i "$1" -map 0:a:0 -c:a copy -vn \
            "$2/$(basename "$1" .mp4).m4a"' _ {} "$out"
}

echo "Load before: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"
cli_best="" ff_best=""
for _ in $(seq 1 "$rounds"); do
    t=$(timed run_cli)
    if beats "$t" "$cli_best"; then cli_best=$t; fi
    t=$(timed run_ffmpeg)
    if beats "$t" "$ff_best"; then ff_best=$t; fi
done
[[ $(ls "$work/out-cli" | wc -l) == 40 ]] || { echo "sonivert-cli did not write 40 files" >&2; exit 1; }
echo "40 clips of 15 s, audio copied:"
printf '  sonivert-cli convert --format ORIGINAL   wall %7.2f s   cpu %7.2f s\n' $cli_best
printf '  ffmpeg -c:a copy through xargs -P 2     wall %7.2f s   cpu %7.2f s\n' $ff_best
awk -v a="${cli_best% *}" -v b="${ff_best% *}" -v c="${cli_best#* }" -v d="${ff_best#* }" 'BEGIN {
    printf "  ratio sonivert / ffmpeg                 wall %7.3f     cpu %7.3f   (target: wall <= 1) %s\n",
        a / b, c / d, (a / b <= 1 ? "ok" : "MISSED") }'
echo "Load after:  $(cut -d' ' -f1-3 /proc/loadavg)"
