#!/usr/bin/env bash
# Installs what is missing, builds voltrace in Release and runs the main job.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release
./build/release/apps/voltrace --help
