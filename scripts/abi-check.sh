#!/usr/bin/env bash
# Compares the built library's ABI with the committed baseline (abi/libtelemetrysettings.abi).
#   scripts/abi-check.sh [build-dir]            fail on an incompatible change
#   scripts/abi-check.sh --update [build-dir]   rewrite the baseline on purpose
# Build with the default preset first (it carries the debug information abidw reads).
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

update=0
if [[ "${1:-}" == "--update" ]]; then update=1; shift; fi
build="${1:-build/default}"
library="$build/libtelemetrysettings.so"
baseline="abi/libtelemetrysettings.abi"

if [[ ! -f "$library" ]]; then
  echo "abi-check: $library not found; build the default preset first" >&2
  exit 1
fi

dump() { abidw --no-corpus-path --no-show-locs --out-file "$1" "$library"; }

if [[ $update == 1 ]]; then
  dump "$baseline" || { echo "abi-check: abidw failed" >&2; exit 1; }
  echo "abi-check: baseline $baseline updated; commit it with the change that needed it"
  exit 0
fi

current="$(mktemp)"
trap 'rm -f "$current"' EXIT
dump "$current" || { echo "abi-check: abidw failed" >&2; exit 1; }
abidiff --no-added-syms "$baseline" "$current"
rc=$?
# abidiff's exit code is a bit field: 1 error, 2 usage, 4 ABI change, 8 incompatible change.
if (( rc & 3 )); then
  echo "abi-check: abidiff could not compare (exit $rc)" >&2
  exit 1
fi
if (( rc & 8 )); then
  echo "abi-check: incompatible ABI change against $baseline" >&2
  echo "abi-check: if it is intended, bump the library's major version and run scripts/abi-check.sh --update" >&2
  exit 1
fi
if (( rc & 4 )); then
  echo "abi-check: compatible ABI change; refresh the baseline with scripts/abi-check.sh --update"
fi
echo "abi-check: ABI compatible with $baseline"
