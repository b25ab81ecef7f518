#!/usr/bin/env bash
# Installs the Debian packages that building, testing and checking need and that are missing; silent when none is.
# usage: scripts/setup.sh [all]     "all" adds what only the checks of .ci/run and scripts/lint.sh need
set -euo pipefail

needed=(g++ cmake ninja-build libgtest-dev libbenchmark-dev liblapack-dev)
if [ "${1:-}" = all ]; then
  needed+=(clang clang-format clang-tidy libomp-dev libclang-rt-dev pkg-config)
fi

# dpkg-query is the one thing asked: a package counts when it is fully installed, also by way of one that replaces it.
missing=()
installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' 2>/dev/null || true)
for package in "${needed[@]}"; do
  grep -qxF "installed $package" <<<"$installed" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

if ! command -v apt-get >/dev/null; then
  echo "setup: missing ${missing[*]}, and this is no Debian system: install their counterparts by hand" >&2
  exit 1
fi
if [ "$(id -u)" -eq 0 ]; then
  as_root=(env)
elif command -v sudo >/dev/null && { sudo -n true 2>/dev/null || [ -t 0 ]; }; then
  as_root=(sudo env)
else
  echo "setup: missing ${missing[*]}; run as root: apt-get install ${missing[*]}" >&2
  exit 1
fi

echo "setup: installing ${missing[*]}" >&2
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { "${as_root[@]}" apt-get -q update &&
       "${as_root[@]}" DEBIAN_FRONTEND=noninteractive apt-get -qy install --no-install-recommends "${missing[@]}"; } \
     </dev/null >"$log" 2>&1; then
  tail -n 20 "$log" >&2
  echo "setup: could not install ${missing[*]}" >&2
  exit 1
fi
