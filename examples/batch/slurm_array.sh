#!/bin/sh
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
# must begin with 1. Submit it from the directory that holds the scripts and surveys.txt.
set -u
cd "${SLURM_SUBMIT_DIR:-.}" || exit 2
mine=$(awk -v task="$SLURM_ARRAY_TASK_ID" -v tasks="$SLURM_ARRAY_TASK_COUNT" \
  'NR % tasks == task % tasks' surveys.txt)
status=0
while IFS= read -r directory; do
  ./convert_survey.sh --skip-done "$directory" || status=1
done << END
$mine
END
exit $status
