#!/usr/bin/env bash
# Builds the fuzz preset, replays every target's seed corpus, then fuzzes each target for a
# bounded time. Findings stop the run and are left in build/fuzz/findings/.
#   scripts/fuzz.sh [seconds-per-target] [target...]
set -euo pipefail
seconds="${1:-20}"
shift || true
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$here"

if ! command -v clang++ >/dev/null 2>&1; then
  echo "fuzz: clang++ is missing; run TELEMETRY_SETUP_CI_TOOLS=1 scripts/setup.sh" >&2
  exit 1
fi
jobs="$(nproc 2>/dev/null || echo 2)"
cmake --preset fuzz
cmake --build --preset fuzz -j "$jobs"

bin=build/fuzz/fuzz
findings=build/fuzz/findings
mkdir -p "$findings"
targets=("$@")
if [[ ${#targets[@]} -eq 0 ]]; then
  mapfile -t targets <"$bin/targets.txt"
fi
export ASAN_OPTIONS="halt_on_error=1:abort_on_error=1:detect_leaks=1"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"

for target in "${targets[@]}"; do
  seeds="fuzz/corpus/$target"
  echo "fuzz: $target: replaying $(ls "$seeds" | wc -l) seeds"
  "$bin/$target" -runs=0 "$seeds"/* >"$findings/$target.replay.log" 2>&1 || {
    tail -n 40 "$findings/$target.replay.log" >&2
    echo "fuzz: $target fails on its seed corpus" >&2
    exit 1
  }
  # New inputs go to a scratch corpus (the first directory), so the committed seeds stay small.
  work="$(mktemp -d)"
  echo "fuzz: $target: ${seconds}s"
  if ! "$bin/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
      -artifact_prefix="$findings/$target-" -print_final_stats=1 "$work" "$seeds" \
      >"$findings/$target.log" 2>&1; then
    tail -n 60 "$findings/$target.log" >&2
    echo "fuzz: $target found a failure; reproducer in $findings/" >&2
    rm -rf "$work"
    exit 1
  fi
  grep -E '^stat::number_of_executed_units|^#[0-9]+.*DONE' "$findings/$target.log" | tail -n 2 || true
  rm -rf "$work"
done
echo "fuzz: all targets clean"
