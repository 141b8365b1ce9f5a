#!/usr/bin/env bash
# Installs what the build needs, builds, and runs the example host.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default --target orv_example_host
./build/bin/orv_example_host
