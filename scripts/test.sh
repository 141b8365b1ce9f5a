#!/usr/bin/env bash
# Installs what the build needs, builds, and runs the whole test suite.
#   scripts/test.sh            the default build (build/)
#   scripts/test.sh release    the plain Release build, -O3 (build-release/)
#   scripts/test.sh asan       AddressSanitizer + UndefinedBehaviorSanitizer (build-asan/)
#   scripts/test.sh tsan       ThreadSanitizer (build-tsan/)
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"

bash scripts/install-deps.sh
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
