#!/usr/bin/env bash
# Exact search over the shards of a gallery. One rank under an MPI launcher searches one shard; ranks
# need not communicate.
#
#   mpirun -n 4 examples/batch/mpi_search.sh SHARDS PROBES TOP OUT
#   examples/batch/merge_answers.py TOP OUT/answers-*.csv >answers.csv
#
# SHARDS is a folder with part-0001.gallery, part-0002.gallery, ... in the order of the whole gallery,
# as mpi_rank.sh writes them. A rank with more than one shard takes every n-th. PROBES is whatever
# "facefeature search" takes. The merged answers have the bytes of a search of the whole gallery.
set -euo pipefail
shards=$1 probes=$2 top=$3 out=$4
rank=${OMPI_COMM_WORLD_RANK:-${PMI_RANK:-${SLURM_PROCID:?not started by an MPI launcher}}}
ranks=${OMPI_COMM_WORLD_SIZE:-${PMI_SIZE:-${SLURM_NTASKS:?}}}

mkdir -p "$out"
number=0
for shard in "$shards"/part-*.gallery; do
  if ((number++ % ranks == rank)); then
    name=$(basename "$shard" .gallery)
    answers=$out/answers-${name#part-}.csv
    OMP_NUM_THREADS=${THREADS_PER_RANK:-1} "${FACEFEATURE:-facefeature}" search "$shard" "$probes" \
      --top "$top" >"$answers.part"
    mv "$answers.part" "$answers"
  fi
done
