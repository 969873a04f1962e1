#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
#SBATCH --job-name=pcbin_las
#SBATCH --cpus-per-task=1
#SBATCH --mem=256M
# A Slurm array that converts the surveys whose directories are listed in the file surveys.txt, one per line.
# The surveys are distributed over the tasks, so that 1000 tasks convert any number of them: by default Slurm
# accepts no array index above 1000.
#
#   find surveys -mindepth 1 -maxdepth 1 -type d > surveys.txt
#   surveys=$(wc -l < surveys.txt)
#   sbatch --array=1-$((surveys < 1000 ? surveys : 1000)) slurm_array.sh
#
# A task converts all its surveys, also after a failed one, and fails when one is not complete. Array indices
# must begin with 1. Submit it from the directory that holds the scripts and surveys.txt. The first task leaves
# the start of the job in the file convert.start beside the surveys; make_page.py reads it.
set -u
cd "${SLURM_SUBMIT_DIR:-.}" || exit 2
mapfile -t mine < <(awk -v task="$SLURM_ARRAY_TASK_ID" -v tasks="$SLURM_ARRAY_TASK_COUNT" \
  'NF > 0 && NR % tasks == task % tasks' surveys.txt)
status=0
for directory in "${mine[@]}"; do
  start=$(dirname -- "$directory")/convert.start
  case $start in -*) start=./$start ;; esac # not an option
  job="job ${SLURM_ARRAY_JOB_ID-}"
  if [ "$(tail -n 1 "$start" 2> /dev/null)" != "$job" ]; then
    rm -f -- "$start"
    (set -C && printf '%s\n' "$(date -u +%FT%TZ)" "$job" > "$start") 2> /dev/null # or another task did it
  fi
  ./convert_survey.sh --skip-done "$directory" || status=1
done
exit $status
