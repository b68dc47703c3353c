#!/usr/bin/env bash
# End-to-end: a private Postfix hands mail to ovmilter running the plug-in on
# the example installation; the mailboxes, quarantine and logs are checked.
#   tests/ovmilter/postfix_e2e.sh BUILD_DIR   (exit 77: no Postfix, swaks or root)
set -euo pipefail
source "$(dirname "$0")/ovmilter_setup.sh"
om_begin postfix_e2e "${1:-}"

om_bring_up "inet:$milter_port@127.0.0.1" 2
mailbox() { pf_mailbox_files "$PF_DIR" "$1" | head -n 1; }

# 1. A clean mail is delivered unchanged, with the verdict header in place of
#    the one its sender forged.
sed '0,/^Subject:/s//X-Content-Verdict: forged\nSubject:/' "$src/examples/mail/01-plain.eml" >"$work/forged.eml"
om_send "$work/forged.eml" alice@example.net
om_settle
om_expect_count alice 1
grep -q '^X-Content-Verdict: pass' "$(mailbox alice)" || om_fail "no pass verdict header"
grep -q 'forged' "$(mailbox alice)" && om_fail "the forged verdict header was kept"
body() { sed '1,/^\r\{0,1\}$/d' "$1" | tr -d '\r'; }
[ "$(body "$src/examples/mail/01-plain.eml")" = "$(body "$(mailbox alice)")" ] || om_fail "the clean mail's body changed"

# 2. A mail that a rule quarantines is not delivered; its copy is in the quarantine.
om_send "$src/examples/mail/13-lottery.eml" bob@example.net
om_settle
om_expect_count bob 0
ls "$quarantine/Anti-Spam/Vendor lottery/"* >/dev/null 2>&1 || om_fail "no quarantined copy under Vendor lottery"
grep -q 'verdict=quarantined.*reply=discard' "$work/ovmilter.log" || om_fail "no discard logged"

# 3. A mail with an .exe attachment arrives with the attachment replaced by the text,
# 4. and the administrator's notification reaches the administrator's mailbox.
om_send "$src/examples/mail/02-invoice-exe.eml" carol@example.net
om_settle
om_expect_count other 1
replaced=$(mailbox other)
grep -q '^X-Content-Verdict: replaced' "$replaced" || om_fail "no replaced verdict header"
grep -q 'An attachment of this mail was removed by the content filter.' "$replaced" || om_fail "replacement text missing"
grep -q '\[Filename: invoice.exe' "$replaced" || om_fail "replacement does not name invoice.exe"
grep -qi 'filename="\{0,1\}invoice.exe' "$replaced" && om_fail "the .exe part is still in the mail"
om_expect_count admin 1
grep -q 'invoice.exe' "$(mailbox admin)" || om_fail "admin notification does not name the attachment"

# 5. SIGHUP reloads the settings: a rule added now acts on the next mail,
#    and the daemon keeps running.
printf '%s\n' 'Reload check\A\SUBJ=IS"*reload marker*"\QUAR' >>"$root/Plug-Ins/OV/spamrule/spamrule.txt"
printf '1' >>"$root/Plug-Ins/OV/spamrule/spamruleEnable.txt"
kill -HUP "$OM_PID"
om_wait_for 1 'settings reloaded' "$work/ovmilter.log" 20 || om_fail "no reload after SIGHUP"
kill -0 "$OM_PID" || om_fail "ovmilter ended on SIGHUP"
sed 's/^Subject: .*/Subject: reload marker/' "$src/examples/mail/01-plain.eml" >"$work/marker.eml"
om_send "$work/marker.eml" alice@example.net
om_settle
om_expect_count alice 1
ls "$quarantine/Anti-Spam/Reload check/"* >/dev/null 2>&1 || om_fail "the reloaded rule did not act"

# 6. SIGTERM while a message is on its way: the message is still judged and
#    delivered, then the daemon ends cleanly and leaves the spool empty.
smtp_reply() {   # the last line of the server's reply on fd 5
  local line
  while IFS= read -r -t 20 line <&5; do
    case $line in [0-9][0-9][0-9]-*) ;; *) echo "${line%$'\r'}"; return 0 ;; esac
  done
  return 1
}
exec 5<>"/dev/tcp/127.0.0.1/$smtp_port"
smtp_reply >/dev/null
for command in "EHLO client.partner.example" "MAIL FROM:<sender@partner.example>" \
               "RCPT TO:<alice@example.net>" "DATA"; do
  printf '%s\r\n' "$command" >&5
  smtp_reply >/dev/null || om_fail "no reply to $command"
