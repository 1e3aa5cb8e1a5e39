#!/usr/bin/env bash
# One rank under an MPI launcher. Ranks need not communicate.
#
#   mpirun -n 8 examples/batch/mpi_rank.sh LIST MODEL OUT
#   facefeature gallery merge OUT/part-*.gallery -o OUT/faces.gallery
#
# The rank and the number of ranks come from the environment variables of Open MPI, of other
# launchers, or of srun.
set -euo pipefail
list=$1 model=$2 out=$3
rank=${OMPI_COMM_WORLD_RANK:-${PMI_RANK:-${SLURM_PROCID:?no MPI launcher has started this}}}
ranks=${OMPI_COMM_WORLD_SIZE:-${PMI_SIZE:-${SLURM_NTASKS:?}}}

mkdir -p "$out"
part=$out/part-$(printf %04d $((rank + 1)))
status=0
# One worker: the launcher usually starts as many ranks as there are processors.
OMP_NUM_THREADS=1 "${FACEFEATURE:-facefeature}" extract --list "$list" -o "$part.gallery" \
  --model "$model" --jobs 1 --shard "$((rank + 1))/$ranks" --resume --progress plain \
  --report "$part.csv" || status=$?
# 3: some photographs failed. The report names them, and the gallery has all others. Any other
# status ends all ranks.
if ((status == 3)); then exit 0; fi
exit "$status"
