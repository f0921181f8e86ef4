# Completion of zeqcam-power in bash.
_zeqcam_power() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} each command=
  for each in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $each in run | explore | check | read | devices | rules | schema) command=$each && break ;; esac
    case $each in run | explore | check | read | chain | rules | schema) command=$each && break ;; esac
    case $each in run | explore | check | read | blame | chain | rules | schema) command=$each && break ;; esac
  done
  compopt -o filenames 2>/dev/null
  case $command:$before in
    run:--set | explore:--set | blame:--set | chain:--set | run:--seed | run:--timeout | run:--schedule | run:--client | run:--sensor | run:--from | run:--to | run:--width | explore:--preemptions | explore:--schedules | explore:--seconds) COMPREPLY=() ;;
    run:--seed | run:--timeout | run:--schedule | run:--repeat | run:--jobs | run:--client | run:--sensor | run:--from | run:--to | run:--width | explore:--preemptions | explore:--schedules | explore:--seconds) COMPREPLY=() ;;
    run:--allow | read:--allow)
      mapfile -t COMPREPLY < <(compgen -W "$(zeqcam-power rules | sed -n 's/^  \([a-z]\)/\1/p')" -- "$word")
      ;;
    blame:--request | blame:--client | blame:--sensor | blame:--from | blame:--to | blame:--pid | blame:--seed | blame:--repeat | blame:--width) COMPREPLY=() ;;
    chain:--request | chain:--client | chain:--sensor | chain:--from | chain:--to | chain:--pid | chain:--seed | chain:--repeat | chain:--width) COMPREPLY=() ;;
    read:--pid | read:--client | read:--sensor | read:--from | read:--to | read:--width) COMPREPLY=() ;;
    run:--trace | run:--svg | run:--junit | explore:--trace | explore:--svg | explore:--junit | read:--trace | read:--svg | read:--junit | read:--scenario | devices:--scenario) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    run:--trace | run:--svg | run:--html | run:--junit | explore:--trace | explore:--svg | explore:--html | explore:--junit | read:--trace | read:--svg | read:--html | read:--junit | read:--scenario) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    blame:--html | chain:--html | run:--trace | run:--svg | run:--html | run:--junit | explore:--trace | explore:--svg | explore:--html | explore:--junit | read:--trace | read:--svg | read:--html | read:--junit | read:--scenario) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    *)
      local words='run explore check read devices rules schema --help --version'
      local words='run explore check read chain rules schema --help --version'
      local words='run explore check read blame chain rules schema --help --version'
      [ "$command" = run ] && words='--set --trace --svg --junit --ftrace --json --verbose --quiet --seed --timeout --simulate --schedule --allow --strict --client --sensor --from
      local words='run explore check read rules schema --help --version'
      [ "$command" = run ] && words='--trace --svg --junit --ftrace --json --verbose --quiet --seed --timeout --simulate --schedule --repeat --jobs --allow --strict --client --sensor --from
      [ "$command" = run ] && words='--trace --svg --html --junit --ftrace --json --verbose --quiet --seed --timeout --simulate --schedule --allow --strict --client --sensor --from
        --to --width --full --help'
      [ "$command" = read ] && words='--pid --follow --scenario --trace --svg --html --junit --json --allow --strict --client --sensor --from --to
        --width --full --help'
      [ "$command" = explore ] && words='--preemptions --schedules --seconds --trace --svg --junit --help'
      [ "$command" = devices ] && words='--video --scenario --json --help'
      [ "$command" = blame ] && words='--request --client --sensor --from --to --pid --seed --repeat --json --width --help'
      [ "$command" = chain ] && words='--request --client --sensor --from --to --pid --seed --repeat --full --json --width --help'
      [ "$command" = explore ] && words='--set --preemptions --schedules --seconds --trace --svg --junit --help'
      [ "$command" = blame ] && words='--set --request --client --sensor --from --to --pid --seed --repeat --json --width --help'
      [ "$command" = chain ] && words='--set --request --client --sensor --from --to --pid --seed --repeat --full --json --width --help'
      [ "$command" = explore ] && words='--preemptions --schedules --seconds --trace --svg --html --junit --help'
      [ "$command" = blame ] && words='--html --request --client --sensor --from --to --pid --seed --repeat --json --width --help'
      [ "$command" = chain ] && words='--html --request --client --sensor --from --to --pid --seed --repeat --full --json --width --help'
      [[ $command == check || $command == rules || $command == schema ]] && words='--help'
      if [[ -z $command || $command == schema || $command == rules || $command == devices || $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
      elif [[ $command == read || $command == blame || $command == chain ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
      else
        mapfile -t COMPREPLY < <(compgen -d -- "$word"; compgen -f -X '!*.toml' -- "$word")
      fi
      ;;
  esac
}
complete -F _zeqcam_power zeqcam-power
