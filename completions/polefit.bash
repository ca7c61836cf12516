# Completion of the command polefit for bash.

_polefit() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]-}
  local choices="" files="" found
  if [ "$COMP_CWORD" -eq 1 ]; then
    choices="fit plot export eval info --help --version"
  else
    case "$previous" in
      --measure) choices="rms worst largest" ;;
      --spacing) choices="linear log peaks" ;;
      --weights) choices="balanced uniform relative root" ;;
      --format) choices="auto touchstone csv samples" ;;
      --data) choices="ri ma db" ;;
      --touchstone-version) choices="1 2" ;;
      --parameter) choices="S Y Z" ;;
      -o | --output | --weights-file | --like) files=yes ;;
      --error | --poles | --real | --max-poles | --responses | --iterations | --threads | --reference | \
        --panels | --name | --grid | --response)
        # The poles of plot take no value.
        if [ "$command" = plot ] && [ "$previous" = --poles ]; then files=yes; fi
        ;;
      *) files=yes ;;
    esac
    if [ -n "$files" ] && [ "${current:0:1}" = - ]; then
      files=""
      case "$command" in
        fit)
          choices="--output --error --poles --real --measure --max-poles --hold-out --no-hold-out --spacing
            --constant --no-constant --proportional --no-proportional --stable --no-stable --weights --weights-file
            --responses --exact-dc --iterations --threads --orthogonal --parameter --reference --format --quiet"
          ;;
        plot) choices="--output --responses --panels --poles --format" ;;
        export)
          choices="--output --spice --state-space --touchstone --csv --s-solver --name --grid --data
            --touchstone-version --response --parameter --reference"
          ;;
        eval) choices="--grid --like --output" ;;
        info) choices="--format" ;;
      esac
      choices="$choices --help"
    fi
  fi
  COMPREPLY=()
  if [ -n "$files" ]; then
    if found=$(compgen -f -- "$current"); then mapfile -t COMPREPLY <<<"$found"; fi
    compopt -o filenames 2>/dev/null || true
  else
    if found=$(compgen -W "$choices" -- "$current"); then mapfile -t COMPREPLY <<<"$found"; fi
  fi
}

complete -F _polefit polefit
