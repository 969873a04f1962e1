# shellcheck shell=bash
# For scripts that build the project on a Debian machine: to be sourced.

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

# Installs those of the named packages that are missing; asks nothing, and needs no rights when
# nothing is missing.
install_packages() {
  local package missing=() as_root=()
  if ! command -v dpkg-query >/dev/null; then
    echo "This is no Debian system; needed are the counterparts of: $*"
    return
  fi
  for package in "$@"; do
    dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed ||
      missing+=("$package")
  done
  if [ ${#missing[@]} -eq 0 ]; then return; fi
  echo "Installing ${missing[*]} (this can take some minutes) ..."
  if [ "$(id -u)" -ne 0 ]; then as_root=(sudo); fi
  run_quietly "${as_root[@]}" apt-get update
  run_quietly "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends "${missing[@]}"
}

# The options that make CMake use ninja where it is installed, one a line.
generator_options() {
  if command -v ninja >/dev/null; then printf '%s\n' -G Ninja; fi
}
