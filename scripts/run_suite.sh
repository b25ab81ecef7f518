#!/usr/bin/env bash
# Runs the test suite of a built preset, prints the failures and, as the last line, "N passed, N failed".
# usage: scripts/run_suite.sh PRESET
set -euo pipefail
cd "$(dirname "$0")/.."

log=$(mktemp)
trap 'rm -f "$log"' EXIT
status=0
ctest --preset "$1" -j "$(nproc)" --no-tests=error >"$log" 2>&1 </dev/null || status=$?

# CTest says "97% tests passed, 3 tests failed out of 100"; it counts skipped tests as passed and lists them.
summary=$(grep -E 'tests? passed, [0-9]+ tests? failed out of [0-9]+' "$log" || true)
failed=$(sed -E 's/.*passed, ([0-9]+) tests? failed.*/\1/' <<<"$summary")
total=$(sed -E 's/.*out of ([0-9]+).*/\1/' <<<"$summary")
if [ -z "$summary" ]; then
  tail -n 40 "$log" >&2
  echo "0 passed, 1 failed"
  exit 1
fi
if [ "$status" -ne 0 ]; then
  grep -vE '^ *(Start +[0-9]+:|[0-9]+/[0-9]+ Test +#[0-9]+:.* Passed )' "$log" || true
fi
skipped=$(grep -cE '^[[:space:]]+[0-9]+ - .* \(Skipped\)$' "$log" || true)
[ "$skipped" -eq 0 ] || echo "$skipped skipped"
echo "$((total - failed - skipped)) passed, $failed failed"
exit "$status"
