#!/usr/bin/env bash
# usage: check_exports.sh LIBRARY INCLUDE_DIR [OBJECT...]
# What the library exports is what its public headers declare, and the version; and whatever the
# objects it is linked from mark for export is exported, so that nothing vanishes from the version
# script unseen.
set -euo pipefail
library=$1 headers=$2
shift 2
export LC_ALL=C
shopt -s extglob
exported=$(nm -D --defined-only "$library" | awk '{print $3}' | sed 's/@.*//' | sort -u)
status=0

# A name counts when it is a name of C, or in our namespace and not of a class that is only declared.
is_public() {
  local qualified=${1%%(*}  # Without the parameters.
  [[ $qualified == zor_fingerprint_* || $qualified == zor::* ]] || return 1
  [[ $qualified != *::Implementation* && $qualified != *' '* ]] || return 1
  local name=${qualified##*::}
  grep -qrwF -- "${name#\~}" "$headers"
}

while IFS= read -r symbol; do
  [[ $symbol == ZORFingerPrintVersion@(Number|String) ]] && continue
  is_public "$symbol" && continue
  echo "check_exports: not part of the interface: $symbol" >&2
  status=1
done < <(c++filt <<<"$exported" | sed 's/\[abi:[^]]*\]//g' | sort -u)

# The optimizer across files leaves objects without symbols; then there is nothing to compare.
if [[ $# -gt 0 ]]; then
  marked=$(readelf -sW "$@" |
    awk '$5 == "GLOBAL" && $6 == "DEFAULT" && $7 ~ /^[0-9]+$/ {print $8}' | sort -u)
  [[ -n $marked ]] || { echo "check_exports: the objects mark nothing for export" >&2; status=1; }
  while IFS= read -r symbol; do
    echo "check_exports: missing in the version script: $(c++filt "$symbol")" >&2
    status=1
  done < <(comm -13 <(echo "$exported") <(echo "$marked") | sed '/^$/d')
fi
exit $status
