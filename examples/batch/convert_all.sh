#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Converts the surveys in the directories of a folder, several at a time (by default one per processor).
# Ignores files in the folder and directories that have nothing to convert. Prints a line for each survey, and
# the counts. Exit status: 0 all surveys are complete, 1 some are not, 2 the folder has no survey.
#
#   convert_all.sh [--skip-done] FOLDER [JOBS]
#
# convert_survey.sh says what is needed and what the environment changes. make_page.py FOLDER then makes a page
# of the pictures, counts and statuses; FOLDER/convert.start tells it when this run began.
set -u
option=
if [ "${1-}" = --skip-done ]; then
  option=$1
  shift
fi
folder=${1:?usage: convert_all.sh [--skip-done] FOLDER [JOBS]}
jobs=${2:-$(nproc)}
case $folder in -*) folder=./$folder ;; esac # not an option
recipes=$(cd "$(dirname "$0")" && pwd)

if ! [ -d "$folder" ] || ! [ -r "$folder" ] || ! [ -x "$folder" ]; then
  printf 'convert_all.sh: folder(%q) cannot be read\n' "$folder" >&2
  exit 2
fi
rm -f "$folder/convert.start" 2> /dev/null
if ! (set -C && date -u +%FT%TZ > "$folder/convert.start") 2> /dev/null; then
  printf 'convert_all.sh: folder(%q) cannot be written\n' "$folder" >&2
  exit 2
fi

surveys() { # also behind links
  find -H "$folder" -mindepth 1 -maxdepth 1 -xtype d "$@"
}

# The shell between hides an exit status, or a signal, at which xargs would stop.
# shellcheck disable=SC2016
surveys -print0 | sort -z |
  xargs -0 -r -P "$jobs" -n 1 sh -c '"$@"; exit 0' - "$recipes/convert_survey.sh" ${option:+"$option"} |
  awk -v directories="$(surveys -printf x | wc -c)" '
    { print; fflush() }
    { seen++; outcome = substr($0, index($0, ": ") + 2) }
    outcome ~ /^converted/ { converted++ }
    outcome ~ /^done before/ { skipped++ }
    outcome ~ /^incomplete: / { incomplete++ }
    outcome ~ /^refused: / { refused++ }
    outcome ~ /^failed: / { failed++ }
    END {
      lost = directories - seen
      printf "%d converted, %d done before, %d incomplete, %d refused, %d failed%s\n",
        converted, skipped, incomplete, refused, failed, (lost > 0 ? ", " lost " without a result" : "")
      if (converted + skipped + incomplete + refused + failed + lost == 0) {
        print "convert_all.sh: the folder has no survey"
        exit 2
      }
      exit incomplete + refused + failed + lost > 0
    }'
