#!/usr/bin/env bash
# Wall time of "sonivert-cli convert --threads 2" on one 10-minute 720p H.264/AAC file, which it
# encodes in two segments at once and joins, against one plain ffmpeg run of the same command
# (the one the dry run prints), for MP3 192k (target: at most 0.60 of ffmpeg's time), AAC 192k
# in M4A (0.65) and FLAC (0.85). Each output is also checked: the same decoded sample count as
# ffmpeg's, and ffmpeg -v error decodes it without a word.
#
#   bench/segment_bench.sh [path/to/sonivert-cli] [rounds] [formats]
#
# formats picks cases by their format keyword, "MP3 M4A FLAC" by default.
#
# Each measurement runs `rounds` times (default 3), the two lines taking turns, and the best time
# of each counts, so a burst of load from elsewhere hurts both alike.
set -euo pipefail

source "$(dirname "$0")/common.sh"
find_cli "${1:-}"
rounds=${2:-3}
formats=${3:-MP3 M4A FLAC}
need_worker

make_work segment-bench

echo "Generating the input in $work ..."
mkdir -p "$work/long"
# Speech-like sound: tones that come and go over pink noise, so the encoders do real work.
"${ff[@]}" -f lavfi -i "testsrc=size=1280x720:rate=25:duration=60" \
    -f lavfi -i "aevalsrc=0.4*sin(2*PI*(180+40*sin(2*PI*0.3*t))*t)*gt(sin(2*PI*1.1*t)\,0)|0.3*sin(2*PI*300*t):s=48000:d=60" \
    -f lavfi -i "anoisesrc=a=0.05:c=pink:r=48000:d=60" \
    -filter_complex "[1][2]amix=inputs=2:normalize=0,aformat=channel_layouts=stereo[a]" \
    -map 0:v -map "[a]" -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a aac -b:a 160k \
    "$work/minute.mp4"
input="$work/long/ten-minutes.mp4"
ten_minutes "$work/minute.mp4" "$input"

# The ffmpeg command sonivert-cli stands for, from its dry run, made plain: no progress pipe.
ffmpeg_command() { # format preset
    "$cli" convert --format "$1" --preset "$2" --dry-run --json -o "$work/out-ffmpeg" "$input" |
        python3 -c 'import json, sys
argv = json.load(sys.stdin)[0]["argv"]
drop = {"-progress": 2, "-stats_period": 2, "-loglevel": 2}
out, i = [], 0
while i < len(argv):
    if argv[i] in drop:
        i += drop[argv[i]]
        continue
    out.append(argv[i]); i += 1
print("\0".join(out[:1] + ["-loglevel", "error"] + out[1:]), end="")'
}

run_cli() { # format preset
    rm -rf "$work/out-cli" && mkdir -p "$work/out-cli"
    "$cli" convert --format "$1" --preset "$2" --threads 2 -o "$work/out-cli" "$input" >/dev/null
}

run_ffmpeg() {
    rm -rf "$work/out-ffmpeg" && mkdir -p "$work/out-ffmpeg"
    local command
    mapfile -d '' command <"$work/command"
    "${command[@]}"
}

seconds() { # command...
    local start end
    start=$(date +%s.%N)
    "$@"
    end=$(date +%s.%N)
    awk -v a="$start" -v b="$end" 'BEGIN { printf "%.3f", b - a }'
}

samples() { # file
    ffmpeg -nostdin -v error -i "$1" -f s16le - | wc -c
}

echo "Load before: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"
report() { # label format preset target
    [[ " $formats " == *" $2 "* ]] || return 0
    mkdir -p "$work/out-ffmpeg"
    ffmpeg_command "$2" "$3" >"$work/command"
    local cli_best="" ff_best="" t
    for _ in $(seq 1 "$rounds"); do
        t=$(seconds run_cli "$2" "$3")
        if beats "$t" "$cli_best"; then cli_best=$t; fi
        t=$(seconds run_ffmpeg)
        if beats "$t" "$ff_best"; then ff_best=$t; fi
    done
    local ours theirs errors
    ours=$(find "$work/out-cli" -type f | head -1)
    theirs=$(find "$work/out-ffmpeg" -type f | head -1)
    errors=$(ffmpeg -nostdin -v error -i "$ours" -f null - 2>&1 | head -3)
    echo "$1:"
    printf '  sonivert-cli convert --threads 2   wall %7.2f s\n' "$cli_best"
    printf '  one plain ffmpeg                   wall %7.2f s\n' "$ff_best"
    awk -v a="$cli_best" -v b="$ff_best" -v target="$4" 'BEGIN {
        printf "  ratio sonivert / ffmpeg           wall %7.3f   (target: <= %s) %s\n",
            a / b, target, (a / b <= target ? "ok" : "MISSED") }'
    printf '  decoded bytes: sonivert %s, ffmpeg %s; decode errors: %s\n' \
        "$(samples "$ours")" "$(samples "$theirs")" "${errors:-none}"
}
report "MP3 192k" MP3 MP3-STANDARD 0.60
report "AAC 192k (M4A)" M4A M4A-STANDARD 0.65
report "FLAC" FLAC FLAC-CD 0.85
echo "Load after:  $(cut -d' ' -f1-3 /proc/loadavg)"
