# bash completion for dvrequest

_dvrequest_files() {
  local IFS=$'\n'
  compopt -o filenames 2>/dev/null
  COMPREPLY=($(compgen -f -- "$1"))
}

_dvrequest_words() {
  COMPREPLY=($(compgen -W "$2" -- "$1"))
}

_dvrequest() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local command=${COMP_WORDS[1]} part=${COMP_WORDS[2]}
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    _dvrequest_words "$current" "check explain schema job-id host copy rename remove --help --version"
    return
  fi
  case $previous in
    -f | --fragment) _dvrequest_files "$current"; return ;;
    --format) _dvrequest_words "$current" "text json"; return ;;
    --color) _dvrequest_words "$current" "auto always never"; return ;;
    --prefix | --wait | --tries) return ;;
  esac
  case $command in
    check | schema | copy | rename | remove)
      if [[ $current != -* ]]; then
        [[ $command == schema ]] || _dvrequest_files "$current"
        return
      fi ;;
  esac
  case $command in
    check) _dvrequest_words "$current" "--fragment --format --no-validate --color --help" ;;
    explain) _dvrequest_words "$current" "--fragment --help" ;;
    schema) _dvrequest_words "$current" "--fragment --check --color --help" ;;
    copy | rename | remove) _dvrequest_words "$current" "--wait --tries --help" ;;
    job-id)
      if ((COMP_CWORD == 2)); then
        _dvrequest_words "$current" "new check xml --help"
      elif [[ $part == new ]]; then
        _dvrequest_words "$current" "--prefix --help"
      else
        _dvrequest_words "$current" "--help"
      fi ;;
    host)
      if ((COMP_CWORD == 2)); then
        _dvrequest_words "$current" "check --help"
      else
        _dvrequest_words "$current" "--help"
      fi ;;
  esac
}

complete -F _dvrequest dvrequest
