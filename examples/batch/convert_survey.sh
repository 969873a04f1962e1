#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Converts the survey in one directory: survey.pcbin and pgo.csv (if it exists) become map.las, with its
# picture in map.png, the counts in summary.json and all messages in convert.log. Prints one line, with the
# first error or warning of a survey that is not complete. The exit status is that of pcbin_las --batch: 0
# everything written, 1 something missing, 2 nothing written; or 0 for a survey that is skipped.
#
#   convert_survey.sh [--skip-done] DIRECTORY
#
# --skip-done skips a survey whose map.las is complete and newer than its inputs. PCBIN_LAS_OPTIONS contains
# further options, such as "--epsg 32632 --gps-time"; with PCBIN_LAS_PICTURES=no, no pictures are drawn.
set -u
skip_done=
if [ "${1-}" = --skip-done ]; then
  skip_done=yes
  shift
fi
directory=${1:?usage: convert_survey.sh [--skip-done] DIRECTORY}
name=$directory
case $directory in -*) directory=./$directory ;; esac # not an option
pcbin=$directory/survey.pcbin
poses=$directory/pgo.csv
las=$directory/map.las
log=$directory/convert.log

if [ ! -e "$pcbin" ]; then
  echo "$name: no survey.pcbin, passed over"
  exit 0
fi
if [ -n "$skip_done" ] && [ "$las" -nt "$pcbin" ] && { [ ! -e "$poses" ] || [ "$las" -nt "$poses" ]; } &&
  grep -q '^ *"status": 0,' "$directory/summary.json" 2> /dev/null; then
  echo "$name: done before"
  exit 0
fi

set -- --batch -i "$pcbin" -o "$las" --summary "$directory/summary.json"
if [ -e "$poses" ]; then set -- "$@" -f "$poses"; fi
if [ "${PCBIN_LAS_PICTURES-yes}" != no ]; then set -- "$@" --picture "$directory/map.png"; fi
# shellcheck disable=SC2086 # several words
set -- "$@" ${PCBIN_LAS_OPTIONS-}
"${PCBIN_LAS:-pcbin_las}" "$@" > "$log"
status=$?
reason=$(grep -m 1 '^<E>' "$log" || grep -m 1 '^<W>' "$log" || echo "see $log")
case $status in
  0) echo "$name: converted" ;;
  1) echo "$name: incomplete: $reason" ;;
  *) echo "$name: failed: $reason" ;;
esac
exit $status
