#!/usr/bin/env bash
# Runs every benchmark program of a build: scripts/bench.sh [build-dir] [benchmark flags...]
# Figures only; nothing here fails on a time.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build="${1:-build/default}"
shift || true
for program in "$build"/bench/*/*_bench; do
  "$program" "$@"
done
