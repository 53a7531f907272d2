#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# check_exports.sh LIBRARY LIST: the names that the library defines are exactly those of the list,
# and the Global* names that it leaves to its host are exactly the six.
#
# After a wanted change: nm -D --defined-only LIBRARY | awk '{print $NF}' | LC_ALL=C sort, below the
# comment lines of the list.
set -euo pipefail
export LC_ALL=C
library=$1
list=$2

kept=$(grep -v '^#' "$list" | sort)
defined=$(nm -D --defined-only "$library" | awk '{print $NF}' | sort)
status=0

report() {
  if [[ -n $2 ]]; then
    echo "$1:"
    c++filt <<<"$2" | paste <(sed 's/^/  /' <<<"$2") -
    status=1
  fi
}

report 'exported but not in the list' "$(comm -13 <(echo "$kept") <(echo "$defined"))"
report 'in the list but not exported' "$(comm -23 <(echo "$kept") <(echo "$defined"))"
report 'of the standard library' "$(grep -E '^_Z(N|NK|TI|TS|TV)?S[tabsiod]' <<<"$defined" || true)"

wanted='GlobalAlloc GlobalFlags GlobalFree GlobalLock GlobalSize GlobalUnlock'
left=$(nm -D --undefined-only "$library" | awk '$NF ~ /^Global/ {print $NF}' | sort | paste -sd ' ')
if [[ $left != "$wanted" ]]; then
  echo "left to the host: $left"
  echo "          wanted: $wanted"
  status=1
fi
exit $status
