#!/usr/bin/env bash
# Installs every Debian package that the build, the tests and the benchmarks
# need. Idempotent: when everything is present it only checks, without apt.
#   scripts/install-deps.sh        what the builds, tests and benchmarks need
#   scripts/install-deps.sh fuzz   that and clang with libFuzzer (scripts/fuzz.sh)
set -euo pipefail

packages=(
  cmake g++ make pkg-config clang-format dpkg-dev
  libboost-dev libboost-filesystem-dev libboost-system-dev
  libmstch-dev libcereal-dev nlohmann-json3-dev libcli11-dev
  libcurl4-openssl-dev libgmime-3.0-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libsqlite3-dev libmosquitto-dev mosquitto mosquitto-clients
  openssl python3-aiosmtpd
  libcpp-httplib-dev chromium
)
if [ "${1:-}" = "fuzz" ]; then
  # libFuzzer and the sanitizers' runtime come with clang's runtime package.
  packages+=(clang libclang-rt-14-dev)
fi

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
