#!/usr/bin/env bash
# Checks what `cmake --install` puts in place, as a user of the installed files would: installs to a
# prefix, moves the prefix, and then runs the program, reads the man page, completes a command line,
# compiles each header alone and builds and runs examples/pipeline against the CMake package.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/install_packages.sh
. scripts/lib/install_packages.sh

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
log=$work/log
: >"$log"
install_packages g++ cmake ninja-build libpcl-dev nlohmann-json3-dev libeigen3-dev groff-base man-db
mapfile -t generator < <(generator_options)
prefix=$work/moved

fail() {
  echo "check_install: $*" >&2
  exit 1
}

install_and_move() {
  run_quietly cmake --preset release -B "$work/build" "${generator[@]}" \
    -DPCBIN_BUILD_TESTS=OFF -DPCBIN_BUILD_EXAMPLES=OFF
  run_quietly cmake --build "$work/build" --parallel "$(nproc)"
  run_quietly cmake --install "$work/build" --prefix "$work/installed"
  mv "$work/installed" "$prefix"
  rm -rf "$work/build"  # nothing installed may depend on it
}

check_program() {
  local usage
  usage=$("$prefix/bin/pcbin_las" -h)
  [[ $usage == *"--repair <map.las>"* ]] || fail "the program does not print its usage"
}

check_man_page() {
  local page=$work/pcbin_las.1 warnings
  gzip -dcf "$prefix"/share/man/man1/pcbin_las.1* >"$page"
  warnings=$(groff -man -ww -z "$page" 2>&1; LC_ALL=C.UTF-8 man --warnings -l "$page" 2>&1 >/dev/null)
  [[ -z $warnings ]] || fail "man page: $warnings"
  MANWIDTH=80 man -l "$page" | grep -q 'PCBIN_LAS(1)' || fail "the man page cannot be rendered"
}

# The words offered after a command line, in order.
complete_words() {
  (
    cd "$work/data"
    # shellcheck source=packaging/pcbin_las.bash
    source "$prefix/share/bash-completion/completions/pcbin_las"
    compopt() { :; }  # of use only while a key is being pressed
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    _pcbin_las
    echo "${COMPREPLY[*]}"
  )
}

expect_words() {
  local expected=$1 words
  shift
  words=$(complete_words "$@")
  [[ $words == "$expected" ]] || fail "completion of '$*': '$words', expected '$expected'"
}

check_completion() {
  mkdir "$work/data"
  touch "$work"/data/{a.pcbin,b.las,C.LAS,d.csv}
  expect_words "a.pcbin" pcbin_las -b ""
  expect_words "a.pcbin" pcbin_las -i a
  expect_words "b.las C.LAS" pcbin_las --repair ""
  expect_words "d.csv" pcbin_las -i a.pcbin -f ""
  expect_words "--repair --offset --help" pcbin_las --
  expect_words "-s -n -v -d" pcbin_las -r b.las ""
  expect_words "" pcbin_las --offset 1 -
}

check_headers() {
  local header
  local includes=(-isystem /usr/include/eigen3)
  for header in /usr/include/pcl-*; do includes+=(-isystem "$header"); done
  (
    cd "$prefix/include"
    for header in pcbin_las/*/*.h; do
      # Twice, for a header that forgets its guard.
      printf '#include "%s"\n#include <%s>\n' "$header" "$header" |
        c++ -std=c++20 -Wall -Wextra -Werror -fsyntax-only -I. "${includes[@]}" -x c++ - ||
        fail "$header does not stand alone"
    done
  )
}

check_pipeline() {
  local flags
  # Also as a caller that is compiled for wider vectors than the library.
  for flags in '' -march=native; do
    rm -rf "$work/pipeline"
    run_quietly cmake -S examples/pipeline -B "$work/pipeline" -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_CXX_FLAGS="$flags"
    run_quietly cmake --build "$work/pipeline"
    "$work/pipeline/pcbin_pipeline" "$work" || fail "the pipeline example failed ($flags)"
  done
  # The program reads what the library wrote.
  "$prefix/bin/pcbin_las" -b "$work/colours.pcbin" -n 1 | grep -q 'points\[0\]' ||
    fail "the program does not read the pipeline's file"
}

echo "Building and installing ..."
install_and_move
echo "Checking what was installed ..."
if grep -rlF -e "$work" -e "$PWD" "$prefix"; then fail "these files name a path of the build"; fi
check_program
check_man_page
check_completion
check_headers
check_pipeline
echo "check_install: all is well"
