#!/usr/bin/env bash
# Installs what the build needs, builds, and runs the bundled example device:
# orv-action run with a file action writing to standard output and an action
# that the disarmed device holds back, on three recorded events. The
# notifications show local time; TZ=UTC makes them the same everywhere.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default --target orv-action
echo "== TZ=UTC orv-action run examples/device/config.json examples/device/events.jsonl"
TZ=UTC ./build/bin/orv-action run examples/device/config.json examples/device/events.jsonl
