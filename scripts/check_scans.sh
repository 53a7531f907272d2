#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Converts the real scans (see scans_to_bmp.sh) and the samples to each usual resolution, and lists
# what came out: file, dots per inch, columns x rows, seconds, peak memory of the process. Exits
# with 1 when a conversion failed.
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
need_packages time
build_tool

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
scripts/scans_to_bmp.sh "$work/scans" >/dev/null

# The width and height that a bitmap's header names.
size_of() { od -An -td4 -j18 -N8 "$1" | awk '{ print $1 "x" $2 }'; }

status=0
printf '%-28s %5s %12s %9s %9s\n' file dpi size seconds MiB
for image in "$work"/scans/*.bmp samples/*.bmp; do
  for dpi in 72 100 150 200 240 300 400 600; do
    if /usr/bin/time -f '%e %M' -o "$work/time" \
      "$dibkit" resample --force --dpi "$dpi" -o "$work/out.bmp" "$image"; then
      read -r seconds kilobytes <"$work/time"
      printf '%-28s %5d %12s %9s %9d\n' "$(basename "$image")" "$dpi" \
        "$(size_of "$work/out.bmp")" "$seconds" $((kilobytes / 1024))
    else
      printf '%-28s %5d failed\n' "$(basename "$image")" "$dpi"
      status=1
    fi
  done
done
exit "$status"
