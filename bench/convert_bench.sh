#!/usr/bin/env bash
# Wall time of "sonivert-cli convert" against ffmpeg run directly, both two files at a time:
#   a batch of 40 clips of 15 s (640x360 H.264 + AAC) and one 10-minute 720p file, to MP3 192k.
# Prints each time and the ratio sonivert / ffmpeg (target: at most 1.10).
#
#   bench/convert_bench.sh [path/to/sonivert-cli] [rounds]
#
# It measures the ffmpeg engine (what sonivert adds around one ffmpeg per file); ENGINE=auto or
# ENGINE=worker measures another (bench/worker_bench.sh holds the worker's own targets).
#
# Each measurement runs `rounds` times (default 3), the two programs taking turns, and the best
# time of each counts, so a burst of load from elsewhere hurts both alike.
set -euo pipefail

source "$(dirname "$0")/common.sh"
find_cli "${1:-}"
rounds=${2:-3}
engine=${ENGINE:-ffmpeg}

make_work convert-bench

echo "Generating the inputs in $work ..."
mkdir -p "$work/batch"
clip 15 640x360 "$work/clip.mp4"
for i in $(seq -w 1 40); do cp "$work/clip.mp4" "$work/batch/clip$i.mp4"; done
clip 60 1280x720 "$work/minute.mp4"
mkdir -p "$work/long"
ten_minutes "$work/minute.mp4" "$work/long/ten-minutes.mp4"


run_cli() { # folder
    local out="$work/out-cli"
    rm -rf "$out" && mkdir -p "$out"
    "$cli" convert --format MP3 --preset MP3-STANDARD --threads 2 --engine "$engine" -o "$out" \
        "$1"/*.mp4 >/dev/null
}

run_ffmpeg() { # folder
    local out="$work/out-ffmpeg"
    rm -rf "$out" && mkdir -p "$out"
    printf '%s\0' "$1"/*.mp4 | xargs -0 -P 2 -I{} sh -c \
        'ffmpeg -hide_banner -nostdin -loglevel error -n -i "$1" -ac 2 -ar 44100 -ab 192k \
            -acodec libmp3lame -vn "$2/$(basename "$1" .mp4).mp3"' _ {} "$out"
}

# Runs command on folder `rounds` times; prints the best wall time and the CPU time (user +
# system, the program and its children) of that round. CPU time hardly moves with the load
# of others, so it tells overhead apart from a busy machine.
best() { # command folder
    local best="" t
    for _ in $(seq 1 "$rounds"); do
        t=$(timed "$1" "$2")
        if beats "$t" "$best"; then best=$t; fi
    done
    echo "$best"
}

echo "Engine: $engine. Load before: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"
report() { # label folder
    local cli_times ff_times
    cli_times=($(best run_cli "$2"))
    ff_times=($(best run_ffmpeg "$2"))
    echo "$1:"
    printf '  sonivert-cli convert --threads 2   wall %7.2f s   cpu %7.2f s\n' "${cli_times[@]}"
    printf '  ffmpeg through xargs -P 2          wall %7.2f s   cpu %7.2f s\n' "${ff_times[@]}"
    awk -v a="${cli_times[0]}" -v b="${ff_times[0]}" -v c="${cli_times[1]}" -v d="${ff_times[1]}" \
        'BEGIN { printf "  ratio sonivert / ffmpeg           wall %7.3f     cpu %7.3f   (target: wall <= 1.10)\n", a / b, c / d }'
}
report "40 clips of 15 s" "$work/batch"
report "one 10-minute 720p file" "$work/long"
echo "Load after:  $(cut -d' ' -f1-3 /proc/loadavg)"
