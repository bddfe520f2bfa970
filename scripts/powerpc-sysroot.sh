#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The libraries that the daemon and its tests need on the 32-bit big-endian PowerPC: jansson, mbedtls
# and libcurl, built from the source packages of the same versions as the build machine's own, and
# GoogleTest and CLI11 from what the build machine has installed. jansson and libcurl are there as
# shared libraries, with which the tests run, and as archives, which the package is linked with.
#
#   scripts/powerpc-sysroot.sh          builds them unless they are there, prints their folder
#   scripts/powerpc-sysroot.sh --path   prints the folder and builds nothing
#
# They lie outside the clone, under a key of the versions, the flags and this script. Several of
# their files name that folder, so that one that was moved is built anew.
set -euo pipefail
self=$(readlink -f "${BASH_SOURCE[0]}")

triplet=powerpc-linux-gnu
flags='-O2 -fPIC -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64'

# version_of PACKAGE: the version of the source that the installed package was built from.
version_of() {
  dpkg-query -W -f '${source:Version}' "$1" 2>/dev/null || {
    echo "powerpc-sysroot: package $1 is not installed" >&2
    return 1
  }
}

jansson=$(version_of libjansson-dev)
mbedtls=$(version_of libmbedtls-dev)
curl=$(version_of libcurl4-openssl-dev)
googletest=$(version_of googletest)
cli11=$(version_of libcli11-dev)
compiler=$(version_of g++-12-powerpc-linux-gnu)

key=$({
  echo "$jansson $mbedtls $curl $googletest $cli11 $compiler $flags"
  cat "$self"
} | sha256sum | cut -c1-16)
prefix=${XDG_CACHE_HOME:-$HOME/.cache}/cloudclient/powerpc/$key
complete=$prefix/complete

if [[ ${1-} == --path ]]; then
  echo "$prefix"
  exit
fi
mkdir -p "$(dirname "$prefix")"
exec 9>"$prefix.lock"
flock 9
if [[ -f $complete && $(<"$complete") == "$prefix" ]]; then
  echo "$prefix"
  exit
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
rm -rf "$prefix"
mkdir -p "$prefix"

# source_lists FOLDER: the machine's own lists of packages, turned into lists of their sources.
source_lists() {
  local list
  for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [[ -f $list ]] || continue
    sed -nE 's/^[[:space:]]*deb(-src)?[[:space:]]/deb-src /p' "$list" >"$1/$(basename "$list" .list).list"
  done
  for list in /etc/apt/sources.list.d/*.sources; do
    [[ -f $list ]] || continue
    sed -E 's/^Types:.*/Types: deb-src/' "$list" >"$1/$(basename "$list")"
  done
}

apt=$work/apt
mkdir -p "$apt"/{parts,lists/partial,cache/archives/partial}
source_lists "$apt/parts"
apt_get() {
  apt-get -q -o Dir::Etc::SourceList=/dev/null -o "Dir::Etc::SourceParts=$apt/parts" \
    -o "Dir::State::Lists=$apt/lists" -o "Dir::Cache=$apt/cache" -o APT::Sandbox::User="$(id -un)" \
    "$@"
}

# fetch NAME VERSION: unpacks the source package into $work/NAME.
fetch() {
  local unpacked=("$work/unpack-$1")
  mkdir "${unpacked[0]}"
  (cd "${unpacked[0]}" && apt_get source "$1=$2")
  unpacked=("${unpacked[0]}"/*/)
  mv "${unpacked[0]}" "$work/$1"
}

# build NAME SOURCE_FOLDER OPTION...: by CMake, into the prefix.
build() {
  local name=$1 source=$2
  shift 2
  cmake -S "$source" -B "$work/build-$name" -G Ninja -Wno-dev -Wno-deprecated \
    -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=ppc \
    -DCMAKE_C_COMPILER=$triplet-gcc -DCMAKE_CXX_COMPILER=$triplet-g++ \
    -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
    -DCMAKE_FIND_ROOT_PATH="$prefix;/usr/$triplet" \
    -DCMAKE_FIND_ROOT_PATH_MODE_PROGRAM=NEVER -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY \
    -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=ONLY \
    -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR=lib "$@"
  cmake --build "$work/build-$name" --target install -- --quiet
}

build_all() {
  # A list that has no sources is no fault as long as another one has them.
  apt_get update || true
  fetch jansson "$jansson"
  fetch mbedtls "$mbedtls"
  fetch curl "$curl"

  for shared in OFF ON; do
    build "jansson-$shared" "$work/jansson" -DJANSSON_BUILD_SHARED_LIBS=$shared \
      -DJANSSON_BUILD_DOCS=OFF -DJANSSON_WITHOUT_TESTS=ON -DJANSSON_EXAMPLES=OFF
  done
  build mbedtls "$work/mbedtls" -DENABLE_PROGRAMS=OFF -DENABLE_TESTING=OFF -DGEN_FILES=OFF
  # curl tries poll by running a program, which a cross build can't: without the answer it falls
  # back to select.
  for shared in OFF ON; do
    build "curl-$shared" "$work/curl" -DBUILD_CURL_EXE=OFF -DBUILD_SHARED_LIBS=$shared \
      -DBUILD_TESTING=OFF -DHTTP_ONLY=ON -DCURL_USE_MBEDTLS=ON -DCURL_USE_OPENSSL=OFF \
      -DCURL_USE_LIBSSH2=OFF -DCURL_ZLIB=OFF -DUSE_LIBIDN2=OFF -DCURL_CA_PATH=none \
      -DCURL_CA_BUNDLE=/etc/ssl/certs/ca-certificates.crt -DHAVE_POLL_FINE=1
  done
  build googletest /usr/src/googletest -DBUILD_GMOCK=ON

  cp -r /usr/include/CLI "$prefix/include/"
  mkdir -p "$prefix/lib/cmake"
  cp -r "$(dirname "$(dpkg -L libcli11-dev | grep '/CLI11Config.cmake$')")" "$prefix/lib/cmake/"
}

# In the background, where the first failing command ends it; as a condition none would.
build_all >"$prefix.log" 2>&1 &
if ! wait $!; then
  tail -n 40 "$prefix.log" >&2
  echo "powerpc-sysroot: the libraries can't be built; all of it is in $prefix.log" >&2
  exit 1
fi
echo "$prefix" >"$complete"
echo "$prefix"
