# Completion for tessel(1): options first, then a script, then files for its arguments.
_tessel() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} before
  COMPREPLY=()
  [[ $previous == -e ]] && return
  compopt -o filenames
  for before in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ $before == -e || $before == *.tsl || $before == - ]] || continue
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
    return
  done
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W '-e -i -h --help --no-module --version' -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -f -X '!*.tsl' -- "$word"; compgen -d -- "$word")
  fi
}
complete -F _tessel tessel
