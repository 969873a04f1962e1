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
# shellcheck disable=SC2034 # the sessions use it
sources=$(dirname "$session")/../..
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

run() { # ARGUMENTS...: an unattended conversion that prints lines from level $level on, none if it is not set
  pcbin_las --batch -f poses.csv -d "${level-4}" "$@"
}

# Runs a script in a new folder with a survey and a map of a former run. Prints what it prints, its status and
# what became of the map.
try() {
  local status=0 size
  rm -rf try
  mkdir try
  cp pgo.pcbin poses.csv try
  echo former > try/map.las
  (cd try && eval "$1") 2>&1 || status=$?
  size=$(wc -c < try/map.las)
  if [ "$size" -gt 227 ]; then
    size=$((size - $(od -A n -t u4 -j 96 -N 4 try/map.las)))
    echo "[$status] $((size / 34)) points$([ $((size % 34)) = 0 ] || echo ' and a part')"
  else
    echo "[$status] $(cat try/map.las)"
  fi
  find try -name '*.part'
}

started() { # waits until a conversion has made its temporary file, at most 20 seconds
  # shellcheck disable=SC2016
  timeout 20 sh -c 'until ls .*.part; do sleep 0.02; done' > /dev/null 2>&1 || echo 'not started'
}

mask() {
  sed -E -e 's/(<[EWI]>)[0-9]{4}(-[0-9]{2}){2} [0-9:]{8}\.[0-9]{3} /\1TIME /' -e 's/(<[EW]>TIME \[[^],]*,L)[0-9]+\]/\1#]/' \
    -e 's/[0-9]{8}-[0-9]{6}_/DATE-TIME_/g' \
    -e 's/\.[0-9a-f]{16}\.part/.RANDOM.part/g' -e "s|$program|pcbin_las|g" | cat -v
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
