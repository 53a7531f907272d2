#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Builds dibkit and brings a folder of scans in four file formats, a book of three pages among them,
# to 300 dpi in one call. Needs nothing but git, bash and the right to install Debian packages. The
# results go to out/demo.
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

need_packages libtiff-tools
build_tool
scans=out/demo/scans
results=out/demo/300dpi
rm -rf out/demo
mkdir -p "$scans/office"

# The command by its own name, as it is called once it is installed.
dibkit() { "$dibkit" "$@"; }
run() {
  say "$*"
  "$@"
}

# make_scans: the samples as a scanner and an office would have left them.
make_scans() {
  local leaf
  dibkit normalize -o "$scans/letter.tif" samples/page-bilevel.bmp
  dibkit normalize -o "$scans/picture.jpg" samples/picture-colour.bmp
  dibkit normalize -o "$scans/office/form.png" samples/form-palette.bmp
  cp samples/page-grey.bmp "$scans/office/page.bmp"
  for leaf in page-grey form-palette picture-colour; do
    dibkit normalize -o "out/demo/$leaf.tif" "samples/$leaf.bmp"
  done
  tiffcp out/demo/{page-grey,form-palette,picture-colour}.tif "$scans/book.tif"
  rm out/demo/*.tif
}

make_scans
run dibkit resample --dpi 300 --recursive --output-dir "$results" --report out/demo/report.jsonl \
  "$scans"
run dibkit report out/demo/report.jsonl
dibkit info --recursive "$scans" "$results" | grep -E '^out/|format:|size:|depth:|resolution:'
say "the scans are in $root/$scans, the pages of 300 dpi in $root/$results"
say "the command is $dibkit; to install it: cmake --install build/tool --prefix /usr/local"
