#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Demonstrates the program: builds it, makes a sample survey in demo/, converts it and compares the
# result with the true points. Installs missing packages on a Debian machine.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/install_packages.sh
. scripts/lib/install_packages.sh

mkdir -p build demo
log=build/demo.log
: >"$log"
tool=build/demo/bin/pcbin_las
survey=build/demo/sample_survey

heading() { printf '\n\033[1m%s\033[0m\n' "$*"; }

# Prints a command and runs it. Time stamps of log lines and the lines per frame are left out.
show() {
  printf '$ %s\n' "$*"
  "$@" </dev/null | sed -E -e '/refine pcl points|write progress|press any key/d' \
    -e 's/^<I>[^]]*\] /  /'
}

# Overwrites bytes of a file at an offset. The bytes are given as escapes of printf.
overwrite() {
  local file=$1 offset=$2 bytes=$3
  printf '%b' "$bytes" | dd of="$file" bs=1 seek="$offset" conv=notrunc status=none
}

heading "Building"
install_packages g++ cmake ninja-build libpcl-dev libpng-dev
mapfile -t generator < <(generator_options)
run_quietly cmake --preset release "${generator[@]}" -B build/demo -DPCBIN_BUILD_TESTS=OFF
run_quietly cmake --build build/demo --parallel "$(nproc)" --target demo_programs
echo "$tool"

heading "A sample survey: a drive down a street and back, with a drifting odometry"
rm -f demo/*.las demo/*.png
show "$survey/make_survey" demo
show "$tool" -b demo/survey.pcbin -n 3

heading "Conversion without and with the optimised poses"
show "$tool" -i demo/survey.pcbin -o demo/before.las --offset 512000 5403000 310
show "$tool" -i demo/survey.pcbin -f demo/pgo.csv -o demo/map.las

heading "Distances from the true points, without and with the optimised poses"
show "$survey/compare_points" demo/truth.las demo/before.las
show "$survey/compare_points" demo/truth.las demo/map.las

heading "The header of the LAS file"
show "$tool" -r demo/map.las

heading "Repair of a copy with a corrupt header: the count is too high, the bounds are zero"
cp demo/map.las demo/broken.las
overwrite demo/broken.las 107 '\xff\xff\xff\x7f'
overwrite demo/broken.las 179 "$(printf '\\0%.0s' {1..48})"
count_and_bounds='^\$|numberOfPointRecords|M(ax|in)\['
show "$tool" -r demo/broken.las | grep -E "$count_and_bounds"
show "$tool" --repair demo/broken.las
repaired=(demo/*_broken.las)
show "$tool" -r "${repaired[0]}" | grep -E "$count_and_bounds"
show "$survey/compare_points" demo/map.las "${repaired[0]}"

heading "Pictures from above: the whole map, and where the optimised poses changed it most"
show "$tool" -d 3 -r demo/map.las --picture demo/map.png
show "$tool" -d 3 --batch -i demo/survey.pcbin -f demo/pgo.csv -o demo/map.las \
  --picture demo/before_after.png --compare

heading "The files"
du -h --apparent-size demo/* | sed 's/^/  /'
