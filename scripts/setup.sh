#!/usr/bin/env bash
# Installs, when missing, every Debian package the host build and its tests need.
# Runs as root or through sudo; says which step failed when it cannot.
set -euo pipefail

packages=(
  android-liblog-dev android-libutils-dev android-libbase-dev libfmt-dev
  uuid-dev libsqlite3-dev libgtest-dev libgmock-dev libbenchmark-dev
  cmake g++ make pkg-config nlohmann-json3-dev
)
# Tools used by the packaging, ABI, lint, thread-safety and fuzzing checks in CI (libFuzzer
# comes with compiler-rt).
if [[ "${TELEMETRY_SETUP_CI_TOOLS:-0}" == 1 ]]; then
  packages+=(abigail-tools blueprint-tools clang clang-format clang-tidy libclang-rt-14-dev)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [[ ${#missing[@]} -eq 0 ]]; then
  echo "setup: all packages present"
  exit 0
fi

if [[ $(id -u) -eq 0 ]]; then
  sudo=()
elif command -v sudo >/dev/null 2>&1; then
  sudo=(sudo)
else
  echo "setup: missing packages: ${missing[*]}" >&2
  echo "setup: not root and sudo is not available; install them as root" >&2
  exit 1
fi

echo "setup: installing ${missing[*]}"
if ! "${sudo[@]}" apt-get update -qq; then
  echo "setup: 'apt-get update' failed; check the network and the apt sources" >&2
  exit 1
fi
if ! DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"; then
  echo "setup: 'apt-get install ${missing[*]}' failed" >&2
  exit 1
fi
echo "setup: done"
