#!/usr/bin/env bash
# What the project costs on a device: the stripped size of every installed
# library, plug-in and program, and the peak resident memory of
# `orv-action run` on the example device.
#
#   scripts/device-budget.sh arm64|armhf   the cross build (build-cross-<target>/),
#                                          the program run under qemu-user
#   scripts/device-budget.sh native        the default build (build/)
#
# The build must exist (cmake --build --preset ...). The files are those the
# runtime components install (libraries and the tool): headers, the CMake
# package and the pkg-config file stay on the build machine. Under qemu-user
# the peak resident memory is that of the emulator running the program: it
# includes qemu's own code and its translation cache, so it is an upper bound
# of what the program needs on the device.
set -euo pipefail
cd "$(dirname "$0")/.."

target="${1:-}"
case "$target" in
  arm64) build=build-cross-arm64 triplet=aarch64-linux-gnu qemu=qemu-aarch64 ;;
  armhf) build=build-cross-armhf triplet=arm-linux-gnueabihf qemu=qemu-arm ;;
  native) build=build triplet="" qemu="" ;;
  *)
    echo "usage: device-budget.sh arm64|armhf|native" >&2
    exit 2
    ;;
esac
if [ ! -f "$build/CMakeCache.txt" ]; then
  echo "device-budget.sh: no build in $build; build it with its preset first" >&2
  exit 1
fi

stage="$(mktemp -d)"
trap 'rm -rf "$stage"' EXIT
for component in libraries tool; do
  cmake --install "$build" --prefix "$stage" --component "$component" --strip >/dev/null
done

echo "Stripped sizes ($target), bytes:"
total=0
while IFS= read -r file; do
  size=$(stat -c %s "$stage/$file")
  total=$((total + size))
  printf '  %10d  %s\n' "$size" "$file"
done < <(cd "$stage" && find . -type f | sed 's|^\./||' | LC_ALL=C sort)
printf '  %10d  total\n' "$total"

# The example device: its configuration and recorded events, in UTC.
run_command=("$stage/bin/orv-action" run examples/device/config.json examples/device/events.jsonl)
if [ -n "$qemu" ]; then
  root="$(sed -n 's/^ORV_QEMU_LD_PREFIX:[A-Z]*=//p' "$build/CMakeCache.txt")"
  if [ -z "$root" ]; then
    root="$(sed -n 's/^ORV_SYSROOT:[A-Z]*=//p' "$build/CMakeCache.txt")"
  fi
  run_command=(env "QEMU_LD_PREFIX=${root:-/}" "/usr/bin/$qemu" "${run_command[@]}")
fi
report="$(mktemp)"
TZ=UTC /usr/bin/time -f '%M' -o "$report" "${run_command[@]}" >/dev/null
echo "Peak resident memory of orv-action run on the example device ($target${qemu:+, under $qemu}): $(cat "$report") KiB"
rm -f "$report"
