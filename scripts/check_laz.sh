#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Decodes compressed maps of the sample survey with another program, npm's laz-perf, and compares each point
# with the LAS file. Where npm cannot fetch it, says so and succeeds.
# Usage: check_laz.sh [BUILD], a build folder with the program and the sample survey
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=$PWD/${1:-build/release}
compare=$PWD/scripts/lib/compare_laz.cjs
decoder=laz-perf@0.0.7

directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory"
if ! timeout 120 npm install --no-audit --no-fund --no-save "$decoder" >npm.log 2>&1 </dev/null; then
  echo "not checked: npm cannot fetch $decoder"
  exit 0
fi

"$build/sample_survey/make_survey" . >survey.log </dev/null
convert() {
  "$build/bin/pcbin_las" --batch -d 4 -i survey.pcbin -f pgo.csv "$@" </dev/null
}
for options in '' '--epsg 25832 --gps-time --rgb16 --source-id'; do
  # shellcheck disable=SC2086 # several words
  convert $options -o map.las
  for threads in 1 3; do
    # shellcheck disable=SC2086
    convert $options --threads $threads -o map.laz
    NODE_PATH=$directory/node_modules node "$compare" map.laz map.las
  done
done
