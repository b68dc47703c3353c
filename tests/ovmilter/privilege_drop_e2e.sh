#!/usr/bin/env bash
# ovmilter started as root with User=nobody: once it takes mail it runs with
# nobody's ids only (no root group left, root out of reach), writes its
# spool (a mail passes through a private Postfix instance and arrives
# judged), reloads on SIGHUP and writes the event log as nobody.
#
#   tests/ovmilter/privilege_drop_e2e.sh BUILD_DIR
#
# Exit 77 (skipped) when Postfix, swaks or root rights are missing.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
src=$(cd "$here/../.." && pwd)
build=$(cd "${1:?usage: privilege_drop_e2e.sh BUILD_DIR}" && pwd)
source "$here/postfix_instance.sh"
source "$here/ovmilter_setup.sh"
pf_available || { echo "SKIP: cannot run a private Postfix here"; exit 77; }
getent passwd nobody >/dev/null || { echo "SKIP: no user nobody"; exit 77; }

work=$(mktemp -d /tmp/ovmilter-drop.XXXXXX)
chmod 755 "$work"
PF_DIR=$work/postfix
cleanup() { om_stop || true; pf_stop "$PF_DIR" || true; rm -rf "$work"; }
trap cleanup EXIT

milter_port=$(om_pick_port $((20000 + RANDOM % 20000)))
smtp_port=$(om_pick_port $((milter_port + 1)))
root=$work/root
om_make_root "$src" "$root"
# As the package has it: the settings stay root's, the program directory
# (event logs, quarantine, temporary files) is the user's.
chown -R nobody: "$root/Plug-Ins/OV"
om_write_ini "$work/ovmilter.ini" "inet:$milter_port@127.0.0.1" "$root" "$work/spool" 2 \
  "$(pf_sendmail_command "$PF_DIR")" "User=nobody" "PidFile=$work/ovmilter.pid"
om_start "$build" "$work/ovmilter.ini" "$work/ovmilter.log" || om_fail "ovmilter did not start"
pf_setup "$PF_DIR" "$smtp_port" "inet:127.0.0.1:$milter_port"
pf_start "$PF_DIR" || om_fail "postfix did not start"

# 1. The ids: real, effective, saved and file-system ids all nobody's.
nobody_uid=$(id -u nobody)
nobody_gid=$(id -g nobody)
status=/proc/$OM_PID/status
grep -q "^Uid:[[:space:]]*$nobody_uid[[:space:]]*$nobody_uid[[:space:]]*$nobody_uid[[:space:]]*$nobody_uid$" "$status" \
  || om_fail "uids are not nobody's: $(grep ^Uid: "$status")"
grep -q "^Gid:[[:space:]]*$nobody_gid[[:space:]]*$nobody_gid[[:space:]]*$nobody_gid[[:space:]]*$nobody_gid$" "$status" \
  || om_fail "gids are not nobody's: $(grep ^Gid: "$status")"
grep -qE '^Groups:.*(^|[[:space:]])0([[:space:]]|$)' "$status" && om_fail "root's group is still there"
[ "$(stat -c %U "$work/spool")" = nobody ] || om_fail "the spool was not handed to nobody"
[ "$(stat -c %u "$work/ovmilter.pid")" = 0 ] || om_fail "the pid file was not written as root"
echo "ok: runs as nobody only"

# 2. A mail passes: the spool and the plug-in's files are written as nobody.
swaks --silent 2 --server "127.0.0.1:$smtp_port" --from sender@partner.example --to alice@example.net \
  --data "@$src/examples/mail/01-plain.eml" >"$work/swaks.log" 2>&1 || om_fail "swaks could not send"
pf_wait_idle "$PF_DIR" 30 || om_fail "postfix queue not empty after 30 s"
[ "$(pf_count "$PF_DIR" alice)" -eq 1 ] || om_fail "the mail did not arrive"
grep -q '^X-Content-Verdict: pass' "$(pf_mailbox_files "$PF_DIR" alice | head -n 1)" || om_fail "no verdict header"
for log in "$root/Plug-Ins/OV"/pwall.log.*; do
  [ "$(stat -c %U "$log")" = nobody ] || om_fail "$log is not nobody's"
done
echo "ok: a mail was judged and delivered"

# 3. SIGHUP reloads the settings as nobody, and it keeps taking mail.
kill -HUP "$OM_PID"
om_wait_for 1 "settings reloaded" "$work/ovmilter.log" 10 || om_fail "no reload logged"
kill -0 "$OM_PID" || om_fail "ovmilter ended on SIGHUP"
echo "ok: reloaded"
om_stop || om_fail "ovmilter did not stop cleanly"
echo "ok: stopped"
