# SPDX-License-Identifier: BSD-3-Clause
# shellcheck shell=bash
# For scripts that build the project on a Debian machine: to be sourced.

# The packages needed to build the program and its tests.
# shellcheck disable=SC2034 # the scripts that source this file use them
build_packages=(g++ cmake ninja-build libpcl-dev libeigen3-dev libpng-dev
  python3-pyproj)
# shellcheck disable=SC2034
test_packages=(libgtest-dev libgmock-dev python3-numpy)

# Runs a command with its output in the file $log; when it fails, prints the end of that and ends
# the script.
run_quietly() {
  # shellcheck disable=SC2154 # log is set by the script that sources this file
  if ! "$@" >>"$log" 2>&1 </dev/null; then
    printf '\nThis failed: %s\nThe end of %s:\n\n' "$*" "$log" >&2
    tail -n 40 "$log" >&2
    exit 1
  fi
}

# Runs a command as root.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# Ends the script when a tool, or the package of it that would be installed, is older than the build
# needs: require_version TOOL MINIMUM
require_version() {
  local tool=$1 minimum=$2 version
  if command -v "$tool" >/dev/null; then
    version=$("$tool" --version | sed -nE '1s/.*[ )]([0-9]+(\.[0-9]+)+).*/\1/p')
  else
    version=$(apt-cache policy "$tool" 2>/dev/null | sed -nE 's/^ +Candidate: ([0-9]+:)?([0-9.]+).*/\2/p')
  fi
  if [[ -n $version && $(printf '%s\n' "$version" "$minimum" | sort -V | head -n 1) != "$minimum" ]]; then
    echo "$tool $version is too old: pcbin_las needs $minimum or later" >&2
    exit 1
  fi
}

# Checks the tools' versions and installs the missing ones of the named packages. Asks nothing, and needs root
# only to install.
install_packages() {
  local package missing=()
  if [[ " $* " == *" cmake "* ]]; then
    require_version cmake 3.22
    if [[ -z ${CXX:-} ]]; then require_version g++ 11; fi
  fi
  if ! command -v dpkg-query >/dev/null; then
    echo "This is not a Debian system; the build needs the counterparts of: $*"
    return
  fi
  for package in "$@"; do
    dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed ||
      missing+=("$package")
  done
  if [ ${#missing[@]} -eq 0 ]; then return; fi
  echo "Installing ${missing[*]} (this can take some minutes) ..."
  run_quietly update_packages
  run_quietly as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get -o DPkg::Lock::Timeout=600 install -y --no-install-recommends "${missing[@]}"
}

# apt-get update, which has no option to wait for another apt-get: tried again for ten minutes.
update_packages() {
  local tries output
  for ((tries = 60; tries > 0; --tries)); do
    if output=$(as_root env LC_ALL=C apt-get update 2>&1); then return; fi
    if [[ $output != *"Could not get lock"* ]]; then break; fi
    sleep 10
  done
  echo "$output"
  return 1
}

# Installs what cross-builds for 64-bit Arm: the compiler, and the libraries of that architecture that the
# program is linked with, of which dpkg-shlibdeps reads the versions.
install_arm64_packages() {
  if command -v dpkg >/dev/null && [[ $(dpkg --print-architecture) != arm64 ]] &&
    ! dpkg --print-foreign-architectures | grep -qx arm64; then
    run_quietly as_root dpkg --add-architecture arm64
  fi
  install_packages g++-aarch64-linux-gnu libpng-dev:arm64 libstdc++6:arm64
}

# The options that make CMake use ninja where it is installed, one a line.
generator_options() {
  if command -v ninja >/dev/null; then printf '%s\n' -G Ninja; fi
}
