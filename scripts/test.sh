#!/usr/bin/env bash
# Builds Sonivert with its tests (installing what it needs) and runs the whole suite.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build
cmake --build build --target format-check
cd build
ctest --output-on-failure --parallel "$(nproc)"
../scripts/desktop_check.sh .
