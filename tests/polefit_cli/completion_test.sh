#!/bin/bash
# What the completion for bash offers. Usage: completion_test.sh polefit.bash
set -eu
. "$1"

status=0
sorted() { printf '%s\n' "$@" | sort | xargs; }
# expect CHOICES WORD ...: the choices offered for the last word, in any order.
expect() {
  local expected
  # shellcheck disable=SC2086 # choices have no blanks
  expected=$(sorted $1)
  shift
  COMP_WORDS=("$@")
  COMP_CWORD=$(($# - 1))
  COMPREPLY=()
  _polefit
  if [ "$(sorted ${COMPREPLY[@]+"${COMPREPLY[@]}"})" != "$expected" ]; then
    echo "for \"$*\": offered \"${COMPREPLY[*]}\", expected \"$expected\"" >&2
    status=1
  fi
}

cd "$(mktemp -d)"
trap 'rm -r "$PWD"' EXIT
touch filter.s2p filter.json other.txt

expect "fit plot passivity export eval time convert info --help --version" polefit ""
expect "plot" polefit pl
expect "filter.json filter.s2p" polefit fit f
expect "filter.json" polefit fit filter.s2p -o filter.j
expect "--error --exact-dc" polefit fit --e
expect "linear log" polefit fit --spacing l
expect "" polefit fit --poles ""
expect "filter.json filter.s2p other.txt" polefit plot --poles ""
expect "--spice --state-space --s-solver" polefit export filter.json --s
expect "ri ma db" polefit export filter.json --touchstone --data ""
expect "--like" polefit eval filter.json --l
expect "--format" polefit info --f
expect "ri ma db" polefit convert --format ""
expect "S Y Z" polefit passivity filter.json --parameter ""
exit "$status"
