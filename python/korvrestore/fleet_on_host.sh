# shellcheck shell=bash
# Restores one device on the host that it is attached to. fleet_watch.sh sends this text over ssh:
#
#   bash -s -- RUN ECID BEGUN HAVE LIMIT COMMAND...
#
# The first call with this RUN and ECID starts COMMAND and prints "begun" on standard error. Later
# calls don't start it again, and a call with BEGUN 1 never starts it. COMMAND continues when the
# connection breaks.
#
# Each call copies COMMAND's standard output, without the first HAVE bytes, until COMMAND has ended.
# Then it exits with 0. The last line on standard error is then "exit status N after S s" (124:
# COMMAND was stopped after LIMIT seconds), or "gone" if COMMAND was begun but ended without leaving
# its status. After any other exit status, call again.

# A connection may break while bash reads this text. So nothing runs before all of it has arrived.
main() {
  local run=$1 ecid=$2 begun=$3 have=$4 limit=$5
  shift 5
  local top=${XDG_STATE_HOME:-$HOME/.local/state}/korvrestore-fleet
  local state=$top/$run/$ecid

  # A process that restores the device holds the lock. The kernel releases it when the process ends.
  umask 077
  mkdir -p "$top/$run" && exec 9>>"$top/$ecid.lock" || return
  if [ ! -d "$state" ]; then
    if [ "$begun" = 1 ]; then # this host has lost the state of the restore
      echo gone >&2
      return
    fi
    if ! flock --nonblock 9; then
      echo "another run is at work on $ecid" >&2
      return 1
    fi
    if mkdir "$state"; then
      start "$state" "$limit" "$@" || return
      echo begun >&2
    fi
    exec 9>>"$top/$ecid.lock" || return # COMMAND keeps the lock of the old descriptor
  fi

  flock --shared 9 &
  local until_free=$!
  tail --bytes="+$((have + 1))" --follow --pid="$until_free" "$state/messages" \
    && wait "$until_free" || return
  cat "$state/errors" >&2
  if [ -e "$state/end" ]; then
    cat "$state/end" >&2
  else
    rm -rf "$state/tmp"
    echo gone >&2
  fi
}

start() {
  local state=$1
  : >"$state/messages" && : >"$state/errors" && mkdir "$state/tmp" || return
  sync --file-system "$state" || return # after a power cut the host must know that the restore has begun
  TMPDIR=$state/tmp setsid bash -c '
    state=$1 limit=$2
    shift 2
    timeout --kill-after=10 "$limit" "$@" >"$state/messages" 2>"$state/errors"
    echo "exit status $? after $SECONDS s" >"$state/end.new"
    rm -rf "$state/tmp"
    sync "$state/messages" "$state/errors" "$state/end.new"
    mv "$state/end.new" "$state/end"
  ' supervisor "$@" </dev/null >/dev/null 2>&1 &
}

main "$@"
