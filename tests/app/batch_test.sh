#!/usr/bin/env bash
# The recipes for many conversions: good and bad surveys side by side, told apart by exit status and
# message. Usage: batch_test.sh SCRIPTS PROGRAM...
set -euo pipefail
scripts=$1
shift
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory"

# The program under one name, with the emulator that it may need.
printf '#!/bin/sh\nexec %s "$@"\n' "$*" > pcbin_las
chmod +x pcbin_las
export PCBIN_LAS=$directory/pcbin_las
cp "$scripts"/*.sh .

fail() {
  echo "FAILED: $*"
  exit 1
}

make_survey() {
  mkdir -p "$1"
  # A file header, and one frame of one point: all zero but for the formats, the count and the colour.
  {
    printf '\377\001\104\000PCBIN\000\000\000\001\001\000\000'
    printf '\001%.0s' 1 && head -c 7 /dev/zero && printf '\001' && head -c 43 /dev/zero
    printf '\012' && head -c 43 /dev/zero && printf '\001\000\000\000'
    head -c 40 /dev/zero
  } > "$1/survey.pcbin"
  printf '0,0,1,2,3%s\n' ',0,0,0,0,0,0,1,0,0,0,0,0,0,0,0,0,1,0,0,0,0,0,0' > "$1/pgo.csv"
}

make_survey a
make_survey 'b with blanks'
make_survey c
make_survey no_poses && rm no_poses/pgo.csv
make_survey cut && truncate -s -1 cut/survey.pcbin

expect() { # NAME: what the recipe printed, against one line for each survey
  local name=$1 line
  for line in 'a: converted' 'b with blanks: converted' 'c: converted' 'no_poses: failed, see no_poses/convert.log' \
    'cut: failed, see cut/convert.log'; do
    grep -qxF "$line" "$name.log" || fail "$name did not say: $line"
  done
  cmp -s a/map.las c/map.las || fail "$name wrote different files"
  [ "$(stat -c %s a/map.las)" -eq 261 ] || fail "$name wrote no point"
}

# Twice: the second time every map.las is there and is overwritten.
for _ in 1 2; do
  if printf '%s\0' a 'b with blanks' c no_poses cut | xargs -0 -P 2 -n 1 ./convert_survey.sh > xargs.log 2>&1; then
    fail 'xargs ended with 0 in spite of failed surveys'
  fi
  expect xargs
done

if command -v parallel > /dev/null && parallel --version 2> /dev/null | grep -q GNU; then
  if parallel ./convert_survey.sh ::: a 'b with blanks' c no_poses cut > parallel.log 2>&1; then
    fail 'parallel ended with 0 in spite of failed surveys'
  fi
  expect parallel
fi

printf '%s\n' a 'b with blanks' c no_poses cut > surveys.txt
: > slurm.log
for task in 1 2 3 4 5; do
  status=0
  SLURM_ARRAY_TASK_ID=$task SLURM_SUBMIT_DIR=$directory sh slurm_array.sh >> slurm.log 2>&1 || status=1
  [ "$status" -eq $((task > 3)) ] || fail "task $task ended with $status"
done
expect slurm
echo 'batch recipes: passed'
