# bash completion for korvrestore-bench(1), korvrestore-fleet(1) and korvrestore-status(1)
# shellcheck shell=bash
# SC2034: _init_completion sets these variables. SC2207: no option has a blank.
# shellcheck disable=SC2034,SC2207

_korvrestore_programs() {
  local cur prev words cword split
  _init_completion -s || return
  case $prev in
    --only | --table | --tool) _filedir; return ;;
    --record) _filedir -d; return ;;
    --detect-timeout | --restore-timeout | --at-once | --limit | --retries | --pause | --ssh) return ;;
  esac
  case $cur in
    -*) COMPREPLY=($(compgen -W "$("$1" --help | grep -oE '^ +(-h, )?--[a-z-]+' |
      grep -oE -e '--[a-z-]+')" -- "$cur")) ;;
    *) _filedir ;;
  esac
} && complete -F _korvrestore_programs korvrestore-bench korvrestore-fleet korvrestore-status
