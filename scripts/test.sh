#!/usr/bin/env bash
# Installs what the build needs, builds, and runs the whole test suite.
#   scripts/test.sh              the default build (build/)
#   scripts/test.sh release      the plain Release build, -O3 (build-release/)
#   scripts/test.sh asan         AddressSanitizer + UndefinedBehaviorSanitizer (build-asan/)
#   scripts/test.sh tsan         ThreadSanitizer (build-tsan/)
#   scripts/test.sh cross-arm64  the arm64 cross build, tests under qemu-user (build-cross-arm64/)
#   scripts/test.sh cross-armhf  the armhf cross build, tests under qemu-user (build-cross-armhf/)
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"

case "$preset" in
  cross-*) bash scripts/install-deps.sh --cross "${preset#cross-}" ;;
  *) bash scripts/install-deps.sh ;;
esac
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
