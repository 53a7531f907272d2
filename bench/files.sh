#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Times the command as people run it, file to file, beside the commands of other libraries, and puts
# the table into docs/speed.md, at its end. Needs nothing but git, bash and the right to install
# Debian packages.
#
#   bench/files.sh           everything, seven turns; about five minutes
#   bench/files.sh --quick   three turns, printed only
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../scripts/lib.sh"

turns=7
keep=true
case ${1-} in
  "") ;;
  --quick)
    turns=3
    keep=false
    ;;
  *) die "usage: bench/files.sh [--quick]" ;;
esac

need_packages libvips-tools graphicsmagick imagemagick libtiff-tools libjpeg-turbo-progs libbenchmark-dev
build_tool
build build/bench --preset release -DDIBKIT_BENCH=ON -DDIBKIT_TOOLS=OFF -DBUILD_TESTING=OFF
tools=$root/build/bench/bench
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
# Peers would start threads of their own; CPU time counts all of them.
export OMP_NUM_THREADS=1 VIPS_CONCURRENCY=1

# The pages: drawn as bitmaps, packed by the peers' own tools.
make_pages() {
  "$tools/dibkit_bench_pages" .
  vips copy colour.bmp "colour.png[compression=6]"
  vips copy grey.bmp "grey.png[compression=6]"
  convert-im6.q16 colour.bmp -density 300 -units PixelsPerInch -compress None plain.tif
  tiffcp -c lzw:2 plain.tif colour.tif
  convert-im6.q16 colour.bmp -density 300 -units PixelsPerInch -quality 90 colour.jpg
  convert-im6.q16 bilevel.bmp -density 300 -units PixelsPerInch -compress Group4 bilevel.tif
  convert-im6.q16 colour.png -density 300 -units PixelsPerInch colour.png
  convert-im6.q16 grey.png -density 300 -units PixelsPerInch grey.png
}

# A hundred pages of all kinds, for the turns with one and two jobs.
make_folder() {
  local i kinds=(colour.png grey.png colour.tif colour.jpg bilevel.tif)
  mkdir -p folder
  for ((i = 0; i < 100; ++i)); do
    ln "${kinds[i % 5]}" "folder/page$i.${kinds[i % 5]##*.}"
  done
}

# contender TASK NAME RESULT COMMAND: one line of the list; see files/take_turns.cpp.
contender() { printf '%s\t%s\t%s\t%s\n' "$@"; }

# page TASK FILE SUFFIX VIPS-OPTIONS GM-OPTIONS: the four commands over one page.
page() {
  local task=$1 file=$2 suffix=$3 vips=$4 options=$5
  contender "$task" dibkit "dibkit.$suffix" \
    "$dibkit resample -q -f --no-sync --dpi 200 $file -o dibkit.$suffix"
  contender "$task" vips "vips.$suffix" \
    "vips resize $file vips.$suffix$vips 0.666666667 --kernel linear"
  contender "$task" GraphicsMagick "gm.$suffix" \
    "gm convert $file -filter triangle -resize 66.6667%${options:+ $options} gm.$suffix"
  contender "$task" ImageMagick "im.$suffix" \
    "convert-im6.q16 $file -filter triangle -resize 66.6667%${options:+ $options} im.$suffix"
}

list() {
  local plain=colour.bmp bytes
  page "24-bit BMP" colour.bmp bmp "" ""
  bytes=$((54 + (1653 * 3 + 3) / 4 * 4 * 2339))
  contender "24-bit BMP" "read and write" plain.out \
    "$tools/dibkit_bench_turns --copy $plain plain.out $bytes"
  page "24-bit PNG" colour.png png "" ""
  page "24-bit LZW TIFF" colour.tif tif "[compression=lzw,predictor=horizontal]" "-compress LZW"
  page "24-bit JPEG" colour.jpg jpg "[Q=90]" "-quality 90"
  page "grey PNG" grey.png png "" ""
  page "G4 TIFF" bilevel.tif tif "[compression=ccittfax4,bitdepth=1]" \
    "-type Bilevel -compress Group4"
  local jobs
  for jobs in 1 2; do
    contender "100 pages" "$jobs jobs" - \
      "$dibkit resample -q -f --no-sync --dpi 200 --jobs $jobs --output-dir out$jobs --recursive folder"
  done
}

# table < RESULTS: as Markdown, each contender's CPU time to dibkit's.
table() {
  awk -F '\t' '
    $1 == "100 pages" { wall[$2] = $4; next }
    {
      if ($1 != task) { task = $1; own = $3 }
      if ($3 == "failed") { printf "| %s | %s | failed | | | |\n", $1, $2; next }
      ratio = $2 == "dibkit" ? "" : sprintf("%.2f", own / $3)
      printf "| %s | %s | %.1f | %s | %.1f | %.2f |\n", $1, $2, $3, ratio, $5 / 1024, $6 / 1e6
    }
    END {
      printf "\nA folder of 100 such pages in one call: %.2f s with one job, %.2f s with two", \
        wall["1 jobs"] / 1000, wall["2 jobs"] / 1000
      printf " (wall-clock; %.2f times as fast).\n", wall["1 jobs"] / wall["2 jobs"]
    }'
}

section() {
  cat <<'TEXT'
<!-- files: written by bench/files.sh; do not edit. -->
## File to file

Whole processes, from a file on disk to a file on disk: an A4 page at 300 dpi (the `photo` page above, `text`
at 1 bit) brought to 200 dpi by `dibkit resample`, `vips resize --kernel linear`, `gm convert -filter triangle
-resize` and the same of ImageMagick, in turns, medians. CPU time is user and system time of all threads, and the
third figure is dibkit's to the peer's. No peer waits for the disk, so dibkit runs with `--no-sync`. *read and
write* reads the source and writes as many bytes as the result has, and does nothing else.

Each counted run follows at once on an uncounted one of the same command. A virtual machine that hands idle
memory back to its host makes the first touch of memory dear after a pause: the 24-bit BMP row takes 18 to 21 ms
in turns without pauses, and 58 ms behind three seconds of sleep.

| file | command | CPU, ms | dibkit to it | peak, MiB | result, MB |
|---|---|---|---|---|---|
TEXT
  table
}

say "making pages"
make_pages 2>/dev/null
make_folder
say "taking turns"
list >list
"$tools/dibkit_bench_turns" "$turns" <list >results
section <results | tee section.md
if $keep; then
  page=$root/docs/speed.md
  sed -i '/^<!-- files: /,$d' "$page"
  cat section.md >>"$page"
fi
