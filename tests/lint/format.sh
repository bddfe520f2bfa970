#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Every C++ file as clang-format lays it out.
set -euo pipefail
mapfile -t files < <(git ls-files '*.cpp' '*.h')
((${#files[@]})) || { echo "no sources found" >&2; exit 1; }
clang-format --dry-run --Werror "${files[@]}"
echo "${#files[@]} files are formatted"
