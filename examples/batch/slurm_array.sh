#!/usr/bin/env bash
#SBATCH --array=1-8
#SBATCH --cpus-per-task=4
#
# A Slurm job array: each task extracts its part of a list.
#
#   sbatch examples/batch/slurm_array.sh LIST MODEL OUT
#
# Task k leaves OUT/part-000k.gallery and OUT/part-000k.csv, which names the photographs that failed.
# --requeue does no harm: a task that is started again goes on where it stopped. When all are done:
#
#   facefeature gallery merge OUT/part-*.gallery -o OUT/faces.gallery
set -euo pipefail
list=$1 model=$2 out=$3

# Tasks numbered from 1 without gaps, as above.
task=$SLURM_ARRAY_TASK_ID
tasks=$SLURM_ARRAY_TASK_COUNT
# Without it, where Slurm binds no task to processors, each would take the whole machine.
export OMP_NUM_THREADS=${SLURM_CPUS_PER_TASK:-1}

mkdir -p "$out"
# With leading zeros, names come in the order of their numbers.
part=$out/part-$(printf %04d "$task")
status=0
"${FACEFEATURE:-facefeature}" extract --list "$list" -o "$part.gallery" --model "$model" \
  --shard "$task/$tasks" --resume --progress plain --report "$part.csv" || status=$?
# 3: some photographs failed. The report names them, and the gallery is whole without them.
if ((status == 3)); then exit 0; fi
exit "$status"
