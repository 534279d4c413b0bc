# Completion of brltranslate for bash, which finds this file by its name among
# its other completions; or read it in with "source".

# The first words of the lines of one of the two tables of "brailletranslatord
# --list", of which the second are the profiles.
_brltranslate_names() {
  brailletranslatord --list 2>/dev/null |
    awk -v table="$1" '/^TRANSLATOR|^PROFILE/ { ++current; next } current == table && NF { print $1 }'
}

_brltranslate() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  # To bash, the sign in --role=entry is a word of its own.
  if [[ $word == = ]]; then
    word=
  elif [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  case $before in
    --role)
      mapfile -t COMPREPLY < <(compgen -W "display entry computer grade1" -- "$word")
      return
      ;;
    -t | --translator)
      mapfile -t COMPREPLY < <(compgen -W "$(_brltranslate_names 1)" -- "$word")
      return
      ;;
    -p | --profile)
      mapfile -t COMPREPLY < <(compgen -W "$(_brltranslate_names 2)" -- "$word")
      return
      ;;
    -c | --cursor | --width | --explain)
      return
      ;;
  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "
      --back --cells --cursor --dots --dump --explain --explore --help --json --line-buffered
      --map --positions --profile --quiet --role --roles --translator --version --width
      " -- "$word")
    return
  fi
  if [[ " ${COMP_WORDS[*]} " == *" --explore "* ]]; then
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}

complete -F _brltranslate brltranslate
