#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Converts real scans to Windows bitmaps that dibkit reads, with their depth and resolution.
#
#   scripts/scans_to_bmp.sh DIRECTORY
#
# The scans are the files in `scans` under $DIBKIT_SAMPLES_DIR, by default ../shared/samples beside
# this tree. A file with .300. or .150. in its name has that many dots per inch, feyn and pageseg
# were scanned at 300, and any other counts as 150.
set -euo pipefail
destination=$(realpath -m "${1:?usage: scans_to_bmp.sh DIRECTORY}")
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
scans=${DIBKIT_SAMPLES_DIR:-../shared/samples}/scans
[ -d "$scans" ] || die "no directory $scans (set DIBKIT_SAMPLES_DIR)"
need_packages imagemagick
mkdir -p "$destination"

for scan in "$scans"/*; do
  name=$(basename "${scan%.*}")
  case $(basename "$scan") in
    *.300.* | feyn* | pageseg*) dpi=300 ;;
    *) dpi=150 ;;
  esac
  kind=$(identify-im6.q16 -format '%[type]' "$scan")
  case $kind in
    Bilevel) colours=(-type Bilevel) ;;
    Grayscale) colours=(-depth 8 -type Palette) ;;
    Palette*) colours=(-type Palette) ;;
    *) colours=(-type TrueColor) ;;
  esac
  convert-im6.q16 "$scan" -strip -density "$dpi" -units PixelsPerInch "${colours[@]}" \
    -compress None "BMP3:$destination/$name.bmp"
  say "$destination/$name.bmp: $kind, $dpi dpi"
done
