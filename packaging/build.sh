#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the Debian packages. See --help.
set -euo pipefail
top=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/..")
# shellcheck source=scripts/packages.sh
. "$top/scripts/packages.sh"

usage() {
  cat <<'TXT'
Usage: packaging/build.sh [--host ARCHITECTURE] OUT

Installs what is missing (Debian packages), builds cloudclient with its sources, cloudservice and
cloudclient-dev from this tree, changes that are not committed included, puts them into the folder
OUT and prints their paths. The same sources give the same bytes.

  --host ARCHITECTURE  for another machine than this one: arm64, or powerpc, for which there is the
                       daemon alone, with its libraries in it
  -h, --help           this text

The version is that of CMakeLists.txt, and the last commit's where that has no tag of its own.
Times in the packages are SOURCE_DATE_EPOCH, or else the last commit's, or else that of the newest
file.
TXT
}

wrong() {
  echo "build.sh: $1" >&2
  usage >&2
  exit 2
}

native=$(dpkg --print-architecture)
host=$native
out=
while (($#)); do
  case "$1" in
    -h | --help) usage; exit 0 ;;
    --host)
      (($# > 1)) || wrong "--host takes an architecture"
      host=$2
      shift
      ;;
    -*) wrong "there is no option $1" ;;
    *)
      [[ -z $out ]] || wrong "one folder is enough: $1"
      out=$1
      ;;
  esac
  shift
done
[[ -n $out ]] || wrong "name the folder that gets the packages"
out=$(realpath -m "$out")
[[ $host == "$native" || $host == arm64 || $host == powerpc ]] || wrong "nothing is built for $host"

# git ARGUMENT...: of this tree; fails where it is no clone.
git_here() { [[ -e $top/.git ]] && git -C "$top" -c safe.directory="$top" "$@"; }

# Every file that belongs to the sources, with NULs between.
sources() {
  local file
  if git_here rev-parse HEAD >/dev/null 2>&1; then
    git_here ls-files -z --cached --others --exclude-standard
  else
    (cd "$top" && find . \( -path ./build -o -path './build-*' \) -prune -o \( -type f -o -type l \) -printf '%P\0')
  fi | sort -zu | while IFS= read -r -d '' file; do
    if [[ -e $top/$file || -L $top/$file ]]; then printf '%s\0' "$file"; fi
  done
}

newest_file() {
  sources | (cd "$top" && xargs -0 stat -c %Y) | sort -n | tail -n 1
}

# A commit without a tag comes before its version and after the commit before it.
version() {
  local number commit
  number=$(sed -nE 's/^project\(.* VERSION ([0-9.]+) .*/\1/p' "$top/CMakeLists.txt")
  commit=$(git_here log -1 --format=%cd.%h --date=format-local:%Y%m%d%H%M%S 2>/dev/null) || true
  if [[ -z $commit ]] || git_here describe --exact-match --match "v$number" >/dev/null 2>&1; then
    echo "$number"
  else
    echo "$number~$commit"
  fi
}

changelog() {
  local maintainer
  maintainer=$(sed -n 's/^Maintainer: //p' "$top/packaging/debian/control")
  cat <<TXT
cloudclient ($(version)) bookworm; urgency=medium

  * What has changed stands in NEWS.md of the package cloudclient.

 -- $maintainer  $(date -u -R -d "@$SOURCE_DATE_EPOCH")
TXT
}

# What the one who calls has set must not be in the packages.
export LC_ALL=C.UTF-8 TZ=UTC
umask 022
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git_here log -1 --format=%ct 2>/dev/null || newest_file)}
export SOURCE_DATE_EPOCH

install_packages "${PACKAGING_PACKAGES[@]}"
options=(--build=binary)
case "$host" in
  "$native") install_packages "${BUILD_PACKAGES[@]}" ;;
  powerpc)
    install_packages "${BUILD_PACKAGES[@]}" "${POWERPC_PACKAGES[@]}"
    CLOUDCLIENT_POWERPC_PREFIX=$("$top/scripts/powerpc-sysroot.sh")
    export CLOUDCLIENT_POWERPC_PREFIX
    options=(--host-arch powerpc --build=any "--build-profiles=cross,pkg.cloudclient.daemon")
    ;;
  *)
    install_foreign_packages "$host"
    options=(--host-arch "$host" --build=any --build-profiles=cross)
    ;;
esac

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree=$work/cloudclient
mkdir "$tree"
sources |
  tar -C "$top" --null --no-recursion --files-from=- --mtime="@$SOURCE_DATE_EPOCH" -c |
  tar -C "$tree" --no-same-owner -x
cp -r "$tree/packaging/debian" "$tree/debian"
changelog >"$tree/debian/changelog"

# debhelper gives the build a home of its own; what was compiled and fetched before is in this one.
export CCACHE_DIR=${CCACHE_DIR:-$HOME/.cache/ccache}
export npm_config_cache=${npm_config_cache:-$HOME/.npm}
export npm_config_userconfig=${npm_config_userconfig:-$HOME/.npmrc}
# The tests try what was built.
DEB_BUILD_OPTIONS="nocheck parallel=$(nproc) ${DEB_BUILD_OPTIONS-}"
export DEB_BUILD_OPTIONS
mkdir -p "$out"
cd "$tree"
if ! dpkg-buildpackage --no-sign "${options[@]}" >"$work/log" 2>&1; then
  mv "$work/log" "$out/build.log"
  tail -n 20 "$out/build.log" >&2
  echo "build.sh: the packages can't be built; all that was said is in $out/build.log" >&2
  exit 1
fi
for package in "$work"/*.deb; do
  mv "$package" "$out"
  echo "$out/$(basename "$package")"
done