done
printf 'From: sender@partner.example\r\nSubject: sent while stopping\r\n\r\nfirst line\r\n' >&5
kill -TERM "$OM_PID"
om_wait_for 1 'stopping' "$work/ovmilter.log" 10 || om_fail "no stop after SIGTERM"
printf 'last line\r\n.\r\n' >&5
reply=$(smtp_reply) || om_fail "no reply to the end of the message"
printf 'QUIT\r\n' >&5
exec 5>&-
case $reply in 250*) ;; *) om_fail "the message sent while stopping got: $reply" ;; esac
om_stop || om_fail "ovmilter did not stop cleanly"
om_settle
om_expect_count alice 2
grep -q 'stopped' "$work/ovmilter.log" || om_fail "no stop line in the log"
om_spool_empty
grep -q 'tempfail' "$work/ovmilter.log" && om_fail "a mail got a tempfail"

# 7. Restarted with OnBlock=reject, a blocked mail is refused with the 5xx text.
om_write_ini "$work/ovmilter.ini" "inet:$milter_port@127.0.0.1" 2 OnBlock=reject "RejectText=Refused by the content filter, 100% sure"
om_start "$work/ovmilter.ini" "$work/ovmilter2.log" || om_fail "ovmilter did not start again"
swaks --server "127.0.0.1:$smtp_port" --from sender@partner.example --to bob@example.net \
      --data "@$src/examples/mail/13-lottery.eml" >"$work/swaks.log" 2>&1 && om_fail "the blocked mail was accepted"
grep -q "550 5.7.1 Refused by the content filter, 100% sure" "$work/swaks.log" || om_fail "no 550 reply: $(grep -- '<-' "$work/swaks.log" | tail -n 3)"
om_expect_count bob 0
om_stop || om_fail "ovmilter did not stop cleanly"

# 8. The quarantine directory is a plain file: the sending server (a second
#    instance relaying example.net here) sees 451 4.3.0 and keeps the mail;
#    once the directory is mended its retry is quarantined.
om_write_ini "$work/ovmilter.ini" "inet:$milter_port@127.0.0.1" 2
om_start "$work/ovmilter.ini" "$work/ovmilter3.log" || om_fail "ovmilter did not start a third time"
RELAY_DIR=$work/relay
relay_port=$(om_pick_port $((smtp_port + 1)))
cleanup() { om_stop || true; pf_stop "$RELAY_DIR" || true; pf_stop "$PF_DIR" || true; }
pf_setup "$RELAY_DIR" "$relay_port" "" "virtual_mailbox_domains=" "relay_domains=example.net" \
  "relay_transport=smtp:[127.0.0.1]:$smtp_port" || om_fail "cannot set up the relaying instance"
pf_start "$RELAY_DIR" || om_fail "the relaying postfix did not start"
count_copies() { find "$quarantine/Anti-Spam/Vendor lottery" -type f ! -name '*.json' | wc -l; }
copies_before=$(count_copies)
mv "$quarantine" "$quarantine.saved"
echo "not a directory" >"$quarantine"
om_send "$src/examples/mail/13-lottery.eml" bob@example.net "$relay_port"
pf_wait_until 120 eval '[ "$(pf_queue_count "$RELAY_DIR" deferred)" = 1 ]' ||
  om_fail "the mail is not deferred in the relay's queue: $(tail -n 20 "$RELAY_DIR/maillog")"
postqueue -c "$RELAY_DIR/etc" -p | grep -q '451 4.3.0' || om_fail "no 451 4.3.0 in the relay's queue: $(postqueue -c "$RELAY_DIR/etc" -p)"
grep -q 'faults=copy reply=tempfail' "$work/ovmilter3.log" || om_fail "no tempfail for the copy fault logged"
om_expect_count bob 0
rm -f "$quarantine"
mv "$quarantine.saved" "$quarantine"
pf_wait_idle "$RELAY_DIR" 120 || om_fail "the relay did not pass the mail on after the directory was mended"
om_settle
[ "$(count_copies)" -eq $((copies_before + 1)) ] || om_fail "the retried mail was not quarantined"
grep -l '"recipients": \["bob@example.net"\]' "$quarantine/Anti-Spam/Vendor lottery/"*.json >/dev/null ||
  om_fail "the quarantined copy has no envelope record with its recipient"
om_expect_count bob 0
om_spool_empty
om_stop || om_fail "ovmilter did not stop cleanly"
pf_stop "$RELAY_DIR"

