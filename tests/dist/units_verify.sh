#!/usr/bin/env bash
# The systemd units as built, checked by systemd-analyze verify with their
# programs pointed at the build and their man pages at the sources: it must
# report nothing. Also checks what
# the service promises: it runs as ovmilter, hardened, with a reload.
#
#   tests/dist/units_verify.sh BUILD_DIR SOURCE_DIR
#
# Exit 77 (skipped) without systemd-analyze.
set -euo pipefail
build=$(cd "${1:?usage: units_verify.sh BUILD_DIR SOURCE_DIR}" && pwd)
src=$(cd "${2:?usage: units_verify.sh BUILD_DIR SOURCE_DIR}" && pwd)
command -v systemd-analyze >/dev/null || { echo "SKIP: systemd-analyze missing (apt-get install systemd)"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$build/dist/ovmilter.service" "$build/dist/ov-retention.service" "$src/dist/systemd/ov-retention.timer" "$work/"
sed -i -e "s|^\(Exec[A-Za-z]*=\)[^ ]*/ovmilter |\1$build/ovmilter |" \
       -e "s|^\(ExecStart=\)[^ ]*/ovctl |\1$build/ovctl |" "$work"/*.service
# The pages named by Documentation= must be ours, found before anything installed.
for page in "$src"/dist/man/*.[1-8]; do
  mkdir -p "$work/man/man${page##*.}"
  cp "$page" "$work/man/man${page##*.}/"
done
out=$(MANPATH=$work/man systemd-analyze verify "$work"/ovmilter.service "$work"/ov-retention.service "$work"/ov-retention.timer 2>&1) \
  || { echo "FAIL: systemd-analyze verify:"; echo "$out"; exit 1; }
[ -z "$out" ] || { echo "FAIL: systemd-analyze verify reported:"; echo "$out"; exit 1; }
echo "ok: systemd-analyze verify reports nothing"

service=$work/ovmilter.service
failed=0
for line in "User=ovmilter" "Group=ovmilter" "NoNewPrivileges=yes" "ProtectSystem=strict" "PrivateTmp=yes" \
            "Type=forking" "PIDFile=/run/ovmilter/ovmilter.pid" "RuntimeDirectory=ovmilter" \
            "ExecReload=/bin/kill -HUP \$MAINPID" "Also=ov-retention.timer"; do
  grep -qxF "$line" "$service" || { echo "FAIL: ovmilter.service lacks $line"; failed=1; }
done
# The pid file the unit waits for is the one the packaged settings write.
grep -qxF "PidFile=/run/ovmilter/ovmilter.pid" "$src/examples/ovmilter.ini" \
  || { echo "FAIL: examples/ovmilter.ini writes another pid file than the unit reads"; failed=1; }
for path in $(sed -n 's/^ReadWritePaths=//p' "$service"); do
  case $path in
    /var/lib/ov|/var/spool/ovmilter|-/var/spool/postfix/maildrop) ;;
    *) echo "FAIL: unexpected writable path $path"; failed=1 ;;
  esac
done
retention=$work/ov-retention.service
[ "$(grep -c '^ExecStart=.*ovctl ' "$retention")" = 2 ] || { echo "FAIL: the retention runs not both ovctl commands"; failed=1; }
grep -q '^ExecStart=.*ovctl logs prune --root ${OV_ROOT} --keep-days ${KEEP_DAYS}$' "$retention" \
  || { echo "FAIL: no logs prune in the retention"; failed=1; }
[ "$failed" = 1 ] || echo "ok: the service runs as ovmilter, hardened, reloads with SIGHUP"
exit "$failed"
