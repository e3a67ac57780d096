#!/usr/bin/env bash
# Sets up a fresh Debian machine, builds telemetry-settings-dump and runs it on the shipped
# host defaults. Arguments go to the tool (try --help, --json, --full, --at 60).
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$here"

bash scripts/setup.sh >&2
jobs="$(nproc 2>/dev/null || echo 2)"
cmake --preset default > /dev/null
cmake --build --preset default -j "$jobs" --target telemetry-settings-dump > /dev/null
exec build/default/tools/telemetry-settings-dump/telemetry-settings-dump "$@"
