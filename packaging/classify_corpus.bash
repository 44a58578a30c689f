# bash completion for classify_corpus: subcommands and options are those that its help names.
_classify_corpus() {
  local word=${COMP_WORDS[COMP_CWORD]} command=() help
  [[ ${COMP_WORDS[1]} =~ ^[a-z]+$ && $COMP_CWORD -gt 1 ]] && command=("${COMP_WORDS[1]}")
  help=$("${COMP_WORDS[0]}" "${command[@]}" --help 2>/dev/null) || help=$("${COMP_WORDS[0]}" --help 2>/dev/null)
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(grep -oE -- '(^|[ ,])--?[a-z][a-z-]*' <<<"$help" | tr -d ' ,')" -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
    if [ "$COMP_CWORD" -eq 1 ]; then
      mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(
        compgen -W "$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<"$help")" -- "$word")
    fi
  fi
}
complete -o filenames -F _classify_corpus classify_corpus
