#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# check_exports.sh LIBRARY HEADER: the names that the library defines are exactly the functions of the
# header, it leaves nothing of dibkit to others, and it loads no other library of dibkit.
set -euo pipefail
export LC_ALL=C
library=$1
header=$2

declared=$(grep -o 'dibkit_[a-z0-9_]*(' "$header" | tr -d '(' | sort -u)
defined=$(nm -D --defined-only "$library" | awk '{print $NF}' | sort)
status=0

report() {
  if [[ -n $2 ]]; then
    printf '%s:\n%s\n' "$1" "$2"
    status=1
  fi
}

report 'exported but not declared' "$(comm -13 <(echo "$declared") <(echo "$defined"))"
report 'declared but not exported' "$(comm -23 <(echo "$declared") <(echo "$defined"))"
report 'left to the program' "$(nm -D --undefined-only "$library" |
  awk '{print $NF}' | grep -E '^Global|dibkit' || true)"
report 'loaded' "$(readelf -d "$library" | grep NEEDED | grep dibkit || true)"
report 'its name' "$(readelf -d "$library" | grep SONAME | grep -v 'libdibkit-page\.so\.[0-9]*\]' || true)"
exit $status
