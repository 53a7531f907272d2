#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Makes the sample images anew: Ghostscript typesets the pages, scan.cpp "scans" them.
#
#   samples/make_samples.sh [DIRECTORY]
#
# DIRECTORY is where the bitmaps go, this one by default.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
out=$(realpath -m "${1:-$here}")
# shellcheck source=scripts/lib.sh
. "$here/../scripts/lib.sh"
need_packages g++ ghostscript fonts-urw-base35

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"
g++ -std=c++20 -O2 -o "$work/scan" "$here/scan.cpp"

# sample NAME KIND DPI SEED SLANT: the drawing has twice the resolution of the scan.
sample() {
  gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=ppmraw -r$((2 * $3)) \
    -dTextAlphaBits=4 -dGraphicsAlphaBits=4 -sOutputFile="$work/$1.ppm" \
    "$here/typeset.ps" "$here/$1.ps"
  "$work/scan" "$2" "$3" "$4" "$5" "$work/$1.ppm" "$out/$1.bmp"
  say "$out/$1.bmp"
}

sample page-bilevel bilevel 300 11 290
sample page-grey grey 150 23 -350
sample form-palette palette 200 37 420
sample picture-colour colour 150 53 -240
