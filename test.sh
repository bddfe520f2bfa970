#!/usr/bin/env bash
# Installs what is missing, builds, and runs the tests. See --help.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=scripts/packages.sh
. scripts/packages.sh

usage() {
  cat <<'TXT'
Usage: ./test.sh [LAYER...]

Runs the named layers, or without a name all but the last two.

  lint        format, clang-tidy, shell scripts
  unit        unit tests
  acceptance  the real programs against each other under an accelerated clock
  browser     cloudservice's page in Chromium without a window
  asan        unit and acceptance tests under AddressSanitizer and UBSan
  tsan        unit tests of daemon and host under ThreadSanitizer
  powerpc     unit and acceptance tests with the daemon on the appliance's processor, emulated

  load        what takes long: many stops, long walks, the benchmarks
  fuzz        each parser under libFuzzer for 60 seconds; CLOUDCLIENT_FUZZ_SECONDS says otherwise

The last lines are the summary of the one ctest run.
TXT
}

known=" lint unit acceptance browser asan tsan powerpc load fuzz "
layers=()
for arg in "$@"; do
  case "$arg" in
    -h | --help) usage; exit 0 ;;
  esac
  if [[ $known != *" $arg "* ]]; then
    echo "test.sh: no layer named '$arg'" >&2
    usage >&2
    exit 2
  fi
  layers+=("$arg")
done
((${#layers[@]})) || layers=(lint unit acceptance browser asan tsan powerpc)

has() { [[ " ${layers[*]} " == *" $1 "* ]]; }

# Runs a step and says how long it took.
step() {
  local name=$1 start=$SECONDS
  shift
  echo "== $name"
  "$@"
  echo "== $name: $((SECONDS - start)) s"
}

# Called by step.
# shellcheck disable=SC2317
build() {
  # Warnings are g++'s: clang builds the fuzz targets alone.
  local werror=ON
  [[ $1 != fuzz ]] || werror=OFF
  # The libraries of another processor lie in a folder that changes with their versions.
  local fresh=()
  [[ $1 != powerpc ]] || fresh=(--fresh)
  cmake "${fresh[@]}" --preset "$1" -DCLOUDCLIENT_WERROR="$werror" -DCLOUDCLIENT_TESTS=ON \
    -DCLOUDCLIENT_FUZZ_SECONDS="${CLOUDCLIENT_FUZZ_SECONDS:-60}" >"build/$1.configure.log" || {
    cat "build/$1.configure.log" >&2
    return 1
  }
  cmake --build --preset "$1" -- --quiet
}

step "packages" install_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}"

if has powerpc; then
  step "packages powerpc" install_packages "${POWERPC_PACKAGES[@]}"
  step "libraries powerpc" scripts/powerpc-sysroot.sh
fi

presets=()
labels=()
if has lint || has unit || has acceptance || has browser || has powerpc; then presets+=(debug); fi
if has lint; then labels+=(lint); fi
if has unit; then labels+=(unit); fi
if has acceptance; then labels+=(acceptance); fi
if has browser; then labels+=(browser); fi
if has asan; then presets+=(asan) labels+=('asan\.unit' 'asan\.acceptance'); fi
if has tsan; then presets+=(tsan) labels+=('tsan\.unit'); fi
if has powerpc; then presets+=(powerpc) labels+=('powerpc\.unit' 'powerpc\.acceptance'); fi
if has load; then
  has asan || presets+=(asan)
  presets+=(release) labels+=('asan\.load' 'release\.load')
fi
if has fuzz; then presets+=(fuzz) labels+=('fuzz'); fi

mkdir -p build
: >build/CTestTestfile.cmake
for preset in "${presets[@]}"; do
  step "build $preset" build "$preset"
  echo "subdirs($preset)" >>build/CTestTestfile.cmake
done

selection=$(IFS='|'; echo "^(${labels[*]})\$")
start=$SECONDS
status=0
ctest --test-dir build --output-on-failure --no-tests=error -j "${CTEST_PARALLEL_LEVEL:-4}" \
  -L "$selection" || status=$?
echo "== tests: $((SECONDS - start)) s, all: $SECONDS s"
exit "$status"
