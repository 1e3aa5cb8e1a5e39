#!/usr/bin/env bash
#SBATCH --array=1-8
#SBATCH --cpus-per-task=4
#
# A Slurm job array: each task extracts its part of a list.
#
#   sbatch examples/batch/slurm_array.sh LIST MODEL OUT
#
# Task k writes OUT/part-000k.gallery and OUT/part-000k.csv, which names the photographs that failed.
# --requeue is safe: a restarted task resumes where it stopped. When all tasks are done:
#
#   facefeature gallery merge OUT/part-*.gallery -o OUT/faces.gallery
set -euo pipefail
list=$1 model=$2 out=$3

# Task ids must run from 1 without gaps, as above.
task=$SLURM_ARRAY_TASK_ID
tasks=$SLURM_ARRAY_TASK_COUNT
# Without this limit, each task would use the whole machine if Slurm does not bind it to processors.
export OMP_NUM_THREADS=${SLURM_CPUS_PER_TASK:-1}

mkdir -p "$out"
# With leading zeros, names sort in the order of their numbers.
part=$out/part-$(printf %04d "$task")
status=0
"${FACEFEATURE:-facefeature}" extract --list "$list" -o "$part.gallery" --model "$model" \
  --shard "$task/$tasks" --resume --progress plain --report "$part.csv" || status=$?
# 3: some photographs failed. The report names them, and the gallery has all others.
if ((status == 3)); then exit 0; fi
exit "$status"
