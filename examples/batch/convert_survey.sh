#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Converts the survey in one directory: survey.pcbin and pgo.csv become map.las, with its pictures in map.png
# and map_small.png, the counts in summary.json and all messages in convert.log. Prints one line, with the cause when the survey
# is not complete. Exit status: 0 everything written, 1 something missing, 2 nothing written, 3 refused; 0 also
# for a survey that is skipped, and for a directory that has nothing to convert.
#
#   convert_survey.sh [--skip-done] DIRECTORY
#
# --skip-done skips a complete survey if nothing has changed since: the program's version, the options, the
# sizes and times of the inputs and the picture must be those that convert.done has recorded, and bytes, records
# and time of map.las those that summary.json names.
#
# Environment: PCBIN_LAS_OPTIONS has further options, such as "--epsg 32632 --gps-time". PCBIN_LAS_POSES=optional
# converts a survey that has no pgo.csv without poses; otherwise it is refused. PCBIN_LAS_PICTURES=no draws no
# pictures. PCBIN_LAS is the program.
set -uC # -C: > creates files, and never writes through a link
skip_done=
if [ "${1-}" = --skip-done ]; then
  skip_done=yes
  shift
fi
directory=${1:?usage: convert_survey.sh [--skip-done] DIRECTORY}
program=${PCBIN_LAS:-pcbin_las}
pictures=${PCBIN_LAS_PICTURES-yes}
name=$directory
LC_ALL=C.UTF-8 # cron sets none
# Quoted if the name has control characters, or could be taken for an outcome.
case $name in *[![:print:]]* | *': '*) name=$(printf %q "$name") ;; esac
case $directory in -*) directory=./$directory ;; esac # not an option
log=$directory/convert.log

