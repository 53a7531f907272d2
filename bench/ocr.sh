#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Measures how many characters a recogniser gets wrong on scanned pages: as they are, after dibkit,
# and after other libraries. Writes its part of docs/recognition.md with its plot
# docs/recognition.svg. Needs nothing but git, bash and the right to install Debian packages.
#
#   bench/ocr.sh                everything; about half an hour on two cores
#   bench/ocr.sh --quick        one face in two sizes, printed only; about three minutes
#   bench/ocr.sh --scans DIR    also the scans of a folder, each with its text beside it in a file
#                               of the same name that ends in .txt
#   bench/ocr.sh --work DIR     keeps pages and results in DIR; pages that are there are used again
#   bench/ocr.sh --methods "asis prepare"    only these; printed only
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../scripts/lib.sh"

quick=false
keep=true
scans=
work=
methods=
while [ $# -gt 0 ]; do
  case $1 in
    --quick)
      quick=true
      keep=false
      ;;
    --scans | --work | --methods)
      [ $# -gt 1 ] || die "$1 wants a value"
      declare "${1#--}=$2"
      shift
      ;;
    *) die "usage: bench/ocr.sh [--quick] [--scans DIR] [--work DIR] [--methods NAMES]" ;;
  esac
  shift
done
[ -z "$methods" ] || keep=false

need_packages g++ make cmake "${tool_packages[@]}" "${recognition_packages[@]}" libopencv-dev
build build/ocr --preset release -DBUILD_TESTING=OFF -DDIBKIT_OCR=ON
dibkit=$root/build/ocr/tools/dibkit
ocr_measure=$root/build/ocr/bench/ocr/dibkit_ocr_measure
ocr_peer=$root/build/ocr/bench/ocr/dibkit_ocr_peer
# shellcheck source=bench/ocr/methods.sh
. bench/ocr/methods.sh

[ -z "$scans" ] || scans=$(realpath "$scans")
if [ -z "$work" ]; then
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
fi
mkdir -p "$work"
cd "$work"
shopt -s nullglob

# The pages of every row of the table: two depths, two kinds, five resolutions.
generate() {
  [ ! -d pages ] || return 0
  local fewer=()
  ! $quick || fewer=(--face serif --points 8 10)
  "$root/bench/ocr/make_pages.py" pages.part "${fewer[@]}"
  [ -z "$scans" ] || "$root/bench/ocr/take_scans.py" "$scans" pages.part
  mv pages.part pages
}

# convert NAME PAGES: all pages that the method is for.
convert() {
  local name=$1 pages=$2 files
  files=(pages/*.tif pages/*.png pages/*.jpg)
  [ "$pages" = all ] || files=(pages/1bit-*.tif pages/1bit-*.png)
  rm -rf "results/$name"
  apply_method "$name" 300 "results/$name" "${files[@]}"
}

# The lines of ruled 1-bit pages that reductions from 300 dpi leave: method, resolution, page, lines
# left, lines.
count_lines() {
  local method dpi
  rm -rf ruled reduced
  "$root/bench/ocr/make_ruled.py" ruled
  for method in resample raw leptonica opencv-linear-1bit opencv-area-1bit; do
    has_method "$method" || continue
    for dpi in 200 150 100 75; do
      apply_method "$method" "$dpi" "reduced/$method-$dpi" ruled/*.tif
      "$root/bench/ocr/count_lines.py" ruled "reduced/$method-$dpi" |
        awk -v OFS='\t' -v method="$method" -v dpi="$dpi" '{ print method, dpi, $1, $2, $3 }'
    done
  done
}

say "making pages"
generate
say "bringing them to 300 dpi"
while IFS='|' read -r name pages _; do
  [ -z "$methods" ] || [[ " $methods " = *" $name "* ]] || continue
  if has_method "$name"; then
    convert "$name" "$pages"
  else
    say "skipping $name: it is not there"
    rm -rf "results/$name"
  fi
done <<<"$ocr_methods"
say "recognising"
find -L results -type f | sort | "$ocr_measure" --truth pages --threads "$jobs" | sort >errors.tsv
printf '%s\n' "$ocr_methods" >methods.txt
count_lines >lines.tsv

report() {
  "$root/bench/ocr/report.py" --methods methods.txt --tool "$dibkit" --lines lines.tsv "$@" errors.tsv
}
if $keep; then
  report --page "$root/docs/recognition.md"
  say "written: docs/recognition.md"
else
  report
fi
