#!/bin/sh
#SBATCH --job-name=pcbin_las
#SBATCH --cpus-per-task=1
#SBATCH --mem=256M
# One task of a Slurm array: converts the survey whose directory stands on line SLURM_ARRAY_TASK_ID, from 1,
# of the file surveys.txt.
#
#   sbatch --array=1-"$(wc -l < surveys.txt)" slurm_array.sh
set -eu
directory=$(sed -n "${SLURM_ARRAY_TASK_ID}p" surveys.txt)
# Slurm runs a copy of this script: the other one is looked for where the job was submitted.
exec "${SLURM_SUBMIT_DIR:-.}/convert_survey.sh" "$directory"
