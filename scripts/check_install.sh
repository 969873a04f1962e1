#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Checks what `cmake --install` installs: moves the prefix, then runs the program, reads the man page,
# completes a command line, compiles each header alone, builds the examples, and builds and runs a
# caller's program in each supported way: find_package, FetchContent and pkg-config, static and shared.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/install_packages.sh
. scripts/lib/install_packages.sh

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
log=$work/log
: >"$log"
install_packages "${build_packages[@]}" groff-base man-db pkg-config
mapfile -t generator < <(generator_options)
prefix=$work/moved

fail() {
  echo "check_install: $*" >&2
  exit 1
}

# Installs into the prefix, with the given options of CMake.
install_and_move() {
  rm -rf "$prefix"
  run_quietly cmake --preset release -B "$work/build" "${generator[@]}" \
    -DPCBIN_BUILD_TESTS=OFF -DPCBIN_BUILD_EXAMPLES=OFF -DCMAKE_INSTALL_LIBDIR=lib "$@"
  run_quietly cmake --build "$work/build" --parallel "$(nproc)"
  run_quietly cmake --install "$work/build" --prefix "$work/installed"
  mv "$work/installed" "$prefix"
  rm -rf "$work/build"  # nothing installed may depend on it
}

# Runs a check with a folder and a log of its own.
run_check() {
  local check=$1 work=$work/$1
  local log=$work/log
  mkdir -p "$work"
  "$check"
  touch "$work/passed"
}

# Runs checks, as many at a time as there are processors.
side_by_side() {
  local check
  for check in "$@"; do
    rm -rf "${work:?}/$check"
    while (($(jobs -rp | wc -l) >= $(nproc))); do wait -n || true; done
    run_check "$check" &
  done
  wait
  for check in "$@"; do [[ -e $work/$check/passed ]] || fail "$check failed"; done
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
    compopt() { :; }  # works only during interactive completion
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
  touch "$work"/data/{a.pcbin,b.las,C.LAS,d.csv,e.png}
  expect_words "a.pcbin" pcbin_las -b ""
  expect_words "a.pcbin" pcbin_las -i a
  expect_words "b.las C.LAS" pcbin_las --repair ""
  expect_words "d.csv" pcbin_las -i a.pcbin -f ""
  expect_words "e.png" pcbin_las -r b.las --picture ""
  expect_words "--repair --rgb16" pcbin_las --r
  expect_words "--source-id --lossless -d" pcbin_las --repair b.las ""
  expect_words "-s -n -v --picture --zoom --slice --picture-size --threads -d" pcbin_las -r b.las ""
  expect_words "" pcbin_las --offset 1 -
  expect_words "" pcbin_las -r b.las --zoom 1 -
}

check_headers() {
  local header
  local includes
  read -ra includes <<<"$(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags pcbin_las)"
  (
    cd "$prefix/include"
    for header in pcbin_las/*.h pcbin_las/*/*.h; do
      # Twice, for a header that forgets its guard.
      printf '#include "%s"\n#include <%s>\n' "$header" "$header" |
        c++ -std=c++20 -Wall -Wextra -Wpedantic -Werror -fsyntax-only "${includes[@]}" -x c++ - ||
        fail "$header does not compile alone"
    done
  )
}

# Configures the caller's project anew.
configure_caller() {
  rm -rf "$work/caller"
  run_quietly cmake -S tests/install -B "$work/caller" "${generator[@]}" "$@"
}

build_caller() { run_quietly cmake --build "$work/caller" --parallel "$(nproc)" --target "$@"; }

