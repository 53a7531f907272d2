#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# The ways in which pages are brought to another resolution before they are recognised. Sourced, not run; wants
# `dibkit` and `ocr_peer`, the paths of the command and of dibkit_ocr_peer (empty where it was not
# built).
# shellcheck disable=SC2154

# One line for each: its name, the pages that it is for (all or 1bit), whether it is a peer's, its
# title.
# shellcheck disable=SC2016,SC2034
ocr_methods='asis|all|own|as it is
resample|all|own|`resample`
raw|all|own|`--raw`
grey|1bit|own|`--grey`
prepare|all|own|`prepare`
leptonica|all|peer|Leptonica
leptonica-grey|1bit|peer|Leptonica in grey
opencv-linear|all|peer|OpenCV linear
opencv-area|all|peer|OpenCV area
opencv-linear-1bit|1bit|peer|OpenCV linear, 1 bit
opencv-area-1bit|1bit|peer|OpenCV area, 1 bit'

# True when the command has the subcommand `prepare`, or when its `resample` has the option.
dibkit_knows() {
  if [ "$1" = prepare ]; then
    "$dibkit" help prepare >/dev/null 2>&1
  else
    grep -q -e "--$1" <<<"$("$dibkit" help resample)"
  fi
}

# has_method NAME: false when it cannot be applied.
has_method() {
  case $1 in
    prepare | raw | grey) dibkit_knows "$1" ;;
    leptonica* | opencv*) [ -x "$ocr_peer" ] ;;
  esac
}

# apply_method NAME DPI DIRECTORY FILE...: the pages at another resolution, under their names, as TIFF
# files; what is left as it is keeps its format.
apply_method() {
  local method=$1 dpi=$2 directory=$3
  shift 3
  mkdir -p "$directory"
  local options=(--quiet --dpi "$dpi" --format tiff --no-sync --output-dir "$directory")
  case $method in
    asis) ln -sr "$@" "$directory" ;;
    resample) "$dibkit" resample "${options[@]}" "$@" ;;
    raw | grey) "$dibkit" resample "--$method" "${options[@]}" "$@" ;;
    prepare) "$dibkit" prepare "${options[@]}" "$@" ;;
    *) "$ocr_peer" "$method" "$dpi" "$directory" "$@" ;;
  esac
}
