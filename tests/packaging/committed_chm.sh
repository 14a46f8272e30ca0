#!/usr/bin/env bash
# The run set-up has no help compiler and copies help/Pathlark.chm as committed, so that file
# must hold what the pages say. Compiles the pages afresh and compares the two files' contents
# (not their bytes: each compile stamps its own time); then checks the pages' links.
set -euo pipefail
help=$(cd "$(dirname "$0")/../../help" && pwd)
for tool in chmcmd extract_chmLib; do
  command -v "$tool" >/dev/null || { echo "SKIP: $tool not installed (bash build.sh test installs it)"; exit 77; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir "$work/src" "$work/fresh" "$work/committed"
(cd "$help" && cp -- *.htm *.css *.hhp *.hhc *.hhk "$work/src/")
(cd "$work/src" && chmcmd --verbosity 0 Pathlark.hhp > "$work/chmcmd.log" 2>&1) || { cat "$work/chmcmd.log"; exit 1; }
extract_chmLib "$work/src/Pathlark.chm" "$work/fresh" > /dev/null
extract_chmLib "$help/Pathlark.chm" "$work/committed" > /dev/null

stale() {
  echo "FAIL: help/Pathlark.chm does not match the pages in help/ ($*)."
  echo "Recompile it with: bash build.sh help-chm   (then commit help/Pathlark.chm)"
  exit 1
}
(cd "$work/fresh" && find . -type f | sort) > "$work/fresh.list"
(cd "$work/committed" && find . -type f | sort) > "$work/committed.list"
diff -u "$work/committed.list" "$work/fresh.list" > /dev/null || stale "other files inside"
while IFS= read -r file; do
  case $file in
    # chmcmd leaves a byte of the keyword map unset; the keywords themselves are in the .hhk.
    './$WWKeywordLinks/Map') continue ;;
    # Its first record (bytes 5-12) is the compile time.
    './#SYSTEM')
      [ "$(stat -c %s "$work/fresh/$file")" = "$(stat -c %s "$work/committed/$file")" ] || stale "$file"
      { cmp -l "$work/fresh/$file" "$work/committed/$file" || true; } \
        | awk '$1 > 12 { bad = 1 } END { exit bad }' || stale "${file#./}" ;;
    *) cmp -s "$work/fresh/$file" "$work/committed/$file" || stale "${file#./}" ;;
  esac
done < "$work/fresh.list"
grep -q 'mainpathlark\.htm' "$work/committed/#SYSTEM" || stale "its default topic is not the main page"

# Help is read when the connection is down: no page may fetch from the network, nor link to a
# page that is not there.
for page in "$help"/*.htm "$help"/*.css; do
  while IFS= read -r ref; do
    target=${ref#*\"}
    target=${target%\"}
    case $ref in
      url\(* | @import*) echo "FAIL: ${page##*/} loads $ref"; exit 1 ;;
    esac
    [[ -n $target && $target != *:* && -e $help/$target ]] || { echo "FAIL: ${page##*/} links to \"$target\""; exit 1; }
  done < <(grep -oE '(href|src)[[:space:]]*=[[:space:]]*"[^"]*"|url\(|@import' "$page" || true)
done
echo "help/Pathlark.chm matches the pages ($(wc -l < "$work/fresh.list") files inside); their links stay inside"
