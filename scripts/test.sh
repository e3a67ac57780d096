#!/usr/bin/env bash
# Sets up a fresh Debian machine, builds one preset and runs every test in it.
#   scripts/test.sh [default|asan|tsan]
set -euo pipefail
preset="${1:-default}"
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$here"

bash scripts/setup.sh
jobs="$(nproc 2>/dev/null || echo 2)"
cmake --preset "$preset"
cmake --build --preset "$preset" -j "$jobs"
ctest --preset "$preset" -j "$jobs"
