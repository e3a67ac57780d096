#!/usr/bin/env bash
# Style and static checks run by CI: clang-format on every C++ file, clang-tidy on every
# non-test source and the system headers they include (needs a configured build for
# compile_commands.json), bpfmt on Android.bp.
#   scripts/lint.sh [build-dir]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build="${1:-build/default}"
status=0

mapfile -t cxx < <(git ls-files '*.h' '*.cpp')
if ! clang-format --dry-run --Werror "${cxx[@]}"; then
  echo "lint: clang-format found unformatted files (fix with: clang-format -i <files>)" >&2
  status=1
fi

mapfile -t sources < <(git ls-files 'telemetry/*.cpp' 'deviceconfig/*.cpp' 'sysprop/*.cpp' \
  'settingsmodule/*.cpp' 'host/*.cpp' 'tools/*.cpp')
jobs="$(nproc 2>/dev/null || echo 2)"
# clang-tidy reports on stdout; stderr carries its error summaries and compile failures, so it
# is kept (only the "N warnings generated." counters are dropped).
if ! printf '%s\n' "${sources[@]}" | xargs -P "$jobs" -n 4 clang-tidy -p "$build" --quiet \
    2> >(grep -v -E '^[0-9]+ warnings? (and [0-9]+ errors? )?generated\.$' >&2); then
  echo "lint: clang-tidy reported problems" >&2
  status=1
fi

if [[ -n "$(bpfmt -d Android.bp)" ]]; then
  bpfmt -d Android.bp
  echo "lint: Android.bp is not bpfmt-formatted" >&2
  status=1
fi

[[ $status == 0 ]] && echo "lint: clean"
exit $status
