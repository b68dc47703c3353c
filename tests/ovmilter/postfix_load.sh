#!/usr/bin/env bash
# Load: 1000 mails through Postfix and ovmilter (4 workers) from parallel
# smtp-source sessions, with a SIGHUP reload every 100 mails; every mail is
# accounted for. Prints mails per second against Postfix alone.
#   tests/ovmilter/postfix_load.sh BUILD_DIR [MAILS [unix|inet]]   (exit 77: no Postfix)
set -euo pipefail
source "$(dirname "$0")/ovmilter_setup.sh"
om_begin postfix_load "${1:-}"
total=${2:-1000}
transport=${3:-unix}
hup_loop=
cleanup() { [ -n "$hup_loop" ] && kill "$hup_loop" 2>/dev/null; om_stop || true; pf_stop "$PF_DIR" || true; }
# A unix socket by default: over TCP delayed acknowledgements dominate.
milter_socket=unix:$work/ovmilter.sock
[ "$transport" != inet ] || milter_socket=inet:$milter_port@127.0.0.1
om_bring_up "$milter_socket" 4 SocketMode=0666

# The mix: 70% clean, 20% quarantined by the vendor rule, 10% with an .exe.
clean=$((total * 7 / 10)); held=$((total * 2 / 10)); exe=$((total - clean - held))
log=$work/ovmilter.log

send_mix() {  # LABEL: the three kinds of mail at once, 2 sessions each
  local kind pids=()
  for kind in "01-plain $clean alice" "13-lottery $held bob" "02-invoice-exe $exe carol"; do
    set -- "$1" $kind
    smtp-source -s 2 -m "$3" -f sender@partner.example -t "$4@example.net" -F "$src/examples/mail/$2.eml" \
      "127.0.0.1:$smtp_port" >"$work/source-$1-$4.log" 2>&1 & pids+=($!)
  done
  for kind in "${pids[@]}"; do wait "$kind" || om_fail "smtp-source failed: $(cat "$work"/source-*.log)"; done
  pf_wait_idle "$PF_DIR" 300 || om_fail "postfix queue not empty after 300 s"
}

# SIGHUP at every 100th verdict, while the mails flow.
(
  next=100
  while [ "$next" -lt "$total" ]; do
    [ "$(grep -c 'verdict=' "$log" || true)" -lt "$next" ] || { kill -HUP "$OM_PID"; next=$((next + 100)); }
    sleep 0.05
  done
) &
hup_loop=$!

started=$(date +%s.%N)
send_mix milter
finished=$(date +%s.%N)
kill "$hup_loop" 2>/dev/null || true
wait "$hup_loop" 2>/dev/null || true
hup_loop=

delivered=$(pf_count "$PF_DIR" alice)
replaced=$(pf_count "$PF_DIR" other)
quarantined=$(find "$root/Plug-Ins/OV/Quarantine/Anti-Spam/Vendor lottery" -type f ! -name '*.json' 2>/dev/null | wc -l)
with_text=$(pf_mailbox_files "$PF_DIR" other | xargs -r grep -l 'removed by the content filter' | wc -l)
reloads=$(grep -c 'settings reloaded' "$log" || true)
tempfails=$(grep -c 'tempfail' "$log" || true)
notified=$(pf_count "$PF_DIR" admin)
printf 'load: delivered %d/%d, quarantined %d/%d, replaced %d/%d (%d with the text), %d admin notices, %d reloads, %d tempfails\n' \
  "$delivered" "$clean" "$quarantined" "$held" "$replaced" "$exe" "$with_text" "$notified" "$reloads" "$tempfails"
[ "$delivered" -eq "$clean" ] || om_fail "clean mails delivered: $delivered of $clean"
[ "$quarantined" -eq "$held" ] || om_fail "mails quarantined: $quarantined of $held"
[ "$replaced" -eq "$exe" ] && [ "$with_text" -eq "$exe" ] || om_fail "mails replaced: $replaced ($with_text with text) of $exe"
[ "$tempfails" -eq 0 ] || om_fail "$tempfails mails got a tempfail"
[ "$reloads" -ge $(((total - 1) / 100)) ] || om_fail "only $reloads reloads"
om_stop || om_fail "ovmilter did not stop cleanly"
om_spool_empty

# Baseline: the same mails through the same Postfix without the milter.
pf_stop "$PF_DIR" && pf_setup "$PF_DIR" "$smtp_port" "" && pf_start "$PF_DIR" || om_fail "cannot restart postfix without the milter"
base_started=$(date +%s.%N)
send_mix baseline
base_finished=$(date +%s.%N)
[ "$(pf_count "$PF_DIR" alice)" -eq $((2 * clean)) ] || om_fail "baseline run lost mail"
awk -v n="$total" -v a="$started" -v b="$finished" -v c="$base_started" -v d="$base_finished" -v t="$transport" 'BEGIN {
  printf "load: %d mails in %.1f s = %.0f mails/s through Postfix + ovmilter (4 workers, %s socket)\n", n, b - a, n / (b - a), t
  printf "load: baseline Postfix alone %.1f s = %.0f mails/s; with ovmilter it takes %.1fx as long\n", d - c, n / (d - c), (b - a) / (d - c) }'
pf_stop "$PF_DIR"
[ -n "${OV_KEEP_WORK:-}" ] && echo "kept $work" || rm -rf "$work"
echo "postfix load: all $total mails accounted for"
