#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Builds the project and runs its tests; installs missing packages on a Debian machine.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/install_packages.sh
. scripts/lib/install_packages.sh

mkdir -p build
log=build/test.log
: >"$log"

install_packages "${build_packages[@]}" "${test_packages[@]}"
mapfile -t generator < <(generator_options)
echo "Building ..."
run_quietly cmake --preset release "${generator[@]}"
run_quietly cmake --build --preset release --parallel "$(nproc)"
# More tests at once than cores: some only wait.
ctest --preset release --parallel $(($(nproc) + 2)) "$@"
