#!/bin/sh
# A Dask scheduler and two workers on this machine, until Ctrl-C:
#
#     examples/cluster/start.sh [PORT]          (default: 8786)
#
# On a real cluster the same two programs run: the scheduler on one machine, and on each of the
# others a worker that is told the scheduler's address. All need the imgcnv module, and the archive
# under the same path or URL. A worker that is killed is started again, and its work given to others.
#
# Needs Debian's python3-distributed.
set -eu
port=${1:-8786}
address=tcp://127.0.0.1:$port

trap 'kill $programs 2>/dev/null; wait' EXIT
trap 'exit 0' INT TERM
dask-scheduler --host 127.0.0.1 --port "$port" --no-dashboard &
programs=$!
for worker in 1 2; do
    dask-worker "$address" --name "worker$worker" \
        --nthreads 1 --memory-limit 400MB --local-directory "${TMPDIR:-/tmp}" --no-dashboard &
    programs="$programs $!"
done
echo "scheduler at $address; in another shell: examples/cluster/to_zarr.py $address ..."
wait
