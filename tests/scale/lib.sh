#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# What the runs over many pages share. Sourced by the others with `dibkit` and `work` set: the
# command, and an empty folder.

pages=200
shards=4

# make_pages: $work/scans/NNN.EXT, 200 pages in all formats, no two alike, and their list in
# $work/list.
make_pages() {
  local formats=(bmp tif png jpg) samples=(page-bilevel page-grey form-palette picture-colour)
  local i from
  mkdir -p "$work/scans"
  for ((i = 0; i < pages; ++i)); do
    from=samples/${samples[i % 4]}.bmp
    "$dibkit" resample --quiet --dpi $((100 + i)) "$from" \
      -o "$work/scans/$(printf %03d "$i").${formats[(i / 4) % 4]}"
  done
  (cd "$work/scans" && ls) >"$work/list"
}

# convert OUTPUT-DIR REPORT OPTION...: what every task runs, in the folder of the scans.
convert() {
  local output=$1 report=$2
  shift 2
  (cd "$work/scans" && "$dibkit" resample --quiet --dpi 400 --files-from "$work/list" \
    --output-dir "$output" --report "$report" "$@")
}

# hashes FOLDER: every file below it with its SHA-256, sorted. SIGKILL leaves the hidden file that a
# page was being written to.
hashes() { (cd "$1" && find . -type f ! -name '.dibkit-*.tmp' | sort | xargs sha256sum); }

# hashes_in REPORT...: output names and hashes as the reports tell them, sorted.
hashes_in() {
  cat "$@" | grep '"status": *"done"' |
    sed -E 's/.*"output": *"([^"]*)".*/\1 &/; s/^([^ ]*) .*"sha256": *"([0-9a-f]{64})".*/\2 \1/' |
    sed -E 's, [^ ]*/, ,' | sort -u
}

# same WHAT A B: two lists must be equal and not empty.
same() {
  [ -s "$2" ] || die "$1: nothing to compare"
  cmp -s "$2" "$3" || {
    diff "$2" "$3" | head >&2
    die "$1 differ"
  }
}

# The run of one process that the others are held against.
run_alone() {
  say "one process over $pages pages"
  convert "$work/alone" "$work/alone.jsonl" --jobs 1
  hashes "$work/alone" >"$work/alone.hashes"
  [ "$(wc -l <"$work/alone.hashes")" -eq "$pages" ] || die "not every page was made"
}

# check_union FOLDER REPORT...: what several tasks made together is what one process makes, and the
# reports miss nothing.
check_union() {
  local folder=$1
  shift
  hashes "$folder" >"$folder.hashes"
  same "output files" "$work/alone.hashes" "$folder.hashes"
  hashes_in "$work/alone.jsonl" >"$work/alone.told"
  hashes_in "$@" >"$folder.told"
  same "hashes in the reports" "$work/alone.told" "$folder.told"
  (cd "$work/scans" && "$dibkit" report "$@" --files-from "$work/list")
}
