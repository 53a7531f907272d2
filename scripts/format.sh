#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Formats every C++ file of the tree; with --check changes nothing and fails when a file would
# change. One version of the formatter decides, because each has a taste of its own.
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
need_packages clang-format-14

mapfile -t files < <(find include src host page_library python tools tests fuzz bench examples \
  samples -name '*.h' -o -name '*.cpp' -o -name '*.c' | sort)

case "${1-}" in
  "")
    clang-format-14 -i "${files[@]}"
    ;;
  --check)
    status=0
    for file in "${files[@]}"; do
      if ! clang-format-14 --dry-run --Werror "$file" >/dev/null 2>&1; then
        echo "$file is not formatted: run scripts/format.sh" >&2
        status=1
      fi
    done
    exit "$status"
    ;;
  *) die "usage: format.sh [--check]" ;;
esac
