#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Builds the project and runs its tests in a fresh system of each named release, with each of its compilers, and
# checks what it installs there:
#   trixie   Debian 13, g++ 14 (and clang 19 with PCBIN_CLANG=1)
#   jammy    Ubuntu 22.04: g++ 11, CMake 3.22, PCL 1.12; from the mirror PCBIN_UBUNTU_MIRROR
#   g++-11   no release: the oldest compiler, of this system
# Usage: scripts/check_systems.sh [trixie|jammy|g++-11]...    all three when none is named
# A system that cannot be fetched or mounted, as in a container, is named and skipped. Needs root and 8 GB.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/install_packages.sh
. scripts/lib/install_packages.sh
# shellcheck source=scripts/lib/debian_system.sh
. scripts/lib/debian_system.sh

mkdir -p build
log=$PWD/build/systems.log
: >"$log"
work=$(mktemp -d /var/tmp/pcbin_systems_XXXXXX)
trap 'remove_system "$work/jammy"; remove_system "$work/trixie"; rm -rf "$work"' EXIT

# Runs scripts/test.sh in a fresh system, once with each compiler, and scripts/check_install.sh.
# Usage: test_in RELEASE MIRROR COMPONENTS COMPILER...
test_in() {
  local release=$1 mirror=$2 components=$3 compiler system=$work/$1
  shift 3
  make_system "$release" "$system" "$mirror" || return 0
  echo "deb $mirror $release $components" >"$system/etc/apt/sources.list"
  mkdir "$system/root/source"
  git -c safe.directory="$PWD" archive HEAD | tar x -C "$system/root/source"
  run_quietly in_system "$system" apt-get update
  for compiler in "$@"; do
    if [[ $compiler == clang++ ]]; then
      run_quietly in_system "$system" apt-get install -y --no-install-recommends clang
    fi
    rm -rf "$system/root/source/build"
    run_quietly in_system "$system" env CXX="$compiler" bash -c \
      "/root/source/scripts/test.sh && $compiler --version && cmake --version"
    echo "$release, $compiler: $(grep -E '^[0-9]+% tests passed' "$log" | tail -n 1)"
  done
  run_quietly in_system "$system" /root/source/scripts/check_install.sh
  echo "$release: $(tail -n 1 "$log")"
  remove_system "$system"
}

test_with_old_compiler() {
  install_packages g++-11 "${build_packages[@]}" "${test_packages[@]}"
  run_quietly cmake --preset release -B build/g++-11 -DCMAKE_CXX_COMPILER=g++-11
  run_quietly cmake --build build/g++-11 --parallel "$(nproc)"
  run_quietly ctest --test-dir build/g++-11 --output-on-failure --parallel "$(nproc)"
  echo "this system, g++-11: $(grep -E '^[0-9]+% tests passed' "$log" | tail -n 1)"
}

if [[ $# -eq 0 ]]; then set -- trixie jammy g++-11; fi
for name in "$@"; do
  case $name in
    trixie) test_in trixie "$(package_mirror)" main g++ ${PCBIN_CLANG:+clang++} ;;
    jammy)
      if [[ -n ${PCBIN_UBUNTU_MIRROR:-} ]]; then
        test_in jammy "$PCBIN_UBUNTU_MIRROR" "main universe" g++
      else
        echo "jammy was skipped: PCBIN_UBUNTU_MIRROR names no mirror"
      fi
      ;;
    g++-11) test_with_old_compiler ;;
    *)
      echo "check_systems: no such system: $name" >&2
      exit 2
      ;;
  esac
done
