#!/usr/bin/env bash
# Restores one device: driver.sh TOOL IPSW ECID. Needs bash and sed.
set -uo pipefail
program=$1 ipsw=$2 ecid=$3

# Joins a key and its value, which are on two lines, to "KEY VALUE". Prints "." after each message.
# The XML escapes &lt;, &gt; and &amp; are not replaced.
flat() {
  sed --unbuffered --quiet --regexp-extended '
    s|^\t*<key>(.*)</key>$|\1|; t key
    s|^</plist>$|.|p; d
    :key
    N; s|\n\t*<[a-z]+>(.*)</[a-z]+>$| \1|p; s|\n\t*<dict>$| {|p'
}

declare -A value=()
place='' result='' ended=''
while read -r key text; do
  if [ "$key" != . ]; then
    value[$key]=${value[$key]-$text} # only the first value of a key counts
    continue
  fi
  case ${value[Type]-}:${value[Operation]-}:${value[Progress]-} in
    InternalError:*) result="FAILED: ${value[FailureReason]-${value[Description]-}}" ;;
    RestoreStatus:0:100)
      result=restored
      if [ "${value[Status]-}" = Failed ] || [ -n "${value[Error]-}" ]; then
        result="FAILED at $place: ${value[Description]-${value[Status]-}}"
      fi ;;
    RestoreStatus:*)
      place="${value[Progress]} % (${value[TY_OperationName]-${value[Status]-}})"
      echo "$ecid $place" ;;
  esac
  value=()
  [ -z "$result" ] || { ended=yes; break; }
done < <("$program" --restore "$ipsw" --ecid "$ecid" | flat)
[ -n "$ended" ] || result="FAILED: the tool ended without a result"
echo "$ecid $result"
[ "$result" = restored ]
