#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# The ways in which pages are brought to 300 dpi before they are recognised. Sourced, not run; wants
# `dibkit` and `ocr_peer`, the paths of the command and of dibkit_ocr_peer (empty where it was not
# built).

# One line for each: its name, the depths of the pages that it is for, its title.
ocr_methods='asis|grey 1bit|as it is
resample|grey 1bit|`resample`
raw|grey 1bit|`--raw`
grey|1bit|`--grey`
prepare|grey 1bit|`prepare`
leptonica|grey 1bit|Leptonica
leptonica-grey|1bit|Leptonica in grey
opencv-linear|grey 1bit|OpenCV linear
opencv-area|grey 1bit|OpenCV area
opencv-linear-1bit|1bit|OpenCV linear, 1 bit
opencv-area-1bit|1bit|OpenCV area, 1 bit'

# True when the command has the option or, for "prepare", the subcommand.
dibkit_knows() {
  case $1 in
    prepare) "$dibkit" help prepare >/dev/null 2>&1 ;;
    *) "$dibkit" help resample 2>/dev/null | grep -q -e "$1" ;;
  esac
}

# has_method NAME: false, with a line that says why, when it cannot be applied.
has_method() {
  case $1 in
    prepare) dibkit_knows prepare || { say "skipping prepare: the command has none" && return 1; } ;;
    raw | grey)
      dibkit_knows "--$1" || { say "skipping $1: \`resample\` has no --$1" && return 1; }
      ;;
    leptonica* | opencv*)
      [ -x "$ocr_peer" ] || { say "skipping $1: built without its library" && return 1; }
      ;;
  esac
}

# apply_method NAME DIRECTORY FILE...: the pages at 300 dpi, under their names, as TIFF files.
apply_method() {
  local method=$1 directory=$2
  shift 2
  mkdir -p "$directory"
  local options=(--quiet --dpi 300 --format tiff --no-sync --output-dir "$directory")
  case $method in
    asis) ln -sr "$@" "$directory" ;;
    resample) "$dibkit" resample "${options[@]}" "$@" ;;
    raw | grey) "$dibkit" resample "--$method" "${options[@]}" "$@" ;;
    prepare) "$dibkit" prepare "${options[@]}" "$@" ;;
    *) "$ocr_peer" "$method" 300 "$directory" "$@" ;;
  esac
}
