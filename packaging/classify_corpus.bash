# bash completion for classify_corpus: the options are those that its help names.
_classify_corpus() {
  local word=${COMP_WORDS[COMP_CWORD]} command=() help
  [[ ${COMP_WORDS[1]} =~ ^[a-z]+$ && $COMP_CWORD -gt 1 ]] && command=("${COMP_WORDS[1]}")
  help=$("${COMP_WORDS[0]}" "${command[@]}" --help 2>/dev/null) || help=$("${COMP_WORDS[0]}" --help 2>/dev/null)
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(grep -oE -- '(^|[ ,])--?[a-z0-9][a-z-]*' <<<"$help" | tr -d ' ,' | sort -u)" -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$word"; [ "$COMP_CWORD" -gt 1 ] || compgen -W "evaluate learn apply" -- "$word")
  fi
}
complete -o filenames -F _classify_corpus classify_corpus
