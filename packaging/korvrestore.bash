# bash completion for korvrestore(1)
# shellcheck shell=bash
# SC2034: _init_completion sets these variables. SC2207: no word has a blank.
# shellcheck disable=SC2034,SC2207

_korvrestore() {
  local cur prev words cword split
  _init_completion -s || return
  case $prev in
    --ecid)
      # Takes a second, the detect timeout.
      COMPREPLY=($(compgen -W "$("$1" --list-devices --detect-timeout 1 2>/dev/null |
        grep -oE '<string>[0-9A-F]{16}' | cut -c 9-)" -- "${cur^^}"))
      return
      ;;
    --restore) _filedir ipsw; return ;;
    --restore-plist | --amr-logfile) _filedir; return ;;
    --detect-timeout | --restore-timeout | --output-pipe) return ;;
  esac
  COMPREPLY=($(compgen -W "$("$1" --help 2>&1 | grep -oE '^  --[a-z-]+')" -- "$cur"))
} && complete -F _korvrestore korvrestore
