#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Every shell script through shellcheck.
set -euo pipefail
mapfile -t files < <(git ls-files '*.sh' .ci/run; git grep -lE '^#!.*\b(ba)?sh\b' -- bench scripts)
((${#files[@]})) || { echo "no scripts found" >&2; exit 1; }
mapfile -t files < <(printf '%s\n' "${files[@]}" | sort -u)
shellcheck -x "${files[@]}"
echo "${#files[@]} scripts are clean"
