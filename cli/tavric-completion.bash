# Bash completion of the tavric command-line tool: subcommands, then the
# options of the subcommand (read from its --help, so they never go stale),
# then file names. Installed as share/bash-completion/completions/tavric.
_tavric() {
  local cur=${COMP_WORDS[COMP_CWORD]}
  local commands="calibrate check show transform verify simulate version help"
  local command="" i
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      -*) ;;
      *) command=${COMP_WORDS[i]}; break ;;
    esac
  done
  if [[ -z $command ]]; then
    if [[ $cur == -* ]]; then
      mapfile -t COMPREPLY < <(compgen -W "--help --version --quiet" -- "$cur")
    else
      mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$cur")
    fi
    return
  fi
  if [[ $command == help ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$cur")
    return
  fi
  if [[ $cur == -* ]]; then
    local options
    options=$("${COMP_WORDS[0]}" "$command" --help 2>/dev/null |
      grep -oE -- '(^|[ ,])--?[A-Za-z][-A-Za-z]*' | tr -d ' ,' | sort -u)
    mapfile -t COMPREPLY < <(compgen -W "$options --quiet" -- "$cur")
    return
  fi
  mapfile -t COMPREPLY < <(compgen -f -- "$cur")
}
complete -o filenames -F _tavric tavric