# 9. ovmilter does not start while the quarantine directory cannot be written.
mv "$quarantine" "$quarantine.saved"
echo "not a directory" >"$quarantine"
status=0
timeout 20 "$build/ovmilter" -c "$work/ovmilter.ini" -f >"$work/ovmilter4.log" 2>&1 || status=$?
rm -f "$quarantine"
mv "$quarantine.saved" "$quarantine"
[ "$status" = 1 ] || om_fail "ovmilter started (status $status) with an unwritable quarantine directory"
grep -q "quarantine directory $quarantine (QuarantineDirectory): cannot create it: Not a directory" "$work/ovmilter4.log" ||
  om_fail "no reason given: $(cat "$work/ovmilter4.log")"

# 10. Started as root with an unknown user it refuses to start; with
#     User=nobody (the program directory nobody's, as the package has it) all
#     its ids are nobody's, root's group is gone, and it judges mail and reloads.
chown -R nobody: "$root/Plug-Ins/OV"
om_write_ini "$work/ovmilter.ini" "inet:$milter_port@127.0.0.1" 2 User=no-such-user-ov
timeout 20 "$build/ovmilter" -c "$work/ovmilter.ini" -f >"$work/ovmilter5.log" 2>&1 && om_fail "started as no user"
grep -q 'User no-such-user-ov does not exist' "$work/ovmilter5.log" || om_fail "no reason: $(cat "$work/ovmilter5.log")"
om_write_ini "$work/ovmilter.ini" "inet:$milter_port@127.0.0.1" 2 User=nobody "PidFile=$work/ovmilter.pid" \
  "Spool=$work/spool-nobody"
om_start "$work/ovmilter.ini" "$work/ovmilter5.log" || om_fail "ovmilter did not start as nobody"
status=/proc/$OM_PID/status
grep -qE "^Uid:(\s+$(id -u nobody)){4}$" "$status" && grep -qE "^Gid:(\s+$(id -g nobody)){4}$" "$status" ||
  om_fail "not nobody's ids: $(grep -E '^(Uid|Gid):' "$status")"
grep -qE '^Groups:.*(\s|:)0(\s|$)' "$status" && om_fail "root's group is still there"
[ "$(stat -c %U:%u "$work/spool-nobody" "$work/ovmilter.pid" | tr '\n' ' ')" = "nobody:$(id -u nobody) root:0 " ] ||
  om_fail "the spool is not nobody's or the pid file not root's"
om_send "$src/examples/mail/01-plain.eml" alice@example.net
om_settle
om_expect_count alice 3
kill -HUP "$OM_PID"
om_wait_for 1 'settings reloaded' "$work/ovmilter5.log" 10 || om_fail "no reload as nobody"
om_stop || om_fail "ovmilter did not stop cleanly"

# 11. The spool fills up while the body comes in, a step the MTA does not
#     wait for: the sender still gets 451 4.3.0, at the end of the message.
mkdir "$work/full" && mount -t tmpfs -o size=64k tmpfs "$work/full" || om_fail "cannot mount a small spool"
cleanup() { om_stop || true; pf_stop "$PF_DIR" || true; umount "$work/full" 2>/dev/null || true; }
om_write_ini "$work/ovmilter.ini" "inet:$milter_port@127.0.0.1" 2 "Spool=$work/full"
om_start "$work/ovmilter.ini" "$work/ovmilter6.log" || om_fail "ovmilter did not start on the small spool"
{ sed '/^\r\{0,1\}$/q' "$src/examples/mail/01-plain.eml"; head -c 200000 /dev/zero | tr '\0' x | fold -w 76; } >"$work/big.eml"
swaks --server "127.0.0.1:$smtp_port" --from sender@partner.example --to alice@example.net \
      --data "@$work/big.eml" >"$work/swaks.log" 2>&1 && om_fail "a mail was accepted on a full spool"
grep -q '451 4.3.0' "$work/swaks.log" || om_fail "no 451 reply: $(grep -- '<' "$work/swaks.log" | tail -n 3)"
grep -q 'tempfail: cannot write .*No space left' "$work/ovmilter6.log" || om_fail "no reason logged"
om_stop || om_fail "ovmilter did not stop cleanly"
[ -z "$(ls "$work/full" | grep -E '^(AF|DF)')" ] || om_fail "the small spool is not empty: $(ls "$work/full")"
umount "$work/full"

pf_stop "$PF_DIR"
[ -n "${OV_KEEP_WORK:-}" ] && echo "kept $work" || rm -rf "$work"
echo "postfix e2e: all passed"
