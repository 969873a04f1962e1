#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Checks the Debian packages: builds those of this machine twice in different folders and compares the bytes,
# builds those of arm64, runs lintian, then installs, uses and purges the former in a fresh minimal Debian 12.
# Needs root; the development package installs 2.6 GB.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/install_packages.sh
. scripts/lib/install_packages.sh
# shellcheck source=scripts/lib/debian_system.sh
. scripts/lib/debian_system.sh

work=$(mktemp -d /var/tmp/pcbin_packages_XXXXXX)
trap 'remove_system "$work/system"; rm -rf "$work"' EXIT
log=$work/log
: >"$log"
system=$work/system
install_packages git lintian

fail() {
  echo "check_packages: $*" >&2
  exit 1
}

check_same_bytes() {
  local package
  run_quietly git -c safe.directory="$PWD/.git" clone --no-hardlinks "$PWD" "$work/another folder"
  rm -f build/package/*.deb
  run_quietly scripts/package.sh
  run_quietly "$work/another folder/scripts/package.sh"
  for package in build/package/*.deb; do
    cmp "$package" "$work/another folder/$package" || fail "$package differs from build to build"
  done
}

check_with_lintian() {
  local findings
  findings=$(lintian --allow-root build/package/*.deb 2>&1) || fail "lintian: $findings"
  [[ -z $findings ]] || fail "lintian: $findings"
}

# Installs packages with what they depend on, without recommended packages.
install_in_system() {
  cp "$@" "$system/root/"
  run_quietly in_system "$system" apt-get install -y --no-install-recommends "${@/#*\//\/root/}"
}

check_program() {
  local usage
  install_in_system "build/package/pcbin-las_"*"_$machine.deb"
  usage=$(in_system "$system" pcbin_las -h)
  [[ $usage == *"--repair <map.las>"* ]] || fail "the installed program does not print its usage"
}

check_development_package() {
  install_in_system "build/package/pcbin-las-dev_"*"_$machine.deb"
  run_quietly in_system "$system" apt-get install -y --no-install-recommends g++ cmake make pkg-config
  cp -r "$caller" "$system/root/caller"
  run_quietly in_system "$system" cmake -S /root/caller -B /root/caller/build
  run_quietly in_system "$system" cmake --build /root/caller/build
}

check_python_package() {
  install_in_system build/package/python3-pcbin_*_all.deb
  run_quietly in_system "$system" python3 -c 'import pcbin'
}

# No package leaves files after it was purged.
check_purge() {
  local left
  run_quietly in_system "$system" apt-get purge -y '?name(pcbin)'
  left=$(find "$system/usr" "$system/etc" "$system/var/lib/dpkg/info" \
    -name 'pcbin*' -o -name 'libpcbin*' -o -name 'python3-pcbin*')
  [[ -z $left ]] || fail "left after the purge: $left"
}

machine=$(dpkg --print-architecture)
caller=examples/recorder
echo "Building the packages ..."
check_same_bytes
run_quietly scripts/package.sh arm64
check_with_lintian
echo "Installing them in a fresh system ..."
if ! make_system bookworm "$system"; then
  echo "check_packages: passed, but the packages were not installed"
  exit
fi
check_program
check_development_package
check_python_package
check_purge
echo "check_packages: passed"
