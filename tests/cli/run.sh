#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Runs the commands of a session ("$ command", continued by "> ") and compares what they print with the lines
# below them. Commands run in one directory, which starts as a copy of data/. In the output, TIME and
# DATE-TIME stand for times and L# for source lines; a failed command adds its [status].
# Usage: run.sh [--update] SESSION PROGRAM..., the last word an absolute path
set -euo pipefail
update=false
if [ "$1" = --update ]; then update=true && shift; fi
session=$(realpath "$1")
shift
program=${!#}
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
mkdir "$directory/bin"
printf '#!/bin/sh\nexec %s "$@"\n' "$*" > "$directory/bin/pcbin_las"
chmod +x "$directory/bin/pcbin_las"
PATH=$directory/bin:$PATH
cp -r "$(dirname "$session")/data" "$directory/work"
cd "$directory/work"

overwrite() { # FILE OFFSET BYTES: overwrites bytes, given as printf writes them
  # shellcheck disable=SC2059
  printf "$3" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none
}

mask() {
  sed -E -e 's/^(<[EWI]>)[0-9]{4}(-[0-9]{2}){2} [0-9:]{8}\.[0-9]{3} /\1TIME /' -e 's/^(<[EW]>TIME \[[^],]*,L)[0-9]+\]/\1#]/' \
    -e 's/[0-9]{8}-[0-9]{6}_/DATE-TIME_/g' -e "s|$program|pcbin_las|g" | cat -v
}

mapfile -t lines < "$session"
for ((i = 0; i < ${#lines[@]}; ++i)); do
  case ${lines[i]} in
    '' | '#'*) echo "${lines[i]}" ;;
    '$ '*)
      echo "${lines[i]}"
      command=${lines[i]#??}
      while [[ ${lines[i + 1]:-} == '> '* ]]; do
        ((++i))
        echo "${lines[i]}"
        command+=$'\n'${lines[i]#??}
      done
      status=0
      (eval "$command") < /dev/null 2>&1 | mask || status=$?
      [ "$status" = 0 ] || echo "[$status]"
      ;;
  esac
done > "$directory/actual"
if $update; then
  cp "$directory/actual" "$session"
else
  diff -u "$session" "$directory/actual"
fi
