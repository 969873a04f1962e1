#!/bin/sh
# Converts the survey in one directory: survey.pcbin and pgo.csv become map.las, what the program says goes
# to convert.log. The exit status is 0 only when the whole survey was converted, for the program's own tells
# little.
#
#   convert_survey.sh DIRECTORY
set -u
directory=${1:?usage: convert_survey.sh DIRECTORY}
log=$directory/convert.log

# The line "y" answers the question whether an old map.las may be overwritten, or else the closing prompt.
echo y | "${PCBIN_LAS:-pcbin_las}" -i "$directory/survey.pcbin" -f "$directory/pgo.csv" \
  -o "$directory/map.las" > "$log"

if grep -q 'pcbin to las success' "$log" && ! grep -q '^<E>' "$log"; then
  echo "$directory: converted"
else
  echo "$directory: failed, see $log" >&2
  exit 1
fi
