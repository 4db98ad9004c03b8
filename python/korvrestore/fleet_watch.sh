# shellcheck shell=bash
# Watches the restore of one device from the desk, as a job of GNU parallel's:
#
#   fleet_watch.sh FOLDER RUN SSH LIMIT PAUSE HOST ECID BUNDLE TOOL OPTION...
#
# It may be called any number of times: fleet_on_host.sh restores only once. It appends the messages to
# FOLDER/ECID.messages, and standard error to FOLDER/ECID.log. If HOST has reported the end, it writes
# that to FOLDER/ECID.end and exits with 0. Otherwise it exits with 1 after PAUSE seconds.
set -uo pipefail
folder=$1 run=$2 ssh=$3 limit=$4 pause=$5 host=$6 ecid=$7 bundle=$8 tool=$9
shift 9

stream=$folder/$ecid.messages log=$folder/$ecid.log
touch "$stream"
[ -e "$log" ] || date +'asked since %s' >"$log"
begun=0
grep --quiet --line-regexp begun "$log" && begun=1
words=(bash -s -- "$run" "$ecid" "$begun" "$(stat --format=%s "$stream")" "$limit"
  "$tool" --restore "$bundle" --ecid "$ecid" "$@")
# SSH is a command line. The shell on the host splits the words again, so they are quoted.
if $ssh "$host" "${words[*]@Q}" <"$(dirname "$0")/fleet_on_host.sh" >>"$stream" 2>>"$log"; then
  tail --lines=1 "$log" >"$folder/$ecid.end.new"
  mv "$folder/$ecid.end.new" "$folder/$ecid.end"
else
  sleep "$pause"
  exit 1
fi
