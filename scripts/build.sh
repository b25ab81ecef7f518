#!/usr/bin/env bash
# Configures and builds one preset on all cores, saying little unless it fails.
# usage: scripts/build.sh PRESET [CMake build arguments]
set -euo pipefail
cd "$(dirname "$0")/.."
preset=$1
shift

log=$(mktemp)
trap 'rm -f "$log"' EXIT
echo "building $preset ..."
if ! { cmake --preset "$preset" && cmake --build "build/$preset" -j "$(nproc)" "$@"; } >"$log" 2>&1; then
  tail -n 60 "$log" >&2
  echo "building $preset failed" >&2
  exit 1
fi
