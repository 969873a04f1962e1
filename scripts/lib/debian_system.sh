# SPDX-License-Identifier: BSD-3-Clause
# shellcheck shell=bash
# For scripts that need a fresh minimal system in a directory of its own: to be sourced after
# install_packages.sh. Such scripts run as root.

# The first source of Debian packages of this machine.
package_mirror() {
  # shellcheck disable=SC2016 # apt-get replaces $(SITE)
  apt-get indextargets --format '$(SITE)' 'Created-By: Packages' 'Origin: Debian' | head -n 1
}

# Makes a minimal system of a release in a directory: make_system RELEASE DIRECTORY [MIRROR]
# False, with a line, where it cannot be fetched or mounted, as in many containers.
make_system() {
  local release=$1 directory=$2 mirror=${3:-$(package_mirror)}
  install_packages debootstrap
  mkdir -p "$directory/proc"
  # shellcheck disable=SC2154 # log is set by the script that sources this file
  if ! mount -t proc proc "$directory/proc" >>"$log" 2>&1; then
    echo "$release was skipped: a new system cannot be mounted here"
    return 1
  fi
  umount "$directory/proc"
  if ! debootstrap --variant=minbase "$release" "$directory" "$mirror" >>"$log" 2>&1; then
    echo "$release was skipped: it cannot be fetched from $mirror; $log has the reason"
    remove_system "$directory"
    return 1
  fi
  # No package may start a service; some need /proc.
  printf '#!/bin/sh\nexit 101\n' >"$directory/usr/sbin/policy-rc.d"
  chmod +x "$directory/usr/sbin/policy-rc.d"
  echo force-unsafe-io >"$directory/etc/dpkg/dpkg.cfg.d/no-sync"  # it is soon removed
  run_quietly mount -t proc proc "$directory/proc"
  run_quietly mount -t devpts -o ptmxmode=666 devpts "$directory/dev/pts"  # for script, in a test
}

# Removes such a system, also if it is incomplete.
remove_system() {
  local directory
  for directory in "$1/dev/pts" "$1/proc"; do
    if mountpoint -q "$directory"; then umount "$directory"; fi
  done
  rm -rf "$1"
}

# Runs a command in such a system: in_system DIRECTORY COMMAND...
in_system() {
  local directory=$1
  shift
  chroot "$directory" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive "$@"
}
