#!/usr/bin/env bash
# clang-tidy over the sources that a build folder compiles, tests left out.
# Usage: tidy.sh BUILD_FOLDER
set -euo pipefail
build=$1
mapfile -t files < <(git ls-files '*.cpp' ':!tests')
((${#files[@]})) || { echo "no sources found" >&2; exit 1; }
compiled=()
for file in "${files[@]}"; do
  if grep -qF "$PWD/$file\"" "$build/compile_commands.json"; then compiled+=("$file"); fi
done
# The commands are g++'s: not every warning that they name is one of clang's.
printf '%s\n' "${compiled[@]}" |
  xargs -P "$(nproc)" -n 1 \
    clang-tidy --quiet --extra-arg=-Wno-unknown-warning-option -p "$build" 2> >(grep -v 'warnings generated' >&2)
echo "${#compiled[@]} sources are clean"
