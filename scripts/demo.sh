#!/usr/bin/env bash
# Shows the program at work: makes a sample survey in demo/, converts it, and compares the result
# with the truth. Installs what is missing for that on a Debian machine.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/install_packages.sh
. scripts/lib/install_packages.sh

mkdir -p build demo
log=build/demo.log
: >"$log"
tool=build/demo/bin/pcbin_las
examples=build/demo/examples

heading() { printf '\n\033[1m%s\033[0m\n' "$*"; }

# Prints a command as a reader would type it and runs it; of the log lines only the messages are
# shown, and not those that tell of every frame.
show() {
  printf '$ %s\n' "$*"
  "$@" </dev/null | sed -E -e '/refine pcl points|write progress|press any key/d' \
    -e 's/^<I>[^]]*\] /  /'
}

# Puts bytes, written as printf does escapes, over those of a file at an offset.
overwrite() {
  local file=$1 offset=$2 bytes=$3
  printf '%b' "$bytes" | dd of="$file" bs=1 seek="$offset" conv=notrunc status=none
}

heading "Building"
install_packages g++ cmake ninja-build libpcl-dev nlohmann-json3-dev libpng-dev
mapfile -t generator < <(generator_options)
run_quietly cmake --preset release "${generator[@]}" -B build/demo -DPCBIN_BUILD_TESTS=OFF
run_quietly cmake --build build/demo --parallel "$(nproc)"
echo "$tool"

heading "A sample survey: two loops through a small town, with an odometry that drifts"
rm -f demo/*.las demo/*.png
show "$examples/make_survey" --out demo
show "$tool" -b demo/survey.pcbin -n 3

heading "Converted as the odometry placed the points, and with the optimised poses"
show "$tool" -i demo/survey.pcbin -o demo/before.las --offset 512000 5403000 310
show "$tool" -i demo/survey.pcbin -f demo/pgo.csv -o demo/map.las

heading "How far the points are from where they belong: without and with the optimised poses"
show "$examples/compare_points" demo/truth.las demo/before.las
show "$examples/compare_points" demo/truth.las demo/map.las

heading "The header of the LAS file"
show "$tool" -r demo/map.las

heading "Repair of a copy whose header was spoilt: the count too high, the bounds zero"
cp demo/map.las demo/broken.las
overwrite demo/broken.las 107 '\xff\xff\xff\x7f'
overwrite demo/broken.las 179 "$(printf '\\0%.0s' {1..48})"
count_and_bounds='^\$|numberOfPointRecords|M(ax|in)\['
show "$tool" -r demo/broken.las | grep -E "$count_and_bounds"
show "$tool" --repair demo/broken.las
repaired=(demo/*_broken.las)
show "$tool" -r "${repaired[0]}" | grep -E "$count_and_bounds"
show "$examples/compare_points" demo/map.las "${repaired[0]}"

if [ -x "$examples/draw_las" ]; then
  heading "Pictures of the points before and after, from above"
  town=(512000 5403035 140)
  show "$examples/draw_las" -i demo/before.las -o demo/before.png --zoom "${town[@]}"
  show "$examples/draw_las" -i demo/map.las -o demo/after.png --zoom "${town[@]}"
  heading "The same of one street, side by side"
  show "$examples/draw_las" -i demo/before.las demo/map.las -o demo/street.png --width 600 \
    --zoom 512015 5403012 36
fi

heading "The files"
du -h --apparent-size demo/* | sed 's/^/  /'
