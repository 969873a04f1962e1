#!/bin/sh
# SPDX-License-Identifier: BSD-3-Clause
# Converts the surveys in the directories of a folder, several at a time (by default one per processor).
# Ignores files in the folder and directories without a survey.pcbin. Prints a line for each survey, and the
# counts. The exit status is 1 when a survey is not complete.
#
#   convert_all.sh [--skip-done] FOLDER [JOBS]
#
# make_page.py FOLDER then makes a page of their pictures, counts and statuses.
set -u
option=
if [ "${1-}" = --skip-done ]; then
  option=$1
  shift
fi
folder=${1:?usage: convert_all.sh [--skip-done] FOLDER [JOBS]}
jobs=${2:-$(nproc)}
case $folder in -*) folder=./$folder ;; esac # not an option

find -H "$folder" -mindepth 1 -maxdepth 1 -type d -print0 | sort -z |
  xargs -0 -r -P "$jobs" -n 1 "$(dirname "$0")/convert_survey.sh" ${option:+"$option"} |
  awk '
    { print; fflush() }
    /: converted$/ { converted++ }
    /: done before$/ { skipped++ }
    /: incomplete: / { incomplete++ }
    /: failed: / { failed++ }
    END {
      printf "%d converted, %d done before, %d incomplete, %d failed\n",
        converted, skipped, incomplete, failed
      exit incomplete + failed > 0
    }'
