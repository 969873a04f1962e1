#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
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
  -DCMAKE_CXX_FLAGS="-O1 --coverage"
run_quietly cmake --build "$build" --parallel "$(nproc)"
find "$build" -name '*.gcda' -delete
# Tests that limit the size of files fail here, since the counts cannot be written either: a failure does not
# end the script. Counts below zero, which threads can leave, are no error.
ctest --test-dir "$build" --parallel "$(nproc)" "$@" >>"$log" 2>&1 || grep -A 9 'tests passed' "$log"
gcovr --root . --filter src/ --gcov-ignore-parse-errors "$build" 2>>"$log"
