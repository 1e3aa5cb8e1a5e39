#!/usr/bin/env bash
# GNU parallel: extracts parts of a list concurrently, on this machine or, with --sshlogin, on
# others.
#
#   examples/batch/gnu_parallel.sh LIST MODEL OUT PARTS
#
# Set options for parallel itself in the variable PARALLEL. Writes OUT/faces.gallery. After an
# interruption, run it again: it does what is missing.
set -euo pipefail
list=$1 model=$2 out=$3 parts=$4
export FACEFEATURE=${FACEFEATURE:-facefeature}

mkdir -p "$out"
# One worker for each part: parallel itself starts as many parts as there are processors.
extractPart() {
  local part=$4/part-$(printf %04d "$1") status=0
  "$FACEFEATURE" extract --list "$3" -o "$part.gallery" --model "$5" --jobs 1 \
    --shard "$1/$2" --resume --progress plain --report "$part.csv" || status=$?
  # 3: some photographs failed. The report names them, and the gallery has all others.
  ((status == 3)) || return "$status"
}
export -f extractPart
# parallel runs functions in the shell that this variable names.
export SHELL=$BASH
export OMP_NUM_THREADS=1

parallel --halt soon,fail=1 extractPart {} "$parts" "$list" "$out" "$model" ::: $(seq "$parts")
"$FACEFEATURE" gallery merge "$out"/part-*.gallery -o "$out/faces.gallery" --list "$list"
