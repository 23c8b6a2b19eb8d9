#!/usr/bin/env bash
# Installs what is missing, builds voltrace in Release and runs the main job: it writes the
# synthetic demo stack with its scene file into voltrace-demo/ (or the folder given) and renders
# it to voltrace-demo/demo.png.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release
./build/release/apps/voltrace demo "${1:-voltrace-demo}"
