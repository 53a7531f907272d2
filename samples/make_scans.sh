#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Makes a small folder of scans as people have them, of the samples: TIFF, PNG, JPEG and bitmap files
# at several resolutions, one of them with three pages, one in a folder below.
#
#   samples/make_scans.sh DIBKIT DIRECTORY
#
# DIBKIT is the command; tiffcp, from libtiff's tools, binds the pages.
set -euo pipefail
dibkit=${1:?usage: make_scans.sh DIBKIT DIRECTORY}
scans=${2:?usage: make_scans.sh DIBKIT DIRECTORY}
samples=$(dirname "${BASH_SOURCE[0]}")

# scan SAMPLE NAME OPTION...: one sample under another name and in its format.
scan() {
  local sample=$samples/$1.bmp out=$scans/$2
  shift 2
  "$dibkit" normalize --quiet --force -o "$out" "$@" "$sample"
}

mkdir -p "$scans/annex"
scan page-bilevel letter.tif
scan page-grey minutes.png
scan picture-colour photograph.jpg
scan page-grey annex/form.bmp
for page in page-bilevel page-grey form-palette; do
  scan "$page" "$page.tif" --compression deflate
done
tiffcp "$scans"/{page-bilevel,page-grey,form-palette}.tif "$scans/book.tif"
rm "$scans"/{page-bilevel,page-grey,form-palette}.tif
