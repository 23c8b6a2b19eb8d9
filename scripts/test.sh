#!/usr/bin/env bash
# Installs what is missing, then builds and runs the whole test suite in the Release and the
# sanitizer (AddressSanitizer + UndefinedBehaviorSanitizer) configurations.
# Usage: scripts/test.sh [PRESET ...]   (default: release asan; under CI warnings are errors)
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

if [ $# -gt 0 ]; then
  presets=("$@")
elif [ "${CI:-}" = "true" ]; then
  presets=(ci-release ci-asan)
else
  presets=(release asan)
fi

for preset in "${presets[@]}"; do
  echo "== voltrace tests: $preset =="
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset" -j "$(nproc)"
done
