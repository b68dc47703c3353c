# What the ovmilter end-to-end and load scripts share: a scratch copy of
# examples/gateway whose notifications go to the private Postfix instance
# (postfix_instance.sh), ovmilter in the foreground, swaks, bounded waits.
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
src=$(cd "$here/../.." && pwd)
source "$here/postfix_instance.sh"

cleanup() { om_stop || true; pf_stop "$PF_DIR" || true; }

om_begin() {
  build=$(cd "${2:?usage: $1.sh BUILD_DIR}" && pwd)
  pf_available || { echo "SKIP: cannot run a private Postfix here"; exit 77; }
  work=$(mktemp -d "${TMPDIR:-/tmp}/ovmilter-$1.XXXXXX")
  chmod 755 "$work"   # the postfix user and the delivery user pass through it
  PF_DIR=$work/postfix
  trap cleanup EXIT
  root=$work/root
  quarantine=$root/Plug-Ins/OV/Quarantine
  milter_port=$(om_pick_port $((20000 + RANDOM % 20000)))
  smtp_port=$(om_pick_port $((milter_port + 1)))
  cp -r "$src/examples/gateway" "$root"
  sed -i -e 's/^Admin=.*/Admin=admin@example.net/' -e 's/^User=.*/User=security@example.net/' \
         -e 's/^NotificationSender=.*/NotificationSender=postmaster@ovtest.example/' \
         "$root/Plug-Ins/OV/contscan.ini"
}

om_pick_port() { local port=$1; while pf__port_open "$port"; do port=$((port + 1)); done; echo "$port"; }

om_write_ini() {
  local ini=$1 setting
  printf '%s\n' "[milter]" "Socket=$2" "Root=$root" "Spool=$work/spool" "LocalDomains=ovtest.example" \
    "OnBlock=discard" "Workers=$3" "SendmailCommand=$(PATH=$PATH:/usr/sbin command -v sendmail) -C $PF_DIR/etc -oi" \
    "VerdictHeader=yes" >"$ini"
  shift 3
  for setting in "$@"; do   # a key given again replaces its line
    grep -q "^${setting%%=*}=" "$ini" && sed -i "s|^${setting%%=*}=.*|$setting|" "$ini" || echo "$setting" >>"$ini"
  done
}

om_listening() {  # SOCKET, or ovmilter ended: stop waiting
  local port=${1#inet:}
  kill -0 "$OM_PID" 2>/dev/null || return 0
  case $1 in inet:*) pf__port_open "${port%@*}" ;; *) [ -S "${1#unix:}" ] ;; esac
}

om_start() {
  local socket
  socket=$(sed -n 's/^Socket=//p' "$1")
  "$build/ovmilter" -c "$1" -f >"$2" 2>&1 &
  OM_PID=$! OM_LOG=$2
  pf_wait_until 10 om_listening "$socket" && kill -0 "$OM_PID" 2>/dev/null && return 0
  { cat "$2"; echo "ovmilter did not start listening on $socket"; } >&2; return 1
}

om_bring_up() {
  local milter=$1
  om_write_ini "$work/ovmilter.ini" "$@"
  om_start "$work/ovmilter.ini" "$work/ovmilter.log" || om_fail "ovmilter did not start"
  case $1 in inet:*) milter=${1%@*}; milter=inet:127.0.0.1:${milter#inet:} ;; esac
  pf_setup "$PF_DIR" "$smtp_port" "$milter"
  pf_start "$PF_DIR" || om_fail "postfix did not start"
}

om_stop() {
  [ -n "${OM_PID:-}" ] || return 0
  kill -TERM "$OM_PID" 2>/dev/null || true
  local status=0
  pf_wait_until 20 eval "! kill -0 $OM_PID 2>/dev/null" || { kill -KILL "$OM_PID"; echo "ovmilter did not stop within 20 s" >&2; status=1; }
  wait "$OM_PID" 2>/dev/null || status=$?
  OM_PID=
  return "$status"
}

om__seen() { [ "$(grep -c -- "$2" "$3" 2>/dev/null || true)" -ge "$1" ]; }
om_wait_for() { pf_wait_until "$4" om__seen "$1" "$2" "$3"; }

om_send() {
  swaks --silent 2 --server "127.0.0.1:${3:-$smtp_port}" --from sender@partner.example --to "$2" \
        --data "@$1" >"$work/swaks.log" 2>&1 || { cat "$work/swaks.log" >&2; om_fail "swaks could not send $1"; }
}
om_settle() { pf_wait_idle "$PF_DIR" 30 || om_fail "postfix queue not empty after 30 s"; }
om_expect_count() {
  [ "$(pf_count "$PF_DIR" "$1")" -eq "$2" ] || om_fail "mailbox $1 holds $(pf_count "$PF_DIR" "$1") mails, expected $2"
}
om_spool_empty() {
  [ -z "$(ls "$work/spool" | grep -E "^(AF|DF)")" ] || om_fail "spool not empty: $(ls "$work/spool")"
}

om_fail() {
  echo "FAIL: $*" >&2
  [ -f "${OM_LOG:-}" ] && { echo "---- ovmilter log" >&2; tail -n 40 "$OM_LOG" >&2; }
  [ -n "${PF_DIR:-}" ] && { echo "---- postfix log" >&2; tail -n 40 "$PF_DIR/maillog" >&2; }
  exit 1
}
