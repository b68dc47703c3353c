#!/usr/bin/env bash
# The Debian package as cpack builds it: its files (tests/dist/package_files.txt,
# directories left out, the multiarch folder written MULTIARCH), owned by
# root; every file under /etc a configuration file; the dependencies;
# executable maintainer scripts; lintian without errors or warnings (when
# installed). The installed programs find the installed plug-in.
#
#   tests/dist/package_test.sh BUILD_DIR SOURCE_DIR
#
# Exit 77 (skipped) without dpkg-deb, or where ovmilter was not built.
set -euo pipefail
build=$(cd "${1:?usage: package_test.sh BUILD_DIR SOURCE_DIR}" && pwd)
src=$(cd "${2:?usage: package_test.sh BUILD_DIR SOURCE_DIR}" && pwd)
command -v dpkg-deb >/dev/null || { echo "SKIP: dpkg-deb missing"; exit 77; }
[ -x "$build/ovmilter" ] || { echo "SKIP: ovmilter not built (libmilter-dev missing)"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

cpack --config "$build/CPackConfig.cmake" -B "$work" -G DEB >"$work/cpack.log" 2>&1 \
  || { cat "$work/cpack.log"; fail "cpack failed"; }
deb=$(ls "$work"/ov_*.deb)

# Files and links, without directories, in a stable form.
dpkg-deb -c "$deb" | awk '$1 !~ /^d/ { sub(/^\./, "", $6); $1=$2=$3=$4=$5=""; print }' \
  | sed -e 's/^ *//' -e 's|^/usr/lib/[a-z0-9_]*-linux-[a-z0-9]*/|/usr/lib/MULTIARCH/|' | sort >"$work/files"
sort "$src/tests/dist/package_files.txt" >"$work/expected"
diff -u "$work/expected" "$work/files" || fail "the package's files differ from tests/dist/package_files.txt"
echo "ok: file list"
owners=$(dpkg-deb -c "$deb" | awk '{print $2}' | sort -u)
[ "$owners" = root/root ] || fail "files not owned by root: $owners"

dpkg-deb -e "$deb" "$work/control"
grep '^/etc/' "$work/files" | sort >"$work/etc-files"
sort "$work/control/conffiles" | diff -u "$work/etc-files" - || fail "conffiles are not exactly the files under /etc"
for script in postinst prerm postrm; do
  [ -x "$work/control/$script" ] || fail "$script missing or not executable"
  head -n 1 "$work/control/$script" | grep -qx '#!/bin/sh' || fail "$script is no /bin/sh script"
  grep -qx 'set -e' "$work/control/$script" || fail "$script lacks set -e"
  sh -n "$work/control/$script" || fail "$script does not parse"
done
grep -q 'adduser --quiet --system --group' "$work/control/postinst" || fail "postinst creates no system user"
depends=$(dpkg-deb -f "$deb" Depends)
dpkg-deb -x "$deb" "$work/root"
needed_packages="adduser libstdc++6 libc6"
# ovmilter takes libmilter statically when the static library is there (its
# socket calls are wrapped); linked to the shared one, the package needs it.
if objdump -p "$work/root/usr/sbin/ovmilter" | grep -q 'NEEDED.*libmilter'; then
  needed_packages="$needed_packages libmilter1.0.1"
fi
for needed in $needed_packages; do
  case ", $depends," in *", $needed"[\ ,]*) ;; *) fail "Depends lacks $needed: $depends" ;; esac
done
echo "ok: conffiles, maintainer scripts, Depends: $depends"

# Unpacked, ovctl and ovmilter find the plug-in in the package's folder.
cp -r "$src/examples/gateway" "$work/gateway"
"$work/root/usr/bin/ovctl" scan --root "$work/gateway" "$src/examples/mail/01-plain.eml" >"$work/scan.log" 2>&1 \
  || { cat "$work/scan.log"; fail "the unpacked ovctl cannot scan"; }
echo "ok: the unpacked ovctl loads its plug-in"

if command -v lintian >/dev/null; then
  lintian --fail-on error,warning "$deb" >"$work/lintian.log" 2>&1 || { cat "$work/lintian.log"; fail "lintian"; }
  echo "ok: lintian reports no error or warning"
else
  echo "lintian not installed: not run"
fi
