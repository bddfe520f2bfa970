#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs what is missing, builds, and runs the tests. See --help.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=scripts/packages.sh
. scripts/packages.sh

usage() {
  cat <<'TXT'
Usage: ./test.sh [LAYER...]

Runs the named layers, or without a name lint, asan, browser, tsan and powerpc.

  lint        format, clang-tidy, shell scripts, documents
  asan        unit and acceptance tests under AddressSanitizer and UBSan
  browser     cloudservice's page in Chromium without a window
  tsan        unit tests under ThreadSanitizer
  powerpc     unit and acceptance tests with the daemon on the appliance's processor, emulated

  quick       for every change: lint, unit tests, and a few acceptance tests
  unit        unit tests without a sanitizer: the cases of asan
  acceptance  the real programs against each other under an accelerated clock: the cases of asan
  packages    the Debian packages, built and used in fresh roots; needs root
  load        what takes long: many stops, long walks, the benchmarks
  fuzz        each parser under libFuzzer for 60 seconds; CLOUDCLIENT_FUZZ_SECONDS says otherwise

The last lines are the summary of the one ctest run and the seconds that each layer took. A run of
all layers of the first list that is green, on a tree without changes, leaves build/passed: the
commit and the layers.
TXT
}

every=(lint asan browser tsan powerpc)
known=" ${every[*]} packages quick unit acceptance load fuzz "
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
((${#layers[@]})) || layers=("${every[@]}")

has() { [[ " ${layers[*]} " == *" $1 "* ]]; }

# The commit, if the tree is that commit's.
clean_commit() {
  if [[ -z $(git status --porcelain 2>/dev/null) ]]; then git rev-parse HEAD 2>/dev/null; fi
}

rm -f build/passed
begun=$(clean_commit || true)
table=$(mktemp)
trap 'rm -f "$table"' EXIT

# step NAME COMMAND...: runs a step and says how long it took.
step() {
  local name=$1 start=$SECONDS
  shift
  echo "== $name"
  "$@"
  echo "== $name: $((SECONDS - start)) s"
  printf '%-24s %6d\n' "$name" "$((SECONDS - start))" >>"$table"
}

# build PRESET [CMAKE_OPTION...] [-- TARGET...]. Called by step.
# shellcheck disable=SC2317
build() {
  local preset=$1 options=() targets=()
  shift
  while (($#)) && [[ $1 != -- ]]; do
    options+=("$1")
    shift
  done
  if (($#)); then targets=(--target "${@:2}"); fi
  # The libraries of another processor lie in a folder that changes with their versions.
  [[ $preset != powerpc ]] || options+=(--fresh)
  cmake --preset "$preset" "${options[@]}" >"build/$preset.configure.log" || {
    cat "build/$preset.configure.log" >&2
    return 1
  }
  cmake --build --preset "$preset" "${targets[@]}" -- --quiet
}

step "packages" install_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}"
if has powerpc; then
  step "packages powerpc" install_packages "${POWERPC_PACKAGES[@]}"
  step "libraries powerpc" scripts/powerpc-sysroot.sh
fi
if has packages || has load; then
  step "packages packaging" install_packages "${PACKAGING_PACKAGES[@]}" \
    "${PACKAGING_TEST_PACKAGES[@]}"
fi
if has load; then
  step "packages load" install_packages "${LOAD_PACKAGES[@]}"
fi

mkdir -p build
: >build/CTestTestfile.cmake
built() {
  echo "subdirs($1)" >>build/CTestTestfile.cmake
}

# The programs that browser and powerpc tests run are the sanitizers' where these are built.
programs=debug
if has asan || has load; then programs=asan; fi
plain=()
if has quick || has unit || has acceptance; then
  plain=(all)
elif [[ $programs == debug ]] && { has browser || has powerpc; }; then
  plain=(cloudclient cloudservice cloudclientctl)
fi
if has lint && [[ ${plain[*]} != all ]]; then plain+=(page); fi
if has packages; then plain+=(packages); fi

labels=()
if ((${#plain[@]})); then
  step "build debug" build debug -- "${plain[@]}"
  built debug
fi
if [[ $programs == asan ]]; then
  step "build asan" build asan
  built asan
fi
if has tsan; then
  step "build tsan" build tsan
  built tsan
fi
if has powerpc; then
  step "build powerpc" build powerpc "-DCLOUDCLIENT_NATIVE_BUILD=$PWD/build/$programs"
  built powerpc
fi
if has load; then
  step "build release" build release
  built release
fi
if has fuzz; then
  step "build fuzz" build fuzz "-DCLOUDCLIENT_FUZZ_SECONDS=${CLOUDCLIENT_FUZZ_SECONDS:-60}"
  built fuzz
fi

if has lint || has quick; then labels+=(lint); fi
if has unit || has quick; then labels+=(unit); fi
if has quick; then labels+=(smoke); fi
if has acceptance; then labels+=(acceptance); fi
if has asan; then labels+=('asan\.unit' 'asan\.acceptance'); fi
if has browser; then
  if [[ $programs == asan ]]; then labels+=('asan\.browser'); else labels+=(browser); fi
fi
if has tsan; then labels+=('tsan\.unit'); fi
if has packages; then labels+=(packages); fi
if has powerpc; then labels+=('powerpc\.unit' 'powerpc\.acceptance'); fi
if has load; then labels+=('asan\.load' 'release\.load'); fi
if has fuzz; then labels+=(fuzz); fi

selection=$(IFS='|'; echo "^(${labels[*]})\$")
start=$SECONDS
status=0
ctest --test-dir build --output-on-failure --no-tests=error -j "${CTEST_PARALLEL_LEVEL:-4}" \
  -L "$selection" | tee build/ctest.log || status=$?
# Several tests run at once: the seconds of the labels add up to more than the run took.
sed -nE 's/^([a-z.]+) += +([0-9]+)\.[0-9]+ sec\*proc.*/\1 \2/p' build/ctest.log |
  while read -r label seconds; do
    printf '%-24s %6d of tests, several at once\n' "$label" "$seconds"
  done >>"$table"
printf '%-24s %6d\n' "all tests" "$((SECONDS - start))" "all" "$SECONDS" >>"$table"
echo "== seconds"
cat "$table"

if ((status == 0)) && [[ -n $begun && $(clean_commit) == "$begun" ]]; then
  whole=true
  for layer in "${every[@]}"; do has "$layer" || whole=false; done
  if $whole; then printf '%s\n%s\n' "$begun" "${layers[*]}" >build/passed; fi
fi
exit "$status"
