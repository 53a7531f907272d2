#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Builds dibkit and converts every sample to another resolution. Needs nothing but git, bash and the
# right to install Debian packages. The results go to out/demo.
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

build_tool
results=out/demo
mkdir -p "$results"

# convert NAME DPI: resamples one sample and says what it was and what it became.
convert() {
  local in=samples/$1.bmp out=$results/$1-$2dpi.bmp
  say "dibkit resample --dpi $2 $in $out"
  "$dibkit" resample --dpi "$2" "$in" "$out"
  "$dibkit" info "$in" "$out" | grep -E '^(samples|out)/|size:|depth:|resolution:'
}

convert page-bilevel 200
convert page-grey 300
convert form-palette 150
convert picture-colour 240
say "the converted images are in $root/$results"
