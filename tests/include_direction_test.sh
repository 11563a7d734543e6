#!/usr/bin/env bash
# Holds tests/rooms, the sources' includes, what the build lets each room include, and the picture in
# docs/architecture.md to one another.
# Usage: include_direction_test.sh SOURCE COMPILER TARGETS
# TARGETS is a file with a line for each target of a room: the room, the target and its include
# folders, with semicolons between.
set -euo pipefail
source=$1 compiler=$2 targets=$3
console=util/console_line.h
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$source"

failed=0
fail() {
  echo "$*"
  failed=1
}

# room_of PATH
room_of() {
  [[ $1 =~ ^(simulator/[^/]+|[^/]+) ]]
  echo "${BASH_REMATCH[1]}"
}

# The list: entries[ROOM] is what the room may include. The build lets it include the contract when
# contracted[ROOM] is set, because of itself or of a room that it includes.
contract=" $(sed -n 's/^contract = //p' tests/rooms) "
declare -A entries contracted
rooms=()
while IFS=: read -r room list; do
  for entry in $list; do
    if [ "$entry" = contract ] || [ -n "${contracted[$entry]-}" ]; then
      contracted[$room]=yes
    fi
    [ "$entry" = contract ] || [ -n "${entries[$(room_of "$entry")]+listed}" ] ||
      fail "tests/rooms: $room stands above $entry"
  done
  entries[$room]=$list
  rooms+=("$room")
done < <(grep '^[a-z_/]*:' tests/rooms)
for room in $(for file in */*.cc */*/*.cc; do room_of "$file"; done | sort -u); do
  [[ $room =~ ^(bench|build|fuzz|tests)$ ]] || [ -n "${entries[$room]+listed}" ] ||
    fail "tests/rooms does not list $room"
done

# entry_for ROOM PATH: the entry that lets the room include the path, or nothing.
entry_for() {
  local entry
  for entry in ${entries[$1]}; do
    if [[ $2 == "$entry" || $2 == "$entry"/* || $entry == contract && $contract == *" $2 "* ]]; then
      echo "$entry"
      return
    fi
  done
}

# The sources: includes[FILE] is what of this repository the file includes.
declare -A includes
while IFS=: read -r file line; do
  included=$(cut -d '"' -f 2 <<<"$line")
  [ ! -e "$included" ] || [ "$included" = "$console" ] || includes[$file]+=" $included"
done < <(grep -rE '^#include "' --include='*.cc' --include='*.h' --exclude='*_test.*' "${rooms[@]}")

# along FILE: adds to `reached` each header that comes with an include of the file.
declare -A reached
along() {
  local included
  for included in ${includes[$1]-}; do
    if [ -z "${reached[$included]+set}" ]; then
      reached[$included]=yes
      along "$included"
    fi
  done
}

# direct[ROOM] is what its sources include of other rooms, and visible[ROOM] what comes with it.
declare -A direct visible
for room in "${rooms[@]}"; do
  direct[$room]=""
  visible[$room]=${contracted[$room]:+$contract}
  used=" "
  for file in "${!includes[@]}"; do
    [ "$(room_of "$file")" = "$room" ] || continue
    for included in ${includes[$file]}; do
      [ "$(room_of "$included")" != "$room" ] || continue
      entry=$(entry_for "$room" "$included")
      [ -n "$entry" ] || fail "tests/rooms does not let $room include $included, and $file does"
      used+="$entry "
      direct[$room]+=" $included"
      reached=([$included]=yes)
      along "$included"
      for header in "${!reached[@]}"; do
        if [ -f "$entry" ]; then
          visible[$room]+=" $header"
        elif [ -z "${contracted[$room]-}" ] || [[ $contract != *" $header "* ]]; then
          visible[$room]+=" $(room_of "$header")"
        fi
      done
    done
  done
  for entry in ${entries[$room]}; do
    [[ $used == *" $entry "* ]] || fail "tests/rooms lets $room include $entry, and no source does"
  done
done

# The build: each target is asked for every header there is.
for header in $(find "${rooms[@]}" tests -name '*.h' | LC_ALL=C sort -u); do
  printf '#if __has_include("%s")\n%s\n#endif\n' "$header" "$header"
done >"$work/every_header"
declare -A found
while IFS=';' read -r room target folders; do
  [ -n "${entries[$room]+listed}" ] || continue
  options=()
  IFS=';' read -ra list <<<"$folders"
  for folder in "${list[@]}"; do
    options+=("-I$folder")
  done
  (cd "$work" && "$compiler" -std=c++17 -E -P -x c++ "${options[@]}" every_header) >"$work/found"
  for header in $(cat "$work/found"); do
    found[$room]+=" $header"
    [ "$header" != "$console" ] && [ "$(room_of "$header")" != "$room" ] || continue
    allowed=no
    for entry in ${entries[$room]} ${visible[$room]}; do
      if [[ $header == "$entry" || $header == "$entry"/* ]]; then
        allowed=yes
        break
      fi
    done
    [ "$allowed" = yes ] ||
      fail "tests/rooms does not let $room include $header, and the build lets $target"
  done
done <"$targets"
for room in "${!found[@]}"; do
  for included in ${direct[$room]}; do
    [[ "${found[$room]} " == *" $included "* ]] ||
      fail "$room includes $included, and the build lets no target of it"
  done
done
[ "${#found[@]}" -ge 10 ] || fail "only ${#found[@]} rooms have targets"

# The picture draws each room that another one includes as a whole, unless a path of arrows leads
# there too.
for room in "${rooms[@]}"; do
  for entry in ${entries[$room]}; do
    [ ! -d "$entry" ] || echo "${room##*/} ${entry##*/}"
  done
done >"$work/edges"
awk '{ edge[$1, $2] = 1; node[$1]; node[$2] }
  END {
    for (pair in edge) path[pair] = 1
    for (via in node) for (from in node) for (to in node)
      if ((from, via) in path && (via, to) in path) path[from, to] = 1
    for (pair in edge) {
      split(pair, end, SUBSEP)
      implied = 0
      for (via in node) if ((end[1], via) in edge && (via, end[2]) in path) implied = 1
      if (!implied) print end[1] " --> " end[2]
    }
  }' "$work/edges" | LC_ALL=C sort >"$work/arrows"
sed -n '/^```mermaid/,/^```$/p;/^```$/q' docs/architecture.md |
  sed -nE 's/^ *([a-z_]+ --> [a-z_]+)$/\1/p' | LC_ALL=C sort >"$work/picture"
diff "$work/picture" "$work/arrows" || fail "docs/architecture.md draws other arrows than tests/rooms"
exit "$failed"
