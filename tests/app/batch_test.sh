#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# The recipes for many conversions, over 24 surveys of which some are damaged in all ways that a night has
# shown. Usage: batch_test.sh SCRIPTS PROGRAM...
set -euo pipefail
scripts=$1
shift
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory"

# The program under one name, with the emulator that it may need; it is killed at the survey s25.
printf '#!/bin/sh\ncase "$*" in *s25*) kill -9 $$ ;; esac\nexec %s "$@"\n' "$*" > pcbin_las
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
for i in $(seq -w 27); do
  case $i in
    14 | 19 | 21) continue ;;
    05) name=-v ;;
    10) name='b with  blanks' ;;
    11) name=$'<b>&"\377' ;;
    13) name='x: failed: ' ;;
    *) name=s$i ;;
  esac
  make_survey "$name"
done
truncate -s -1 s07/survey.pcbin
tr , ';' < s12/pgo.csv > p && mv p s12/pgo.csv
: > s15/survey.pcbin
(cat s20/pgo.csv && echo 1,1) > p && mv p s20/pgo.csv
rm s22/pgo.csv
mv s23/survey.pcbin s23/scan.PCBIN
mkfifo s24/summary.json s24/convert.log
ln -s "$directory/victim" s26/convert.log && echo unchanged > ../victim
mkdir s27/convert.log
for i in 07 12 15 22 23 25 27; do # green last night
  echo 'last night' > s$i/map.las
  printf '{\n  "status": 0,\n  "read": 1\n}\n' > s$i/summary.json
done
touch stray 'stray file' -- -stray
mkdir empty
cd ..

all() { # STATUS ARGUMENTS...: the sorted lines of convert_all.sh, which must end with STATUS, in all.log
  local wanted=$1 status=0
  shift
  timeout 100 ./convert_all.sh "$@" > all.tmp 2>&1 || status=$?
  [ $status -eq "$wanted" ] || fail "convert_all.sh $* ended with $status: $(cat all.tmp)"
  sort all.tmp > all.log
}

has() { # FILE LINES...: the file has these lines, which are regular expressions
  local file=$1 line
  shift
  for line; do grep -qE -- "^$line\$" "$file" || fail "$file has no line '$line': $(cat "$file")"; done
}

all 1 -surveys 3
has all.log '16 converted, 0 done before, 1 incomplete, 2 refused, 5 failed' \
  './-surveys/s20: incomplete: .*line 2 skipped.*' './-surveys/s07: failed: .*read error.*' \
  './-surveys/s12: failed: .*point.*' './-surveys/s22: refused: there is no pgo.csv.*' \
  './-surveys/s23: refused: there is no survey.pcbin, but pgo.csv scan.PCBIN' \
  './-surveys/s25: failed: killed by signal 9 .KILL.' './-surveys/s27: failed: convert.log cannot be written' \
  './-surveys/empty: ignored: there is no survey.pcbin' './-surveys/x:\\ failed:\\ : converted.*'
[ "$(cat victim)" = unchanged ] || fail 'a log was written through a link'
[ "$(cat ./-surveys/s12/map.las)" = 'last night' ] || fail 'the map of last night was touched'
! grep -q '"read": 1$' ./-surveys/*/summary.json || fail 'a summary of last night is left'
cmp -s ./-surveys/-v/map.las './-surveys/b with  blanks/map.las' || fail 'different files'
[ "$(stat -c %s ./-surveys/-v/map.las)" -eq 261 ] || fail 'no point was written'
all 2 missing
all 2 -surveys/empty
mkdir few && cp -r -- ./-surveys/s01 ./-surveys/s02 few
PCBIN_LAS_OPTIONS='--epsg 1' all 1 few 1 # status 255 does not keep xargs from the others
has all.log '0 converted, 0 done before, 0 incomplete, 2 refused, 0 failed' 'few/s01: refused: EPSG:1 is out .*'
PCBIN_LAS=./none ./convert_survey.sh -surveys/s12 > all.log && fail 'a missing program ended with 0'
has all.log '-surveys/s12: failed: the program cannot be started: .*No such file.*'

# Nothing may have changed since: neither options nor files, even with equal sizes or old dates.
skip() { # LINE: --skip-done prints this line of counts, and nothing to do a second time
  all 1 --skip-done -surveys
  has all.log "$1, 1 incomplete, 2 refused, 5 failed"
}
skip '0 converted, 16 done before'
touch -d '2001-01-01' ./-surveys/s01/pgo.csv
printf '\012' | dd of=./-surveys/s02/survey.pcbin bs=1 seek=67 conv=notrunc status=none
rm ./-surveys/s03/map.las
touch -r ./-surveys/s04/map.las time # another count, though convert.done has the same size and time
printf '\002' | dd of=./-surveys/s04/map.las bs=1 seek=107 conv=notrunc status=none
touch -r time ./-surveys/s04/map.las
sed -i 's/"modified": [0-9]*/"modified": 1/' ./-surveys/s06/summary.json
sed -i 's/"map": {/"map": null, "was": {/' ./-surveys/s08/summary.json
skip '6 converted, 10 done before'
PCBIN_LAS_POSES=optional all 1 --skip-done -surveys
has all.log '1 converted, 16 done before, 1 incomplete, 1 refused, 5 failed'
rm -r few && mkdir few && cp -pr -- ./-surveys/s02 few
PCBIN_LAS_OPTIONS=--rgb16 all 0 --skip-done few
has all.log '1 converted, 0 done before, .*'

