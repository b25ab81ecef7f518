#!/usr/bin/env bash
# Runs clang-tidy, with the checks of .clang-tidy, over every source or over the ones named.
# usage: scripts/lint.sh [SOURCE...]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh all
# The compilation database of the Clang preset: clang-tidy understands its flags.
cmake --preset clang >/dev/null
if [ $# -gt 0 ]; then
  printf '%s\0' "$@"
else
  git ls-files -z 'src/*.cpp' 'tests/*_test.cpp' 'bench/*.cpp' 'examples/*.cpp'
fi | xargs -0 -n 4 -P "$(nproc)" clang-tidy --quiet -p build/clang 2> >(grep -vE '^[0-9]+ warnings? (generated|treated)' >&2)
