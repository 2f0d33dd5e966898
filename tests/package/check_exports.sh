#!/usr/bin/env bash
# usage: check_exports.sh LIBRARY INCLUDE_DIR
# What the library exports is what its public headers declare, and the version.
set -euo pipefail
library=$1 headers=$2
export LC_ALL=C
shopt -s extglob
exported=$(nm -D --defined-only "$library" | awk '{print $3}' | sed 's/@.*//' | c++filt |
  sed 's/\[abi:[^]]*\]//g' | sort -u)
status=0

# A name counts when it is a name of C, or in our namespace and not of a class that is only declared.
is_public() {
  local qualified=${1%%(*}  # Without the parameters.
  [[ $qualified == zor_fingerprint_* || $qualified == zor::* ]] || return 1
  [[ $qualified != *::Implementation* && $qualified != *' '* ]] || return 1
  local name=${qualified##*::}
  grep -qrw -- "${name#\~}" "$headers"
}

while IFS= read -r symbol; do
  [[ $symbol == ZORFingerPrintVersion@(Number|String) ]] && continue
  is_public "$symbol" && continue
  echo "check_exports: not part of the interface: $symbol" >&2
  status=1
done <<<"$exported"

for symbol in ZORFingerPrintVersionNumber ZORFingerPrintVersionString zor_fingerprint_get \
  'zor::ZORFingerPrint::sharedInstance()' 'zor::getHardwareUDID()'; do
  grep -qxF -- "$symbol" <<<"$exported" || { echo "check_exports: missing: $symbol" >&2; status=1; }
done
exit $status
