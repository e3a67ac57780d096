#!/usr/bin/env bash
# Installs a built tree into a scratch prefix, moves the prefix, and runs the installed
# telemetry-settings-dump from there with the source and build trees out of its reach.
#   check-installed-tool.sh <build-dir> <source-dir>
set -euo pipefail
build="$(cd "${1:?usage: $0 <build-dir> <source-dir>}" && pwd)"
source="$(cd "${2:?usage: $0 <build-dir> <source-dir>}" && pwd)"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$work/prefix" > "$work/install.log"
mv "$work/prefix" "$work/moved"
tool="$work/moved/bin/telemetry-settings-dump"
[[ -x "$tool" ]] || fail "the tool was not installed"

# Nothing in the program's data or run path points back into the trees. Sanitizer and debug
# builds name their source files for diagnostics; those names are not places the tool reads.
objcopy -O binary --only-section=.rodata "$tool" "$work/rodata"
for tree in "$source" "$build"; do
  if strings -n 4 "$work/rodata" | grep -F "$tree" | grep -qvE '\.(h|hpp|c|cc|cpp)$'; then
    fail "$tool holds the path $tree"
  fi
  if readelf -d "$tool" | grep -E 'R(UN)?PATH' | grep -qF "$tree"; then
    fail "$tool has a run path into $tree"
  fi
done

# Sanitizer builds name suppression files in the source tree: the run gets copies.
for var in ASAN_OPTIONS LSAN_OPTIONS TSAN_OPTIONS UBSAN_OPTIONS; do
  value="${!var:-}"
  while [[ "$value" =~ suppressions=("$source"/[^:[:space:]]*) ]]; do
    file="${BASH_REMATCH[1]}"
    cp "$file" "$work/$var.supp"
    value="${value//"$file"/"$work/$var.supp"}"
  done
  [[ -z "$value" ]] || export "$var=$value"
done

run() {
  env -u LD_LIBRARY_PATH -u TELEMETRY_SETTINGS_MODULE "$tool" --json --state-dir "$work/state" \
    > "$work/out.json" 2> "$work/err"
}
# Where user namespaces are allowed the trees are also hidden from the run itself.
if unshare -rm true 2> /dev/null; then
  hide="mount -t tmpfs none '$source'"
  [[ "$build" == "$source"/* ]] || hide+=" && mount -t tmpfs none '$build'"
  export -f run; export tool work
  unshare -rm bash -c "$hide && run" || fail "installed tool failed: $(cat "$work/err")"
else
  run || fail "installed tool failed: $(cat "$work/err")"
fi
grep -q '"telemetry_device_id": "host-ent-0001"' "$work/out.json" ||
  fail "the installed defaults were not used: $(head -c 400 "$work/out.json")"
echo "installed telemetry-settings-dump runs from a moved prefix"