finish() { # STATUS OUTCOME: also into the log, if it was started
  local outcome=${2//[[:cntrl:]]/?}
  printf '%s: %s\n' "$name" "$outcome"
  if [ -n "${log_open-}" ]; then printf 'convert_survey.sh: %s\n' "$outcome" >&3; fi
  exit "$1"
}

record() { # what decides whether the survey must be converted again, without the outputs
  printf 'program %s\noptions %s\npictures %s\n' "$("$program" --version 2>&1)" "${PCBIN_LAS_OPTIONS-}" "$pictures"
  files survey.pcbin pgo.csv
}

files() { # FILES...: name, size and time of each
  local file
  for file; do (cd "$directory" && LC_ALL=C stat -L -c '%n %s %.9Y' "$file" 2>/dev/null) || echo "$file none"; done
}

outputs() { # without map.las, which the summary describes
  if [ "$pictures" != no ]; then files map.png; fi
}

map_is_described() { # map.las has the bytes, records and time that the summary names
  local map=$directory/map.las named found
  named=$(sed -n '/^ *"map": {/,/}/s/^ *"[a-z]*": \([0-9.]*\),\{0,1\}$/\1/p' "$directory/summary.json" | paste -sd ' ')
  found=$(LC_ALL=C stat -L -c %s "$map" && od -A n -t u4 --endian=little -j 107 -N 4 "$map" && LC_ALL=C stat -L -c %.9Y "$map")
  # shellcheck disable=SC2116,SC2086 # numbers, in one line
  [ -n "$named" ] && [ "$named" = "$(echo $found)" ]
}

has_poses() {
  [ -f "$directory/pgo.csv" ] || [ "${PCBIN_LAS_POSES-}" = optional ]
}

is_done() {
  has_poses && [ -f "$directory/convert.done" ] && [ -f "$directory/summary.json" ] &&
    grep -q '^ *"status": 0,' "$directory/summary.json" && map_is_described 2>/dev/null &&
    [ "$(record && outputs)" = "$(cat "$directory/convert.done")" ]
}

# The cause: the first error, or else the last warning; of the summary, or without one of the log.
cause() {
  local text=
  if [ -f "$directory/summary.json" ]; then
    text=$(unquoted 's/^ *"first_error": //p')
    if [ -z "$text" ]; then text=$(unquoted '/^ *"warnings": \[/,/^ *\]/s/^ *"<W>/&/p' | last_warning); fi
  fi
  if [ -z "$text" ]; then text=$(grep -a -m 1 '^<E>' "$log"); fi
  if [ -z "$text" ]; then text=$(grep -a '^<W>' "$log" | last_warning); fi
  if [ -z "$text" ]; then text=$(grep -a -v '^<I>\|^batch: ' "$log" | tail -n 1); fi
  if [ -z "$text" ]; then text='see convert.log'; fi
  printf %s "$text" | sed -E 's/^<[EW]>[^]]*\] //'
}

unquoted() { # COMMAND: the texts of the summary that this command of sed prints, without quotes
  sed -n "$1" "$directory/summary.json" | sed -n 's/^ *"\(.*\)",\{0,1\}$/\1/p' | sed 's/\\\(["\]\)/\1/g'
}

last_warning() {
  grep -v 'not everything was written' | tail -n 1
}

[ -d "$directory" ] || finish 3 'refused: there is no such directory'
(cd "$directory" && ls) > /dev/null 2>&1 || finish 3 'refused: the directory cannot be read'
if [ -n "$skip_done" ] && is_done && touch -c "$directory/convert.done"; then finish 0 'done before'; fi

# Nothing of the last run may speak for this one. A link or a named pipe is replaced, not written to.
others=$(find "$directory/" -maxdepth 1 \( -iname '*.pcbin' -o -name pgo.csv \) ! -name survey.pcbin -printf '%f\n' | sort | paste -sd ' ')
if [ ! -e "$directory/survey.pcbin" ] && [ -z "$others" ]; then finish 0 'ignored: there is no survey.pcbin'; fi
rm -f "$directory/summary.json" "$directory/convert.done" "$log" 2> /dev/null
{ exec 3> "$log"; } 2> /dev/null || finish 2 'failed: convert.log cannot be written'
log_open=yes
[ ! -e "$directory/summary.json" ] || finish 2 'failed: the old summary.json cannot be removed'
[ -e "$directory/survey.pcbin" ] || finish 3 "refused: there is no survey.pcbin, but $others"
[ -f "$directory/survey.pcbin" ] || finish 3 'refused: survey.pcbin is not a regular file'
has_poses || finish 3 'refused: there is no pgo.csv (PCBIN_LAS_POSES=optional converts without poses)'

before=$(record)
set -- --batch -i "$directory/survey.pcbin" -o "$directory/map.las" --summary "$directory/summary.json"
if [ -e "$directory/pgo.csv" ]; then set -- "$@" -f "$directory/pgo.csv"; fi
if [ "$pictures" != no ]; then set -- "$@" --picture "$directory/map.png"; fi
# shellcheck disable=SC2086 # several words
set -- "$@" ${PCBIN_LAS_OPTIONS-}
exec 4>&2 2>&3 # the shell's line about a killed program belongs to the log as well
"$program" "$@" >&3 3>&- 4>&-
status=$?
if [ $status -le 1 ] && [ "$pictures" != no ]; then # a small picture for the page, which can do without
  "$program" -r "$directory/map.las" --picture "$directory/map_small.png" --picture-size 380 -d 4 > /dev/null 3>&- 4>&-
fi
exec 2>&4 4>&-
case $status in
  0)
    warnings=$(sed -n 's/^batch: .* warnings=//p' "$log" | tail -n 1)
    printf '%s\n' "$before" "$(outputs)" > "$directory/convert.done"
    if [ "${warnings:-0}" != 0 ]; then finish 0 "converted, warnings: $warnings, the last one: $(cause)"; fi
    finish 0 converted
    ;;
  1) finish 1 "incomplete: $(cause)" ;;
  2) finish 2 "failed: $(cause)" ;;
  255) finish 3 "refused: $(cause)" ;;
  12[67]) finish 2 "failed: the program cannot be started: $(cause)" ;;
  *)
    if [ $status -le 128 ]; then finish 2 "failed: exit status $status: $(cause)"; fi
    finish 2 "failed: killed by signal $((status - 128)) ($(kill -l $((status - 128))))"
    ;;
esac
