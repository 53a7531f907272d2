#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# goals.sh DIBKIT MEASURE: the goals of docs/recognition.md that need no other library, over a few
# pages. Prints a line that begins with "skipped:" where something is not there.
set -euo pipefail

dibkit=$1
measure=$2
ocr_peer=
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# shellcheck source=bench/ocr/methods.sh
. "$root/bench/ocr/methods.sh"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

skip() {
  printf 'skipped: %s\n' "$*"
  exit 0
}

# Pages of 1 bit at 75 dpi have too few pixels for any letter to be read.
make_pages() {
  local make=$root/bench/ocr/make_pages.py
  "$make" pages --face serif --points 9 --dpi 75 100 --depth grey &&
    "$make" pages --face sans --points 8 --dpi 150 300 --kind degraded
}

has_method prepare || skip "the command has no prepare"
status=0
make_pages 2>told || status=$?
[ "$status" -ne 3 ] || skip "$(cat told)"
[ "$status" -eq 0 ] || { cat told >&2 && exit 1; }

for method in asis prepare; do
  apply_method "$method" 300 "results/$method" pages/*.tif
done
find -L results -type f | sort | "$measure" --truth pages >errors.tsv 2>told || {
  ! grep -q 'no data' told || skip "$(cat told)"
  cat told >&2
  exit 1
}
printf '%s\n' "$ocr_methods" >methods.txt
cat errors.tsv
"$root/bench/ocr/report.py" --check --methods methods.txt errors.tsv
