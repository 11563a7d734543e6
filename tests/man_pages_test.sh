#!/usr/bin/env bash
# Checks the manual pages: they format without a warning, bear the release's version and date, and
# name the commands and options that the programs' own help names, no more and no less.
# Usage: man_pages_test.sh SOURCE PAGES VERSION DATE PROGRAM...
# Each program has a --help, but for the first, which takes no arguments.
set -euo pipefail
pages=$2 version=$3 date=$4
shift 4

fail() {
  echo "$*" >&2
  exit 1
}

# format PAGE: shows it as text without hyphenation, a paragraph a line.
format() {
  LC_ALL=C MANROFFSEQ='' MANWIDTH=1000 man --warnings=w -E ascii --nh --nj -P cat -l "$1"
}

# options TEXT: the long options in it.
options() { grep -oE -- '--[a-z][a-z-]*' "$1" | LC_ALL=C sort -u; }
# commands HELP: those that a program's help lists.
commands() { sed -n '/^Subcommands:/,$s/^  \([a-z-]*\) .*/\1/p' "$1" | LC_ALL=C sort -u; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for program in "$@"; do
  name=$(basename "$program")
  page=$(echo "$pages/$name".[18])
  format "$page" >"$work/$name" 2>"$work/warnings" || fail "$page: cannot be formatted"
  [ ! -s "$work/warnings" ] || { cat "$work/warnings" && fail "$page: warnings"; }
  tail -n 1 "$work/$name" | grep -qE "vam $version +$date " || fail "$page: not of $version, $date"
  grep -qE "^ +$name - [a-z]" "$work/$name" || fail "$page: no name and summary"
done

shift
for program in "$@"; do
  name=$(basename "$program")
  "$program" --help >"$work/help"
  commands "$work/help" >"$work/commands"
  [[ $name =~ ^vam-(record|verdict)$ ]] || [ "$(wc -l <"$work/commands")" -ge 2 ] || fail "$name --help lists no commands"
  while read -r command; do
    "$program" "$command" --help >"$work/command"
    cat "$work/command" >>"$work/help"
    while read -r inner; do
      "$program" "$command" "$inner" --help >>"$work/help"
    done < <(commands "$work/command")
  done <"$work/commands"
  # The examples also have the options of other programs.
  sed '/^EXAMPLES/,$d' "$work/$name" >"$work/page"
  [ -n "$(options "$work/help")" ] || fail "$name --help names no options"
  diff <(options "$work/help") <(options "$work/page") || fail "$name: options differ from the help"
  sed -n '/^COMMANDS/,/^[A-Z]/s/^       \([a-z-]\{2,\}\).*/\1/p' "$work/page" | LC_ALL=C sort -u \
    >"$work/documented"
  diff "$work/commands" "$work/documented" || fail "$name: commands differ from the help"
done
