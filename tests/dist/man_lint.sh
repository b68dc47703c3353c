#!/usr/bin/env bash
# The man pages: mandoc finds nothing to warn about, lexgrog reads their
# NAME line (what whatis and apropos show), and man renders them without a
# warning.
#
#   tests/dist/man_lint.sh SOURCE_DIR
#
# Exit 77 (skipped) without mandoc, lexgrog or man.
set -euo pipefail
src=${1:?usage: man_lint.sh SOURCE_DIR}
for tool in mandoc lexgrog man; do
  command -v "$tool" >/dev/null || { echo "SKIP: $tool missing (apt-get install mandoc man-db)"; exit 77; }
done
failed=0
pages=("$src"/dist/man/*.[1-8])
[ "${#pages[@]}" -ge 5 ] || { echo "FAIL: expected at least 5 man pages, found ${#pages[@]}"; exit 1; }
for page in "${pages[@]}"; do
  name=$(basename "$page")
  lint=$(mandoc -T lint -W warning "$page" 2>&1 || true)
  [ -z "$lint" ] || { echo "FAIL: mandoc on $name:"; echo "$lint"; failed=1; }
  whatis=$(lexgrog "$page" 2>&1) || { echo "FAIL: lexgrog cannot read $name: $whatis"; failed=1; }
  case $whatis in
    *": \"${name%.*} - "*) ;;
    *) echo "FAIL: $name: NAME line not as whatis wants it: $whatis"; failed=1 ;;
  esac
  warnings=$(MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null || true)
  [ -z "$warnings" ] || { echo "FAIL: man on $name:"; echo "$warnings"; failed=1; }
  [ "$failed" = 1 ] || echo "ok: $name"
done
exit "$failed"
