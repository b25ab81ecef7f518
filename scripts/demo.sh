#!/usr/bin/env bash
# Sets up, builds Release and runs the main job on an STL file: read, check, centre, write a MEDIT mesh to out/.
# usage: scripts/demo.sh [FILE.stl]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
file=$(realpath -m -- "${1:-$top/examples/data/flange.stl}")
cd "$top"

scripts/setup.sh
scripts/build.sh release --target surface_report
mkdir -p out
name=$(basename -- "$file")
# Inside the project, the path as one would type it.
exec build/release/examples/surface_report "${file#"$top"/}" "out/${name%.*}.mesh"
