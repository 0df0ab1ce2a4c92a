#!/usr/bin/env bash
# Builds Sonivert (installing what it needs) and starts it. Arguments go to the program.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build --target sonivert sonivert-cli
exec build/bin/sonivert "$@"
