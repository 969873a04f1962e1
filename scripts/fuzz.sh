#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Fuzzes each target of fuzz/ for the given number of seconds (30 when none is given), with the words of
# fuzz/NAME.dict. Fails when an input crashes one, takes more than 10 seconds or more than 512 MiB; the
# input is kept in build/fuzz.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/install_packages.sh
. scripts/lib/install_packages.sh

seconds=${1:-30}
build=build/fuzz
mkdir -p "$build"
log=$build/build.log
: >"$log"

install_packages clang libclang-rt-14-dev "${build_packages[@]}"
mapfile -t generator < <(generator_options)
echo "Building ..."
run_quietly cmake -S . -B "$build" "${generator[@]}" -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_BUILD_TYPE=Debug -DPCBIN_BUILD_FUZZ=ON -DPCBIN_BUILD_TESTS=OFF -DPCBIN_BUILD_EXAMPLES=OFF
run_quietly cmake --build "$build" --parallel "$(nproc)"

# The targets write an input file for each execution: in memory if possible.
memory=/tmp
if [ -w /dev/shm ]; then memory=/dev/shm; fi
TMPDIR=$(mktemp -d "$memory/pcbin_fuzz_XXXXXX")
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
export ASAN_OPTIONS=quarantine_size_mb=8

# Fuzzes with the seeds of one folder.
fuzz_target() {
  local seeds=$1 name=${1##*/} executions coverage
  local found=$build/found/$name log=$build/$name.log
  mkdir -p "$found"
  if "$build/fuzz/fuzz_$name" "$found" "$seeds" -dict="fuzz/$name.dict" -max_total_time="$seconds" -rss_limit_mb=512 \
    -timeout=10 -print_final_stats=1 -artifact_prefix="$build/$name-" >"$log" 2>&1; then
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    coverage=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -n 1)
    printf '%-18s %9s executions, %s edges\n' "$name" "$executions" "$coverage"
  else
    printf '%-18s FAILED, see %s\n' "$name" "$log"
    grep -E 'ERROR|SUMMARY|Test unit written' "$log" || true
    return 1
  fi
}
export build seconds
export -f fuzz_target
# shellcheck disable=SC2016 # the inner shell expands it
printf '%s\0' fuzz/corpus/* | xargs -0 -n 1 -P "$(nproc)" bash -c 'fuzz_target "$1"' fuzz
