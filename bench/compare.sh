#!/bin/sh
# SPDX-License-Identifier: BSD-3-Clause
# Compares whole runs of the tool with programs that only read and write the same number of bytes, and checks
# the ratios against their bounds. Runs alternate, and the median ratio is shown: it varies much less than the
# times on a shared machine.
#
#   compare.sh BUILD_DIR [WORK_DIR [PAIRS [large]]]
#
# BUILD_DIR must be built with -DPCBIN_BUILD_BENCH=ON. WORK_DIR (default: BUILD_DIR/bench-data) needs 2 GB,
# and 8 GB more with "large", which adds a survey of 100 million points. The surveys are kept for the next
# run. Waits up to QUIET_SECONDS (default 300) for a load below 1, and reports when the machine was not quiet.
# The exit status is 1 when a bound is missed.
set -eu

if [ $# -lt 1 ]; then
  sed -n '2,/^set/s/^# \{0,1\}//p' "$0" | sed '$d'
  exit 2
fi
tool=$1/bin/pcbin_las
bench=$1/bench
work=${2:-$1/bench-data}
pairs=${3:-7}
large=${4:-}
out=$work/out
new=$out/new_map.las
missed=0

# Writes the survey $1 of $2 frames of $3 points.
make_survey() {
  if [ ! -f "$work/$1/pgo.csv" ]; then
    mkdir -p "$work/$1"
    "$bench/make_input" "$work/$1" "$2" "$3"
  fi
}

is_quiet() {
  awk '{ exit !($1 < 1) }' /proc/loadavg
}

wait_for_quiet() {
  waited=0
  until is_quiet || [ "$waited" -ge "${QUIET_SECONDS:-300}" ]; do
    sleep 10
    waited=$((waited + 10))
  done
  load=$(cut -d ' ' -f 1 /proc/loadavg)
  if is_quiet; then echo "load $load"; else echo "load $load: the machine was NOT QUIET"; fi
}

# The digest of a LAS file without the software name and the date.
digest() {
  { head -c 58 "$1" && tail -c +95 "$1"; } | sha256sum | cut -d ' ' -f 1
}

# The expected digests of the converted surveys of 1 and of 10 million points. The surveys depend on
# libm; these digests are from Debian 12.
recorded_digest() {
  case $1 in
    1) echo 0ac914d63c5e310f90ef22de1fe62237d99aa125aa998a878cf87455a23bbd24 ;;
    10) echo 04a11533480d49ada62dca617da589c6fdcb30f6f0b5f366dbf68a8f7e85b33a ;;
  esac
}

# Runs "A... -- B..." in pairs and stores their cost.
measure() {
  costs=$("$bench/run_pairs" "$pairs" "$out/*_*.las" "$lines" -- "$@")
  read -r wall cpu memory other_wall other_cpu other_memory wall_ratio cpu_ratio user <<EOF
$costs
EOF
}

# Prints a row: label, value, lowest and highest allowed value, remark.
row() {
  verdict=$(awk -v value="$2" -v low="$3" -v high="$4" \
    'BEGIN { print (value >= low && value <= high) ? "ok" : "MISSED" }')
  [ "$verdict" = ok ] || missed=1
  printf '%-56s %8.3f  %4s to %-6s %-6s  %s\n' "$1" "$2" "$3" "$4" "$verdict" "$5"
}

# Rows for the last measurement.
wall_row() {
  row "$1: wall ratio" "$wall_ratio" 0 "$2" "$wall s / $other_wall s"
}
cpu_row() {
  row "$1: CPU ratio" "$cpu_ratio" 0 "$2" "$cpu s / $other_cpu s"
}

# Compares the time per point of a conversion of $1 million points with that of 10 million.
compare_sizes() {
  measure "$tool" -i "$work/$1/survey.pcbin" -f "$work/$1/pgo.csv" -o "$new" -- \
    "$tool" -i "$work/10/survey.pcbin" -f "$work/10/pgo.csv" -o "$new"
  row "convert $1 M: time per point to that of 10 M" \
    "$(awk -v ratio="$wall_ratio" -v million="$1" 'BEGIN { print ratio * 10 / million }')" \
    0 1.1 "$wall s / $other_wall s"
}

mkdir -p "$out"
rm -f "$out"/*.las "$out"/lines
lines=/dev/null
[ "$large" != large ] || make_survey 100 5000 20000
make_survey 10000-frames 10000 1000
for million in 1 10; do
  make_survey "$million" $((million * 50)) 20000
  "$tool" -i "$work/$million/survey.pcbin" -f "$work/$million/pgo.csv" -o "$out/$million.las" \
    </dev/null >/dev/null
  found=$(digest "$out/$million.las")
  if [ "$found" = "$(recorded_digest "$million")" ]; then
    echo "$million M points: the LAS file matches the recorded digest $found"
  else
    echo "$million M points: the LAS file DIFFERS from the recorded one, digest $found"
    missed=1
  fi
done
wait_for_quiet
echo "medians of $pairs pairs"
las=$out/10.las

for million in 1 10; do
  survey=$work/$million
  measure "$tool" -i "$survey/survey.pcbin" -f "$survey/pgo.csv" -o "$new" -- \
    "$bench/io_floor" --slices "$survey/survey.pcbin" "$new"
  printf '%-56s %8.3f  %25s %s\n' "convert $million M / I/O floor in slices: wall ratio" "$wall_ratio" "" \
    "$wall s / $other_wall s"
  measure "$tool" -i "$survey/survey.pcbin" -f "$survey/pgo.csv" -o "$new" -- \
    "$bench/io_floor" "$survey/survey.pcbin" "$new"
  wall_row "convert $million M / I/O floor" "$([ "$million" = 1 ] && echo 1.2 || echo 1.35)"
done
cpu_row "convert 10 M / I/O floor" 1.7
row "convert 10 M: user time per point, ns" "$(awk -v s="$user" 'BEGIN { print s * 100 }')" 0 10 ""
row "convert 10 M: peak memory, MiB" "$(awk -v kib="$memory" 'BEGIN { print kib / 1024 }')" 0 24 ""
if [ "$large" = large ]; then
  compare_sizes 100
  row "convert 100 M: peak memory to that of 10 M" \
    "$(awk -v a="$memory" -v b="$other_memory" 'BEGIN { print a / b }')" 0.95 1.05 \
    "$memory KiB / $other_memory KiB"
fi

measure "$tool" --repair "$las" -- "$bench/io_floor" "$las" "$new" 34 34
wall_row "repair 10 M / I/O floor" 1.6
cpu_row "repair 10 M / I/O floor" 9

measure "$tool" -r "$las"
row "view the header of 10 M, ms" "$(awk -v time="$wall" 'BEGIN { print time * 1000 }')" 0 10 ""
measure "$tool" -r "$las" -s 9999999 -n 1 -- "$tool" -r "$las"
row "view the last of 10 M LAS records, ms more than the header" \
  "$(awk -v a="$wall" -v b="$other_wall" 'BEGIN { print (a - b) * 1000 }')" -3 3 ""
measure "$tool" -b "$work/10000-frames/survey.pcbin" -s 9999999 -n 1
row "view the last point of 10,000 pcbin frames, ms" \
  "$(awk -v time="$wall" 'BEGIN { print time * 1000 }')" 0 20 ""

lines=$out/lines
measure "$tool" -r "$out/1.las" -n -1 -- "$bench/print_floor" "$out/1.las"
wall_row "list 1 M LAS records / print floor" 9
cpu_row "list 1 M LAS records / print floor" 1.5
rm -f "$out"/*.las "$out"/lines
exit "$missed"