# The page: what this night's files prove. A few odd summaries must not take it down.
if command -v python3 > /dev/null; then
  page() { # PATTERNS...: the page has this text
    timeout 100 ./make_page.py -surveys || fail 'no page'
    local pattern
    for pattern; do grep -qF -- "$pattern" ./-surveys/index.html || fail "the page has no '$pattern'"; done
  }
  page '<b>24 surveys</b>: 16 complete, 1 complete with warnings' $'>&lt;b&gt;&amp;&quot;\357\277\275<' \
    '1 refused, 5 failed' 'killed by signal 9' 'scan.PCBIN'
  pictures=$(grep -c '<img' ./-surveys/index.html || true)
  [ "${PCBIN_LAS_PICTURES-yes}" = no ] || [ "$pictures" -eq 18 ] || fail "$pictures pictures on the page"
  grep -oP '(href|src)="\K\./[^"]*' ./-surveys/index.html | while read -r link; do
    [ -e "./-surveys/$(printf '%b' "${link//%/\\x}")" ] || fail "the page links to $link"
  done
  ! grep -qE '(src|href)="?(https?:)?//' ./-surveys/index.html || fail 'the page needs a network'

  cd -- -surveys
  good=$(cat s01/summary.json)
  printf '%s' "${good/\"written\": 1/\"written\": true}" > s02/summary.json
  printf '%s' "${good/\"epsg\": null/\"epsg\": \"<script>\"}" > s03/summary.json
  printf '%s' "${good/\"seconds\": */\"seconds\": NaN}}" > s04/summary.json
  (printf '{"a":'; head -c 200000 /dev/zero | tr '\0' '[') > s06/summary.json
  rm s08/summary.json && mkfifo s08/summary.json
  truncate -s 300 s09/map.las
  printf x >> s16/convert.log
  touch -d yesterday s17/{convert.log,convert.done,summary.json}
  ln -sf "$directory/victim" index.html
  ln -sf "$directory/victim" .index.html.part
  chmod 000 s18
  cd ..
  page '24 surveys' 's02' 'it has no valid written' 'nested too deeply' 'summary.json is not a regular file' 'the last result is of' \
    'or it is still running'
  chmod 755 ./-surveys/s18
  ! grep -q '<script>"' ./-surveys/index.html || fail 'a code is not escaped'
  [ "$(cat victim)" = unchanged ] || fail 'the page was written through a link'
fi

# An array of 4 tasks; the surveys are dealt in turn.
cd -- -surveys
printf '%s\n' ./*/ > ../surveys.txt
cp ../*.sh ../surveys.txt .
: > slurm.log
for task in 1 2 3 4; do
  SLURM_ARRAY_JOB_ID=7 SLURM_ARRAY_TASK_ID=$task SLURM_ARRAY_TASK_COUNT=4 SLURM_SUBMIT_DIR=$PWD \
    timeout 100 bash slurm_array.sh >> slurm.log 2>&1 && fail "task $task ended with 0"
done
[ "$(grep -c ': converted\|: done before' slurm.log)" -eq 16 ] || fail "$(cat slurm.log)"
[ "$(grep -c ': failed: \|: incomplete: \|: refused: ' slurm.log)" -eq 8 ] || fail "$(cat slurm.log)"
has convert.start 'job 7'
echo 'batch recipes: passed'
