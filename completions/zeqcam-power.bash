# Completion of zeqcam-power in bash. Commands, options and rules are those that the program tells of itself.
_zeqcam_power() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local commands command= each help value=
  commands=$(zeqcam-power --help | awk '/^Subcommands:/ { inside = 1; next } inside && /^  [a-z]/ { print $1 }')
  for each in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    grep -qxF -- "$each" <<<"$commands" && command=$each && break
  done
  help=$(zeqcam-power $command --help)
  compopt -o filenames 2>/dev/null
  # An option that takes a value is followed by the kind of it, in capitals.
  [[ $before == -* ]] && value=$(awk -v option="$before" '/^  -/ && $1 ~ "(^|,)" option "$" { print $2 }' <<<"$help")
  case $value in
    RULE) mapfile -t COMPREPLY < <(compgen -W "$(zeqcam-power rules | sed -n 's/^  \([a-z]\)/\1/p')" -- "$word") ;;
    FILE) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    [A-Z][A-Z]* | N) COMPREPLY=() ;;
    *)
      if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(grep -oE -- '--[a-z][a-z-]*' <<<"$help" | sort -u)" -- "$word")
      elif [[ -z $command ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word")
      elif [[ $command == run || $command == explore || $command == check || $command == sweep ]]; then
        mapfile -t COMPREPLY < <(compgen -d -- "$word"; compgen -f -X '!*.toml' -- "$word")
      elif grep -q '^  FILE' <<<"$help"; then
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
      fi
      ;;
  esac
}
complete -F _zeqcam_power zeqcam-power
