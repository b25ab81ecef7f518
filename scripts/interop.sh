#!/usr/bin/env bash
# Checks that VTK, meshio and gmsh open what the writers make of every element type, with the same counts and
# coordinates. Installs them (Debian packages) where it can; what cannot be had is left out.
# usage: scripts/interop.sh
set -euo pipefail
cd "$(dirname "$0")/.."

missing=()
for package in python3-vtk9 python3-meshio gmsh; do
  dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ] && command -v apt-get >/dev/null && [ "$(id -u)" -eq 0 ]; then
  for package in "${missing[@]}"; do
    DEBIAN_FRONTEND=noninteractive apt-get -qy install --no-install-recommends "$package" >/dev/null 2>&1 </dev/null ||
      echo "skipped: cannot install $package"
  done
fi

scripts/build.sh release --target qv7plexo
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
g++ -std=c++17 -O1 -Iinclude scripts/interop/write_samples.cpp -o "$work/write_samples" \
  -Lbuild/release/src -lqv7plexo-4.3 -lqv7math1-4.3 -Wl,-rpath,"$PWD/build/release/src"
mkdir "$work/samples"
"$work/write_samples" "$work/samples" >"$work/list"
# The modules belong to the system's Python, whichever comes first in the path.
/usr/bin/python3 scripts/interop/check_samples.py "$work/list"
