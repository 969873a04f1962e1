# SPDX-License-Identifier: BSD-3-Clause
# bash completion for pcbin_las

# Completes directories, and files whose names end in .$1, in small or capital letters.
_pcbin_las_files() {
  compopt -o filenames
  mapfile -t COMPREPLY < <(
    compgen -d -- "$current"
    compgen -f -X "!*.$1" -- "$current"
    compgen -f -X "!*.${1^^}" -- "$current"
  )
}

# Completes the options that go with the mode chosen so far.
_pcbin_las_options() {
  local convert="-i -o -f --offset --batch --summary --gps-time --epsg --rgb16 --source-id --threads --picture --zoom --slice --picture-size --compare -d"
  local options="-b -r --repair $convert -h --help --version --options" word
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $word in
      -b) options="-s -n -d" && break ;;
      -r) options="-s -n -v --picture --zoom --slice --picture-size --threads -d" && break ;;
      --repair) options="--source-id --lossless -d" && break ;;
      -i | -o | -f | --offset | --batch | --summary | --gps-time | --epsg | --rgb16) options=$convert ;;
    esac
  done
  mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
}

_pcbin_las() {
  local current=${COMP_WORDS[COMP_CWORD]}
  COMPREPLY=()
  # The numbers of --offset, --zoom and --slice: no completion, although a negative one begins like an option.
  local first=$((COMP_CWORD > 3 ? COMP_CWORD - 3 : 1))
  [[ " ${COMP_WORDS[*]:first:COMP_CWORD-first} " != *" --"@(offset|zoom)" "* ]] || return 0
  first=$((COMP_CWORD > 2 ? COMP_CWORD - 2 : 1))
  [[ " ${COMP_WORDS[*]:first:COMP_CWORD-first} " != *" --slice "* ]] || return 0
  case ${COMP_WORDS[COMP_CWORD - 1]} in
    -b | -i) _pcbin_las_files pcbin ;;
    -r | -o) _pcbin_las_files 'la[sz]' ;;
    --repair) _pcbin_las_files las ;;
    -f) _pcbin_las_files csv ;;
    --summary) _pcbin_las_files json ;;
    --picture) _pcbin_las_files png ;;
    -d) mapfile -t COMPREPLY < <(compgen -W "1 2 3 4" -- "$current") ;;
    -v) mapfile -t COMPREPLY < <(compgen -W "0 1" -- "$current") ;;
    -s | -n | --epsg | --threads | --picture-size) ;;  # numbers
    --gps-time)
      _pcbin_las_options
      mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -W "unix gps adjusted" -- "$current")
      ;;
    *) _pcbin_las_options ;;
  esac
}

complete -F _pcbin_las pcbin_las
