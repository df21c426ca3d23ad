# Completion of qor-trace for bash 4 and later. The program itself says what can stand where, so that this never offers anything else.
#
# Installed, bash-completion finds it. Without that: source FILE.

_qor_trace() {
  local program=${1/#\~\//$HOME/} words=("${COMP_WORDS[@]}") cword=$COMP_CWORD typed lines=() line before
  # bash breaks words at = and : as well.
  if declare -F _get_comp_words_by_ref >/dev/null; then
    _get_comp_words_by_ref -n =: words cword
  else
    _qor_trace_join_words
  fi
  typed=${words[cword]}
  typed=${typed#[\"\']} # an expression whose quotation mark is still open
  typed=${typed//\\/}
  typed=${typed/#\~\//$HOME/}

  mapfile -t lines < <("$program" complete -- "${words[@]:1:cword-1}" "$typed" 2>/dev/null)
  [ ${#lines[@]} -gt 0 ] || return

  # What replaces the word that bash sees, which begins after the last = or : that isn't quoted.
  before=
  if [[ ${words[cword]} != [\"\']* && $typed == *[=:]* ]]; then before=${typed%"${typed##*[=:]}"}; fi
  COMPREPLY=()
  for line in "${lines[@]:1}"; do
    line=${line%%$'\t'*}
    COMPREPLY+=("${line#"$before"}")
  done
  if [[ ${lines[0]} == *unfinished* || ${COMPREPLY[0]} == *= ]]; then compopt -o nospace; fi
  if [[ ${lines[0]} == *files* ]]; then
    compopt -o filenames
    mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- "${typed#"$before"}")
  fi
}

# Puts together what was broken at = and :, in words and cword of the caller.
_qor_trace_join_words() {
  local joined=() index at=0 rest=$COMP_LINE
  for ((index = 0; index < ${#words[@]}; ++index)); do
    if [[ $index -gt 0 && -n ${words[index]} && $rest == "${words[index]}"* &&
      (${words[index]} == [=:]* || ${words[index - 1]} == *[=:]) ]]; then
      joined[at]+=${words[index]}
    else
      at=${#joined[@]}
      joined[at]=${words[index]}
    fi
    if [ "$index" = "$COMP_CWORD" ]; then cword=$at; fi
    rest=${rest#*"${words[index]}"}
  done
  words=("${joined[@]}")
}

complete -F _qor_trace qor-trace
