#!/usr/bin/env bash
# Wall time of "sonivert-cli convert" on its long-lived workers against ffmpeg run once per file,
# both two files at a time, to MP3 192k:
#   200 clips of 2 s (target: at most 0.30 of the ffmpeg line), 40 clips of 15 s (0.85) and one
#   10-minute file (1.0), all 640x360 or 720p H.264 + AAC; then the worker's peak resident memory
#   while it converts the 10-minute file (target: under 60 MB).
#
#   bench/worker_bench.sh [path/to/sonivert-cli] [rounds]
#
# Each measurement runs `rounds` times (default 3), the two lines taking turns, and the best time
# of each counts, so a burst of load from elsewhere hurts both alike.
set -euo pipefail

source "$(dirname "$0")/common.sh"
find_cli "${1:-}"
rounds=${2:-3}
need_worker

make_work worker-bench

echo "Generating the inputs in $work ..."
mkdir -p "$work/tiny" "$work/batch" "$work/long"
clip 2 640x360 "$work/two.mp4"
for i in $(seq -w 1 200); do cp "$work/two.mp4" "$work/tiny/clip$i.mp4"; done
clip 15 640x360 "$work/fifteen.mp4"
for i in $(seq -w 1 40); do cp "$work/fifteen.mp4" "$work/batch/clip$i.mp4"; done
clip 60 1280x720 "$work/minute.mp4"
ten_minutes "$work/minute.mp4" "$work/long/ten-minutes.mp4"

engine=$("$cli" convert --format MP3 --preset MP3-STANDARD --dry-run --json -o "$work" \
    "$work/two.mp4" | sed -n 's/.*"engine": "\(.*\)".*/\1/p')
[[ "$engine" == worker ]] || { echo "sonivert-cli would not use the worker ($engine)" >&2; exit 1; }

run_cli() { # folder
    local out="$work/out-cli"
    rm -rf "$out" && mkdir -p "$out"
    "$cli" convert --format MP3 --preset MP3-STANDARD --threads 2 -o "$out" "$1"/*.mp4 >/dev/null
}

run_ffmpeg() { # folder
    local out="$work/out-ffmpeg"
    rm -rf "$out" && mkdir -p "$out"
    printf '%s\0' "$1"/*.mp4 | xargs -0 -P 2 -I{} sh -c \
        'ffmpeg -hide_banner -nostdin -loglevel error -n -i "$1" -ac 2 -ar 44100 -ab 192k \
            -acodec libmp3lame -vn "$2/$(basename "$1" .mp4).mp3"' _ {} "$out"
}

echo "Load before: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"
report() { # label folder target
    local cli_best="" ff_best="" t
    for _ in $(seq 1 "$rounds"); do
        t=$(timed run_cli "$2")
        if beats "$t" "$cli_best"; then cli_best=$t; fi
        t=$(timed run_ffmpeg "$2")
        if beats "$t" "$ff_best"; then ff_best=$t; fi
    done
    echo "$1:"
    printf '  sonivert-cli convert --threads 2   wall %7.2f s   cpu %7.2f s\n' $cli_best
    printf '  ffmpeg through xargs -P 2          wall %7.2f s   cpu %7.2f s\n' $ff_best
    awk -v a="${cli_best% *}" -v b="${ff_best% *}" -v c="${cli_best#* }" -v d="${ff_best#* }" \
        -v target="$3" 'BEGIN {
            printf "  ratio sonivert / ffmpeg           wall %7.3f     cpu %7.3f   (target: wall <= %s) %s\n",
                a / b, c / d, target, (a / b <= target ? "ok" : "MISSED") }'
}
report "200 clips of 2 s" "$work/tiny" 0.30
report "40 clips of 15 s" "$work/batch" 0.85
report "one 10-minute 720p file" "$work/long" 1.0

# The worker's high-water mark of resident memory, sampled while it converts the long file.
out="$work/out-memory"
mkdir -p "$out"
"$cli" convert --format MP3 --preset MP3-STANDARD --threads 1 -o "$out" \
    "$work/long/ten-minutes.mp4" >/dev/null &
cli_pid=$!
peak=0
while kill -0 "$cli_pid" 2>/dev/null; do
    for pid in $(pgrep -P "$cli_pid" -x sonivert-worker || true); do
        hwm=$(awk '/^VmHWM:/ { print $2 }' "/proc/$pid/status" 2>/dev/null || echo 0)
        ((${hwm:-0} > peak)) && peak=$hwm
    done
    sleep 0.1
done
wait "$cli_pid"
awk -v kb="$peak" 'BEGIN {
    printf "sonivert-worker peak resident memory on the 10-minute file: %.1f MB (target: < 60 MB) %s\n",
        kb / 1024, (kb > 0 && kb / 1024 < 60 ? "ok" : "MISSED") }'
echo "Load after:  $(cut -d' ' -f1-3 /proc/loadavg)"