# Runs a caller's program: run_caller PROGRAM [ARGUMENT...]
run_caller() {
  local lines
  if [[ $# -eq 1 ]]; then set -- "$1" "$work/caller.pcbin"; fi
  lines=$("$@") || fail "the caller's program failed: $*"
  [[ $lines == *"own sink, level 1: "*"pcbin open ok, frames: 1, points: 100."* ]] ||
    fail "the caller's sink misses the library's lines: $lines"
}

# Runs a compilation that must stop with the given message.
expect_refusal() {
  local message=$1 output
  shift
  if output=$("$@" 2>&1); then fail "compiled without the message '$message': $*"; fi
  [[ $output == *"$message"* ]] || fail "no message '$message' from: $*"
}

check_caller() {
  configure_caller -DCMAKE_PREFIX_PATH="$prefix"
  build_caller caller
  run_caller "$work/caller/caller"
}

# The flags of the library installed in a prefix.
pkg_flags() { PKG_CONFIG_PATH=$1/lib/pkgconfig pkg-config --cflags --libs pcbin_las; }

# Compiles a caller by hand with more flags: compile_caller FLAG...
compile_caller() {
  # shellcheck disable=SC2046 # several words
  c++ -std=c++20 "$@" tests/install/caller.cpp $(pkg_flags "$prefix") "-Wl,-rpath,$prefix/lib" -o "$work/by_hand"
}

# Flags that change what Eigen or the standard library does: the caller is right, or it is stopped with a message
# that says what to do, which then is right.
check_flags() {
  local row flags advice
  local rows=(
    '-D_GLIBCXX_ASSERTIONS'
    '-fsanitize=undefined'
    '-march=native|-DEIGEN_MAX_ALIGN_BYTES=16 -DEIGEN_MAX_STATIC_ALIGN_BYTES=16 -DEIGEN_MALLOC_ALREADY_ALIGNED=1'
    '-DEIGEN_MAX_ALIGN_BYTES=64|build pcbin_las with the flags of this program'
    '-march=native -DEIGEN_MAX_ALIGN_BYTES=16|-DEIGEN_MALLOC_ALREADY_ALIGNED=1'
    '-DEIGEN_DONT_VECTORIZE|-DEIGEN_MAX_ALIGN_BYTES=16 -DEIGEN_MAX_STATIC_ALIGN_BYTES=16 -DEIGEN_MALLOC_ALREADY_ALIGNED=1'
    '-DEIGEN_DONT_ALIGN|build pcbin_las with the flags of this program'
    '-DEIGEN_DONT_ALIGN_STATICALLY|remove EIGEN_MAX_STATIC_ALIGN_BYTES and EIGEN_DONT_ALIGN_STATICALLY'
    '-DEIGEN_MAX_STATIC_ALIGN_BYTES=0|remove EIGEN_MAX_STATIC_ALIGN_BYTES and EIGEN_DONT_ALIGN_STATICALLY'
    '-fsanitize=address|-DEIGEN_MALLOC_ALREADY_ALIGNED=1'
    '-D_GLIBCXX_DEBUG|replace _GLIBCXX_DEBUG by _GLIBCXX_ASSERTIONS'
  )
  for row in "${rows[@]}"; do
    IFS='|' read -r flags advice <<<"$row"
    # shellcheck disable=SC2086 # several words
    if [[ -n $advice ]]; then
      expect_refusal "$advice" compile_caller -fsyntax-only $flags
      [[ $advice == -D* ]] || continue
      flags="$flags $advice"
    fi
    # shellcheck disable=SC2086
    run_quietly compile_caller $flags
    run_caller "$work/by_hand"
  done
}

# A program that includes none of our headers is not changed by linking the library.
check_own_types() {
  configure_caller -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_FLAGS=-march=native
  build_caller eigen_user
  c++ -march=native -isystem /usr/include/eigen3 tests/install/eigen_user.cpp -o "$work/alone"
  [[ $("$work/caller/eigen_user") == "$("$work/alone")" ]] ||
    fail "linking the library changes the size of the caller's own types"
}

check_fetch_content() {
  local flags
  for flags in -march=native -DEIGEN_DONT_ALIGN_STATICALLY; do
    configure_caller -DPCBIN_SOURCE="$PWD" -DCMAKE_CXX_FLAGS="$flags"
    build_caller caller
    run_caller "$work/caller/caller"
  done
}

check_pkg_config() {
  run_quietly compile_caller
  run_caller "$work/by_hand"
  expect_refusal "pcbin_las needs C++20" compile_caller -std=c++17 -fsyntax-only
}

# The header that registers the points with PCL must come before the headers of PCL's algorithms.
check_registration() {
  local before
  for before in point_cloud.h point_types.h; do
    run_quietly compile_caller -fsyntax-only -include "pcl/$before" -include pcbin_las/storage/pcl_registration.h
  done
  for before in filters/voxel_grid.h search/kdtree.h octree/octree_pointcloud.h octree/octree_search.h; do
    expect_refusal "include pcbin_las/storage/pcl_registration.h before" compile_caller -fsyntax-only \
      -include "pcl/$before" -include pcbin_las/storage/pcl_registration.h
  done
}

# Two plugins of one process contain different versions of the static library, here one with a larger class.
# Neither calls code of the other's version, and neither exports the classes with which it would.
check_two_versions() {
  local copy=$work/copy other=$work/other first=$work/first.so second=$work/second.so symbols order
  mkdir "$copy"
  cp -r CMakeLists.txt cmake src "$copy"
  sed -i 's/^ protected:$/&\n  char otherVersion[4096] = {};/' "$copy/src/pcbin_las/storage/pcl_binary.h"
  # Without optimisation, nothing is inlined.
  run_quietly cmake -S "$copy" -B "$copy/build" "${generator[@]}" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_INSTALL_LIBDIR=lib \
    -DPCBIN_BUILD_PROGRAM=OFF -DPCBIN_BUILD_TESTS=OFF -DPCBIN_BUILD_EXAMPLES=OFF
  run_quietly cmake --build "$copy/build" --parallel "$(nproc)"
  run_quietly cmake --install "$copy/build" --prefix "$other"
  symbols=$(readelf -sW --demangle "$other"/lib/*.a | awk '$5 != "LOCAL" && $6 == "DEFAULT" && $7 != "UND"')
  [[ -n $symbols ]] || fail "readelf lists no symbols"
  if grep -E '(modeling_app|ferrun|norvo)::' <<<"$symbols"; then fail "the static libraries export these"; fi
  # shellcheck disable=SC2046 # several words
  run_quietly c++ -std=c++20 -fPIC -shared -Dmain=run tests/install/caller.cpp $(pkg_flags "$prefix") -o "$first"
  # shellcheck disable=SC2046
  run_quietly c++ -std=c++20 -fPIC -shared -Dmain=run tests/install/caller.cpp $(pkg_flags "$other") -o "$second"
  run_quietly c++ -std=c++20 tests/install/host.cpp -o "$work/host"
  symbols=$(nm -DC --defined-only "$first")
  if grep -E ' [TWVu] (modeling_app::P(clBinary|cbReader|cbWriter)|ferrun::(Tracer|Singleton|File|AsyncTaskQueue)\b)' \
    <<<"$symbols"; then
    fail "a plugin exports functions of the static library"
  fi
  for order in "$first $second" "$second $first"; do
    # shellcheck disable=SC2086 # two words
    run_caller "$work/host" "$work/caller.pcbin" $order
  done
}

# The shared libraries hide what is not marked as interface: the command-line parser, for one.
check_exports() {
  local library symbols
  for library in "$prefix"/lib/libpcbin_*.so; do
    symbols=$(nm -DC --defined-only "$library")
    if grep -E ' [TW] (pcl::|Eigen::|ferrun::ArgOption)' <<<"$symbols"; then
      fail "$library exports more than its interface"
    fi
  done
}

# The examples: what they write and read, what they say on a full disk and of a damaged file, and their usage.
check_recorder() {
  local build=$work/recorder file=$work/recorder/survey.pcbin program said
  run_quietly cmake -S examples/recorder -B "$build" "${generator[@]}" -DCMAKE_PREFIX_PATH="$prefix"
  run_quietly cmake --build "$build"
  (($(wc -l <examples/recorder/write_pcbin.cpp) <= 70)) || fail "the recorder has more than 70 lines"
  expect_lines 0 "survey.pcbin: 25 of 25 frames, 10000 points" "$build/write_pcbin" "$file"
  expect_lines 0 ": 25 frames, 10000 points, last point (19.975, 24.000, 0.000) of sweep 24 " "$build/read_pcbin" "$file"
  "$prefix/bin/pcbin_las" -b "$file" -n 1 | grep -q 'points\[0\]' || fail "the program does not read the file"
  expect_lines 0 "25 frames saved, 0 failed" "$build/pcbin_to_pcd" "$file" "$build/frame"
  [[ $(head -n 11 "$build/frame_24.pcd") == *"FIELDS x y z rgba intensity timestamp sweepid"*"POINTS 400"* ]] ||
    fail "pcbin_to_pcd does not save the frames"

  for program in write_pcbin read_pcbin pcbin_to_pcd; do expect_lines 2 "usage: $program FILE" "$build/$program"; done
  expect_lines 1 "error from the recorder: <E>" "$build/write_pcbin" "$work/none/a"
  expect_lines 1 "file($work/none/a) not exists!" "$build/read_pcbin" "$work/none/a"
  # A full disk: files may have 100 KiB.
  said=$(trap '' XFSZ; ulimit -f 100; expect_lines 1 " 6 of 25 frames, 2400 points: File too large" \
    "$build/write_pcbin" "$build/full.pcbin") || fail "$said"
  expect_lines 1 "not all of the 25 announced frames could be read" "$build/read_pcbin" "$build/full.pcbin"
  head -c 100000 "$file" >"$build/cut.pcbin"
  expect_lines 1 "cut.pcbin) read error, len: " "$build/read_pcbin" "$build/cut.pcbin"
  expect_lines 1 "6 frames saved, 0 failed" "$build/pcbin_to_pcd" "$build/cut.pcbin" "$build/cut"
}

# Runs a program that must end with a status and say a text: expect_lines STATUS TEXT PROGRAM [ARGUMENT...]
expect_lines() {
  local status=$1 text=$2 said ended=0
  shift 2
  said=$("$@" 2>&1) || ended=$?
  [[ $ended -eq $status && $said == *"$text"* ]] ||
    fail "status $ended, expected $status and '$text', of $*: $said"
}

echo "Building and installing ..."
install_and_move -DBUILD_SHARED_LIBS=OFF
echo "Checking the installed files ..."
if grep -rlF -e "$work" -e "$PWD" "$prefix"; then fail "these files name a path of the build"; fi
check_program
check_man_page
check_completion
side_by_side check_flags check_fetch_content check_two_versions check_headers check_recorder check_registration \
  check_own_types check_caller check_pkg_config
echo "Checking the shared libraries ..."
install_and_move -DBUILD_SHARED_LIBS=ON -DPCBIN_BUILD_PROGRAM=OFF
check_exports
side_by_side check_caller check_pkg_config
echo "check_install: passed"
