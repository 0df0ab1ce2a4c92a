#!/usr/bin/env bash
# Builds the libFuzzer targets in tests/fuzz (clang, with AddressSanitizer and UBSan) and runs
# each for SECONDS (default 20). Exits non-zero on a crash, a leak or a time-out; the input that
# did it is left in build-fuzz/ and belongs in tests/fuzz/regressions/TARGET/ once fixed.
# Each target compiles only the sources of the parser it feeds.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
out=build-fuzz
mkdir -p "$out"
command -v clang++ >/dev/null || { echo "fuzz.sh: clang++ is missing (apt install clang)" >&2; exit 2; }

flags=(-std=c++20 -g -O1 -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all -Isrc)
qt=($(pkg-config --cflags --libs Qt6Core) -fPIC)

declare -A sources=(
    [worker_protocol]="src/core/convert/worker_protocol.cpp"
    [option_tokens]="src/core/convert/option_tokens.cpp"
    [progress_reader]="src/core/convert/line_reader.cpp"
    [command_line]="src/core/app/command_line.cpp"
    [catalogue_table]="src/core/formats/catalogue_table.cpp"
)

# The protocol's seeds are binary frames, so they are written here rather than kept.
frame() { # TYPE KEY VALUE...: one frame on standard output
    local type=$1 payload
    shift
    payload=$(mktemp)
    printf "\\$(printf %03o "$type")" >"$payload"
    while [ $# -gt 0 ]; do
        for word in "$1" "$2"; do
            le32 ${#word} >>"$payload"
            printf %s "$word" >>"$payload"
        done
        shift 2
    done
    le32 "$(stat -c %s "$payload")"
    cat "$payload"
    rm -f "$payload"
}
le32() { printf "\\$(printf %03o $(($1 & 255)))\\$(printf %03o $(($1 >> 8 & 255)))\\$(printf %03o $(($1 >> 16 & 255)))\\$(printf %03o $(($1 >> 24 & 255)))"; }
seeds=$out/seeds/worker_protocol
mkdir -p "$seeds"
frame 1 version 1 >"$seeds/ready"
frame 2 id 1 input /in/clip.mp4 output /out/.s.mp3 encoder libmp3lame tag title=Song >"$seeds/task"
{ frame 3 id 1 out_us 500000; frame 4 id 1 level 16 line "[mp3 @ 0x1] oops"; frame 5 id 1 ok 1; } >"$seeds/end"

status=0
for target in "${!sources[@]}"; do
    binary=$out/${target}_fuzz
    clang++ "${flags[@]}" tests/fuzz/${target}_fuzz.cpp ${sources[$target]} "${qt[@]}" -o "$binary"
    corpus=$out/corpus/$target
    mkdir -p "$corpus"
    dirs=("$corpus")
    for d in "tests/fuzz/corpus/$target" "$out/seeds/$target" "tests/fuzz/regressions/$target"; do
        [ -d "$d" ] && dirs+=("$d")
    done
    # Inputs that once crashed a target are run first, every time.
    if [ -d "tests/fuzz/regressions/$target" ]; then
        "$binary" -runs=0 "tests/fuzz/regressions/$target"/* >/dev/null 2>&1 \
            || { echo "fuzz.sh: $target: a regression input fails again" >&2; status=1; continue; }
    fi
    echo "fuzz.sh: $target for $seconds s"
    if ! nice -n 19 "$binary" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -max_len=65536 -artifact_prefix="$out/$target-" -print_final_stats=1 "${dirs[@]}" \
        >"$out/$target.log" 2>&1; then
        echo "fuzz.sh: $target found a problem; see $out/$target.log" >&2
        tail -30 "$out/$target.log" >&2
        status=1
    else
        grep -E "stat::number_of_executed_units|cov:" "$out/$target.log" | tail -2
    fi
done
exit $status
