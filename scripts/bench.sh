#!/usr/bin/env bash
# Measures this library side by side with the general libraries that people use for the same jobs, single-threaded, in
# one process, and prints one table.
#   scripts/bench.sh            all sizes (10^5, 10^6, 4*10^6), some 15 minutes
#   scripts/bench.sh --quick    10^5 and 10^6, under 2 minutes
#   scripts/bench.sh NAME       only the workloads whose name contains NAME
# Every peer is optional: one that Debian does not have here is named and left out.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

peers=(libnanoflann-dev libvtk9-dev libcgal-dev libopenmesh-dev admesh libadmesh-dev libassimp-dev
       libtinyobjloader-dev libmeshoptimizer-dev libeigen3-dev liblapack-dev libgmsh-dev)
missing=()
for package in "${peers[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    "${as_root[@]}" apt-get update -qq || true
    for package in "${missing[@]}"; do
        "${as_root[@]}" apt-get install -y -qq --no-install-recommends "$package" >/dev/null 2>&1 ||
            echo "bench: $package cannot be installed, its rows stay empty" >&2
    done
fi

cmake --preset release -DPLEXO_BUILD_PEERS=ON | grep -E "Peer" >&2 || true
cmake --build build/release --target plexo_peers >&2
[ -n "${TMPDIR:-}" ] || { [ -w /dev/shm ] && export TMPDIR=/dev/shm; }
grep -m1 "model name" /proc/cpuinfo || true
${CXX:-c++} --version | head -n 1
date -u +%F
OMP_NUM_THREADS=1 exec build/release/bench/peers/plexo_peers "$@"
