# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# The Debian packages that this project needs, and the way to install what is missing of them.
# To be sourced.

# For building and running.
# shellcheck disable=SC2034
BUILD_PACKAGES=(
  g++ cmake ninja-build pkg-config ccache
  libcurl4-openssl-dev libjansson-dev libboost-dev nlohmann-json3-dev libcli11-dev
  libsqlite3-dev libpq-dev libssl-dev libsnmp-dev libmodbus-dev zlib1g-dev
  openssl ca-certificates faketime python3
)
# Node.js from elsewhere brings npm with it, and Debian's npm would not stand beside it.
command -v npm >/dev/null || BUILD_PACKAGES+=(nodejs npm)

# For testing, beside those.
# shellcheck disable=SC2034
TEST_PACKAGES=(
  libgtest-dev libgmock-dev libbenchmark-dev
  clang clang-format clang-tidy libclang-rt-14-dev shellcheck
  python3-pytest chromium chromium-driver python3-selenium git valgrind strace curl dpkg-dev tzdata
  postgresql-15 haproxy snmpd snmp snmpsim python3-pymodbus prometheus
)

# For the appliance's processor, beside those.
# shellcheck disable=SC2034
POWERPC_PACKAGES=(g++-powerpc-linux-gnu qemu-user-static googletest libmbedtls-dev)

# For the Debian packages, beside those for building.
# shellcheck disable=SC2034
PACKAGING_PACKAGES=(build-essential debhelper pandoc)
# And for their tests.
# shellcheck disable=SC2034
PACKAGING_TEST_PACKAGES=(
  lintian man-db mmdebstrap iproute2 python3-pytest python3-seccomp systemd zsh
)

# For the tests that take long, beside those for testing.
# shellcheck disable=SC2034
LOAD_PACKAGES=(patroni python3-pysyncobj)

# install_packages PACKAGE...: installs those that are missing; says nothing when none is.
install_packages() {
  local package missing=() root=()
  for package in "$@"; do
    if [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) != installed ]]; then
      missing+=("$package")
    fi
  done
  ((${#missing[@]})) || return 0

  if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
      echo "Packages are missing, and there is no sudo to install them with: ${missing[*]}" >&2
      return 1
    fi
    root=(sudo)
  fi
  echo "Installing Debian packages: ${missing[*]}"
  "${root[@]}" apt-get update -qq || return 1
  "${root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" || return 1
}

# install_foreign_packages ARCHITECTURE: what a build for another architecture needs: its compiler
# and its libraries, the build machine's own tools.
install_foreign_packages() {
  local architecture=$1 package packages=() root=()
  for package in "${BUILD_PACKAGES[@]}"; do
    case "$package" in
      libcli11-dev) packages+=("$package") ;;  # the same for all
      lib*-dev | pkg-config) packages+=("$package:$architecture") ;;
      *) packages+=("$package") ;;
    esac
  done
  if ! dpkg --print-foreign-architectures | grep -qx "$architecture"; then
    if ((EUID != 0)); then root=(sudo); fi
    "${root[@]}" dpkg --add-architecture "$architecture"
  fi
  install_packages "crossbuild-essential-$architecture" qemu-user-static "${packages[@]}"
}
