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
source "$(dirname "$0")/ovmilter_setup.sh"
getent passwd nobody >/dev/null || { echo "SKIP: no user nobody"; exit 77; }
om_begin privilege_drop_e2e "${1:-}"
cleanup() { om_stop || true; pf_stop "$PF_DIR" || true; rm -rf "$work"; }
# As the package has it: the settings stay root's, the program directory
# (event logs, quarantine, temporary files) is the user's.
chown -R nobody: "$root/Plug-Ins/OV"
om_bring_up "inet:$milter_port@127.0.0.1" 2 "User=nobody" "PidFile=$work/ovmilter.pid"

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
om_send "$src/examples/mail/01-plain.eml" alice@example.net
om_settle
om_expect_count alice 1
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
