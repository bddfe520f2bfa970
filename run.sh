#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the programs and lets them talk to each other. See --help.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=scripts/packages.sh
. scripts/packages.sh

usage() {
  cat <<'TXT'
Usage: ./run.sh [--once]

Installs what is missing (Debian packages), builds, and starts the service and a daemon with an
example device. Prints the address of the page and the operator's password, says how to raise an
alarm and how to move a temperature from a second terminal, and tells what happens until Ctrl-C,
which stops both.

  --once      under an accelerated clock until the service has received the second heartbeat;
              prints what the service holds. Status 0, or 1 with the reason.
  -h, --help  this text

Everything is below build/: the programs in build/debug, their files and logs in build/run.
TXT
}

once=()
case "$#:${1-}" in
  0:) ;;
  1:--once) once=(--once) ;;
  1:-h | 1:--help) usage; exit 0 ;;
  *)
    echo "run.sh: wrong arguments: $*" >&2
    usage >&2
    exit 2
    ;;
esac

quietly() {
  local log=$1
  shift
  "$@" >"$log" 2>&1 || {
    cat "$log" >&2
    echo "run.sh: this failed: $*" >&2
    return 1
  }
}

install_packages "${BUILD_PACKAGES[@]}"
mkdir -p build
# The build is the one of the preset "debug", whoever configured it first.
if [[ ! -f build/debug/build.ninja ]]; then
  # What only the tests need is not asked for here.
  quietly build/debug.configure.log cmake --preset debug -DCLOUDCLIENT_TESTS=OFF
fi
echo "Building (the first time takes a few minutes)"
NINJA_STATUS='[%f of %t] ' cmake --build --preset debug --target \
  cloudclient cloudservice cloudclientctl
exec /usr/bin/python3 -B scripts/trial.py "${once[@]}"
