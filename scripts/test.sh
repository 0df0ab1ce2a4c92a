#!/usr/bin/env bash
# Builds Sonivert with its tests (installing what it needs) and runs the whole suite: the plain
# build, the desktop install checks, the same suite under AddressSanitizer and
# UndefinedBehaviorSanitizer in a second build folder, and every fuzz target for 20 s.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build
cmake --build build --target format-check
(cd build && ctest --output-on-failure --parallel "$(nproc)")
scripts/desktop_check.sh build

cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSONIVERT_SANITIZE=ON >/dev/null
cmake --build build-asan
(cd build-asan && ctest --output-on-failure --parallel "$(nproc)")

scripts/fuzz.sh 20
