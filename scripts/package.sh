#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Makes the Debian packages pcbin-las (the program), pcbin-las-dev (the library) and python3-pcbin in
# build/package. The same commit gives the same bytes, wherever it is built.
# Usage: scripts/package.sh [amd64|arm64]    for the machine itself when no architecture is named
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/install_packages.sh
. scripts/lib/install_packages.sh

mkdir -p build/package
log=build/package/package.log
: >"$log"

install_packages "${build_packages[@]}" dpkg-dev file git
mapfile -t generator < <(generator_options)
machine=$(dpkg --print-architecture)
architecture=${1:-$machine}
preset=release
if [[ $architecture != "$machine" ]]; then
  if [[ $architecture != arm64 ]]; then
    echo "package.sh: of other machines only arm64 can be built for" >&2
    exit 1
  fi
  install_arm64_packages
  preset=arm64
fi
build=build/package/$architecture

# The time of the last commit; outside a repository, of the changelog.
SOURCE_DATE_EPOCH=$(git -c safe.directory="$PWD" log -1 --format=%ct 2>/dev/null ||
  stat -c %Y CHANGELOG.md)
export SOURCE_DATE_EPOCH

# Runs a command with the variables of the architecture, which dpkg's tools read.
for_architecture() {
  dpkg-architecture --force -a "$architecture" -c "$@"
}

# Debian's hardening flags. Optimisation is left to the build type, and there is no debug information:
# stripping would remove it from the program but not from the libraries.
build_flags() {
  for_architecture env DEB_BUILD_MAINT_OPTIONS=hardening=+bindnow \
    DEB_CXXFLAGS_MAINT_STRIP="-g -O2" dpkg-buildflags --get "$1"
}

make_packages() {
  cd "$build"
  for_architecture cpack -B ..
}

umask 022
echo "Building for $architecture ..."
rm -rf "$build"
run_quietly cmake --preset "$preset" -B "$build" "${generator[@]}" \
  -DPCBIN_BUILD_TESTS=OFF -DPCBIN_BUILD_EXAMPLES=OFF -DCMAKE_INSTALL_PREFIX=/usr \
  -DCMAKE_INSTALL_LIBDIR="lib/$(dpkg-architecture --force -a "$architecture" -qDEB_HOST_MULTIARCH)" \
  -DCMAKE_CXX_FLAGS="$(build_flags CPPFLAGS) $(build_flags CXXFLAGS)" \
  -DCMAKE_EXE_LINKER_FLAGS="$(build_flags LDFLAGS)"
run_quietly cmake --build "$build" --parallel "$(nproc)"
(log=$PWD/$log && run_quietly make_packages)
rm -rf build/package/_CPack_Packages
find build/package -maxdepth 1 -name "*_$architecture.deb" -o -maxdepth 1 -name '*_all.deb' | sort
