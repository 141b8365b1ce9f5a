#!/usr/bin/env bash
# Installs every Debian package that the build, the tests and the benchmarks
# need. Idempotent: when everything is present it only checks, without apt.
#
#   scripts/install-deps.sh                 the native build
#   scripts/install-deps.sh fuzz            that and clang with libFuzzer (scripts/fuzz.sh)
#   scripts/install-deps.sh --cross arm64   a cross build for arm64 (aarch64-linux-gnu)
#   scripts/install-deps.sh --cross armhf   a cross build for armhf (arm-linux-gnueabihf)
#
# A cross build needs Debian's cross compiler, qemu-user to run the tests, and
# the target's development packages of every dependency. Those come first from
# Debian's multiarch packages (`dpkg --add-architecture`, `apt-get install
# libfoo-dev:arm64`). Multiarch needs the target's packages at exactly the
# host's versions; when the mirror's indexes lag behind the host (a security
# update present for amd64 but not yet for the target, as on this project's
# CI mirror), apt cannot resolve them, and the script instead extracts the
# same Debian packages of the target into a sysroot with mmdebstrap:
# ${ORV_SYSROOT_DIR:-/opt/orv-sysroot}/<arch>. The toolchain files use that
# sysroot when it exists, and the multiarch directories otherwise.
set -euo pipefail

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive

# Development packages of the libraries the project links, for any architecture.
library_packages=(
  libboost-dev libboost-filesystem-dev libboost-system-dev
  libmstch-dev libcereal-dev nlohmann-json3-dev libcli11-dev
  libcurl4-openssl-dev libgmime-3.0-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libsqlite3-dev libmosquitto-dev
  libcpp-httplib-dev
)

# install_missing <package...>: apt-get install of those not installed yet.
install_missing() {
  local missing=() package
  for package in "$@"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
      missing+=("$package")
    fi
  done
  if [ ${#missing[@]} -eq 0 ]; then
    return 0
  fi
  echo "Installing: ${missing[*]}"
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

native() {
  install_missing cmake g++ make pkg-config clang-format dpkg-dev \
    "${library_packages[@]}" openssl python3-aiosmtpd chromium mosquitto mosquitto-clients
}

# libFuzzer and the sanitizers' runtime come with clang's runtime package.
fuzz() {
  native
  install_missing clang libclang-rt-14-dev
}

# register_emulator <arch>: lets the kernel start the target's programs
# through qemu-user (binfmt_misc), as the tests' own child processes (the
# plug-in scanner, orv-action) are started by emulated programs. Debian's
# qemu-user-binfmt ships the entries; without systemd running (a container)
# nothing loads them, so they are loaded here.
register_emulator() {
  local name
  case "$1" in
    arm64) name=qemu-aarch64 ;;
    armhf) name=qemu-arm ;;
  esac
  if [ -e "/proc/sys/fs/binfmt_misc/$name" ]; then
    return 0
  fi
  if [ ! -e /proc/sys/fs/binfmt_misc/register ]; then
    "${sudo_cmd[@]}" mount -t binfmt_misc binfmt_misc /proc/sys/fs/binfmt_misc
  fi
  "${sudo_cmd[@]}" /lib/systemd/systemd-binfmt "/usr/lib/binfmt.d/$name.conf"
}

cross() {
  local arch="$1" triplet
  case "$arch" in
    arm64) triplet=aarch64-linux-gnu ;;
    armhf) triplet=arm-linux-gnueabihf ;;
    *)
      echo "install-deps.sh: unknown cross target '$arch' (arm64 or armhf)" >&2
      exit 2
      ;;
  esac
  # The native tools the build and the tests run on the build machine
  # (servers, packaging, format check) and the cross compiler and emulator.
  native
  install_missing "crossbuild-essential-$arch" qemu-user qemu-user-binfmt mmdebstrap time
  register_emulator "$arch"

  local sysroot="${ORV_SYSROOT_DIR:-/opt/orv-sysroot}/$arch"
  # The marker lists the packages the sysroot holds: a sysroot made before a
  # dependency was added is made again.
  if [ -f "$sysroot/.orv-sysroot-complete" ] &&
    [ "$(cat "$sysroot/.orv-sysroot-complete")" = "${library_packages[*]}" ]; then
    return 0
  fi
  local target_packages=("${library_packages[@]/%/:$arch}")
  local all_present=1 package
  for package in "${target_packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
      all_present=0
    fi
  done
  if [ "$all_present" -eq 1 ]; then
    return 0
  fi
  if ! dpkg --print-foreign-architectures | grep -qx "$arch"; then
    "${sudo_cmd[@]}" dpkg --add-architecture "$arch"
  fi
  "${sudo_cmd[@]}" apt-get update -qq || true
  if "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${target_packages[@]}"; then
    return 0
  fi

  echo "install-deps.sh: the $arch multiarch packages do not resolve against the host's;" \
    "extracting them into the sysroot $sysroot instead" >&2
  local suite mirror
  suite="$(. /etc/os-release && echo "$VERSION_CODENAME")"
  mirror="${ORV_DEBIAN_MIRROR:-http://deb.debian.org/debian}"
  local includes
  includes="$(
    IFS=,
    echo "${library_packages[*]},libc6-dev,libstdc++-$(gcc -dumpversion | cut -d. -f1)-dev"
  )"
  "${sudo_cmd[@]}" rm -rf "$sysroot"
  "${sudo_cmd[@]}" mkdir -p "$(dirname "$sysroot")"
  "${sudo_cmd[@]}" mmdebstrap --variant=extract --architectures="$arch" --include="$includes" \
    "$suite" "$sysroot" "deb $mirror $suite main" "deb $mirror $suite-updates main"
  # Absolute symbolic links inside the sysroot (libfoo.so -> /lib/...) would
  # point into the build machine; make them relative to the sysroot.
  "${sudo_cmd[@]}" find "$sysroot" -type l -lname '/*' -print0 |
    while IFS= read -r -d '' link; do
      target="$(readlink "$link")"
      "${sudo_cmd[@]}" ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$sysroot$target")" "$link"
    done
  echo "${library_packages[*]}" | "${sudo_cmd[@]}" tee "$sysroot/.orv-sysroot-complete" > /dev/null
}

case "${1:-}" in
  "") native ;;
  fuzz) fuzz ;;
  --cross)
    if [ $# -ne 2 ]; then
      echo "usage: install-deps.sh [fuzz | --cross arm64|armhf]" >&2
      exit 2
    fi
    cross "$2"
    ;;
  *)
    echo "usage: install-deps.sh [fuzz | --cross arm64|armhf]" >&2
    exit 2
    ;;
esac
