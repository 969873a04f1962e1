#!/usr/bin/env bash
# Runs the tests and prints which lines of src/ they execute: for each file the share and the lines that no
# test reaches, and the share of all lines.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/install_packages.sh
. scripts/lib/install_packages.sh

build=build/coverage
mkdir -p "$build"
log=$build/build.log
: >"$log"

install_packages "${build_packages[@]}" "${test_packages[@]}" gcovr
mapfile -t generator < <(generator_options)
echo "Building ..."
run_quietly cmake -S . -B "$build" "${generator[@]}" -DCMAKE_BUILD_TYPE=Debug -DPCBIN_BUILD_EXAMPLES=OFF \
  -DCMAKE_CXX_FLAGS="-O0 --coverage -fprofile-update=atomic"
run_quietly cmake --build "$build" --parallel "$(nproc)"
find "$build" -name '*.gcda' -delete
run_quietly ctest --test-dir "$build" --parallel "$(nproc)" "$@"
gcovr --root . --filter src/ "$build" 2>>"$log"
