#!/usr/bin/env bash
# Sets up, builds Release and runs the whole test suite; the last line is "N passed, N failed".
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
scripts/build.sh release
scripts/run_suite.sh release
