#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# The recipes for many conversions, over 30 surveys of which every fifth is damaged. Usage: batch_test.sh
# SCRIPTS PROGRAM...
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
cp "$scripts"/*.sh "$scripts"/*.py .
if [[ $(./pcbin_las --picture p.png --batch -i none) == *'made without libpng'* ]]; then export PCBIN_LAS_PICTURES=no; fi

fail() {
  echo "FAILED: $*"
  exit 1
}

make_survey() {
  mkdir -p "./$1"
  # A file header, and one frame of one point: all zero but for the formats, the counts and the colour.
  {
    printf '\377\001\104\000PCBIN\000\000\000\001\001\000\000'
    printf '\001' && head -c 7 /dev/zero && printf '\001' && head -c 43 /dev/zero
    printf '\012' && head -c 43 /dev/zero && printf '\001\000\000\000'
    head -c 40 /dev/zero
  } > "./$1/survey.pcbin"
  printf '0,0,1,2,3%s\n' ',0,0,0,0,0,0,1,0,0,0,0,0,0,0,0,0,1,0,0,0,0,0,0' > "./$1/pgo.csv"
}

mkdir -- -surveys
cd -- -surveys
for i in $(seq -w 30); do
  case $i in
    05) name=-v ;;
    10) name='b with  blanks' ;;
    11) name=$'<b>&"\377' ;;
    *) name=s$i ;;
  esac
  make_survey "$name"
done
truncate -s -1 s07/survey.pcbin
tr , ';' < s12/pgo.csv > p && mv p s12/pgo.csv
: > s15/survey.pcbin
(cat s20/pgo.csv && echo 1,1) > p && mv p s20/pgo.csv
rm s22/pgo.csv
echo 'last night' > s12/map.las && touch s12/map.png
touch stray 'stray file' -- -stray
mkdir empty
cd ..

all() { # ARGUMENTS...: the lines of convert_all.sh, which must end with 1
  ./convert_all.sh "$@" > all.log 2>&1 && fail "convert_all.sh $* ended with 0"
  sed -E 's/<[EW]>[0-9: .-]+ /<> /' all.log
}

all -surveys 3 | sort > first.log
[ "$(grep -c ': converted$' first.log)" -eq 26 ] || fail "$(cat first.log)"
grep -q '^26 converted, 0 done before, 1 incomplete, 3 failed$' first.log || fail "$(cat first.log)"
grep -q '^./-surveys/s20: incomplete: <> .*line 2 skipped' first.log || fail 's20'
grep -q '^./-surveys/s07: failed: <> .*read error' first.log || fail 's07'
grep -q '^./-surveys/s12: failed: <> .*no points to write' first.log || fail 's12'
grep -q '^./-surveys/empty: no survey.pcbin' first.log || fail 'empty'
[ "$(cat ./-surveys/s12/map.las)" = 'last night' ] || fail 'the map of last night was touched'
cmp -s ./-surveys/-v/map.las './-surveys/b with  blanks/map.las' || fail 'different files'
[ "$(stat -c %s ./-surveys/-v/map.las)" -eq 261 ] || fail 'no point was written'

if command -v python3 > /dev/null; then
  ./make_page.py -surveys
  grep -q '<b>30 surveys</b>: 26 complete, 1 incomplete, 3 failed · 27 points written' ./-surveys/index.html ||
    fail 'totals of the page'
  grep -qF $'>&lt;b&gt;&amp;&quot;\357\277\275 <' ./-surveys/index.html || fail 'a name on the page is not escaped'
  pictures=$(grep -c '<img' ./-surveys/index.html || true)
  [ "${PCBIN_LAS_PICTURES-yes}" = no ] || [ "$pictures" -eq 27 ] || fail "$pictures pictures on the page"
  grep -oP '(href|src)="\K\./[^"]*' ./-surveys/index.html | while read -r link; do
    [ -s "./-surveys/$(printf '%b' "${link//%/\\x}")" ] || fail "the page links to $link"
  done
fi

touch ./-surveys/s01/pgo.csv
all --skip-done -surveys > second.log
grep -q '^1 converted, 25 done before, 1 incomplete, 3 failed$' second.log || fail "$(cat second.log)"

# An array of 4 tasks; the surveys are dealt in turn.
cd -- -surveys
printf '%s\n' ./* > ../surveys.txt
find . -name map.las -size +1 -delete
cp ../*.sh ../surveys.txt .
: > slurm.log
for task in 1 2 3 4; do
  SLURM_ARRAY_TASK_ID=$task SLURM_ARRAY_TASK_COUNT=4 SLURM_SUBMIT_DIR=$PWD sh slurm_array.sh \
    >> slurm.log 2>&1 || true
done
[ "$(grep -c ': converted$\|: done before$' slurm.log)" -eq 26 ] || fail "$(cat slurm.log)"
[ "$(grep -c ': failed: \|: incomplete: ' slurm.log)" -eq 4 ] || fail "$(cat slurm.log)"
echo 'batch recipes: passed'
