# What the sonivert-cli benches share; sourced by them, not run.

# Sets cli to sonivert-cli: the path given, else $SONIVERT_CLI, else the plain build's (first: a
# sanitizer build would measure the sanitizer). Exits 2 when it, or ffmpeg, is missing.
find_cli() { # [path]
    local here candidate
    here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
    cli=${1:-${SONIVERT_CLI:-}}
    if [[ -z "$cli" ]]; then
        for candidate in "$here"/build/bin/sonivert-cli "$here"/build*/bin/sonivert-cli; do
            [[ -x "$candidate" ]] && cli=$candidate && break
        done
    fi
    [[ -x "${cli:-}" ]] || { echo "sonivert-cli not found; pass its path" >&2; exit 2; }
    command -v ffmpeg >/dev/null || { echo "ffmpeg not found" >&2; exit 2; }
}

need_worker() {
    [[ -x "$(dirname "$cli")/sonivert-worker" ]] || { echo "no sonivert-worker beside $cli" >&2; exit 2; }
}

# Sets work to a new folder under $TMPDIR, removed on exit, and ff to the quiet ffmpeg line.
make_work() { # name
    work=$(mktemp -d "${TMPDIR:-/tmp}/$1.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    ff=(ffmpeg -hide_banner -nostdin -loglevel error)
}

# A test-pattern H.264 + AAC clip of a 440 Hz tone.
clip() { # seconds size output
    "${ff[@]}" -f lavfi -i "testsrc=size=$2:rate=25:duration=$1" \
        -f lavfi -i "sine=frequency=440:sample_rate=44100:duration=$1" -ac 2 \
        -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a aac -b:a 128k "$3"
}

# Ten copies of a one-minute file joined into one, streams copied.
ten_minutes() { # minute output
    for _ in $(seq 1 10); do echo "file '$1'"; done >"$work/list.txt"
    "${ff[@]}" -f concat -safe 0 -i "$work/list.txt" -c copy "$2"
}

# "wall cpu" of one run: seconds, and user + system seconds of the command and its children.
timed() { # command...
    local times
    times=$({ TIMEFORMAT='%R %U %S'; time "$@"; } 2>&1 >/dev/null | tail -1)
    awk '{ print $1, $2 + $3 }' <<<"$times"
}

# True when time (its first number) beats best, or there is no best yet.
beats() { # time best
    [[ -z "$2" ]] || awk -v a="${1%% *}" -v b="${2%% *}" 'BEGIN { exit !(a < b) }'
}
