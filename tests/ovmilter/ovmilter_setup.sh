# What the ovmilter end-to-end and load scripts share, on top of
# postfix_instance.sh (sourced here): a scratch plug-in installation made
# from examples/gateway whose notifications go to the private instance, an
# ovmilter in the foreground, mail sent with swaks, bounded waits. Sourcing
# it defines functions and sets here and src.
#
#   om_begin NAME BUILD           -> skips (77) without Postfix; sets build, work, PF_DIR,
#                                    root, quarantine, milter_port, smtp_port; EXIT trap: cleanup
#   om_bring_up SOCKET WORKERS [KEY=VALUE...] -> ovmilter on SOCKET, then Postfix using it
#   om_pick_port 30000            -> prints a port nothing listens on
#   om_write_ini INI SOCKET WORKERS [KEY=VALUE...]   (Root, Spool, sendmail of $work)
#   om_start INI LOG              -> starts ovmilter -f, sets OM_PID, waits for it to listen
#   om_stop                       -> SIGTERM, waits (bounded) for a clean exit
#   om_wait_for COUNT PATTERN FILE SECONDS  -> waits until PATTERN occurs COUNT times
#   om_send FILE RCPT [PORT]; om_settle; om_expect_count USER N; om_spool_empty
#   om_fail MESSAGE               -> prints the logs and exits 1
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
src=$(cd "$here/../.." && pwd)
source "$here/postfix_instance.sh"

cleanup() { om_stop || true; pf_stop "$PF_DIR" || true; }

om_begin() {
  build=$(cd "${2:?usage: $1.sh BUILD_DIR}" && pwd)
  pf_available || { echo "SKIP: cannot run a private Postfix here"; exit 77; }
  work=$(mktemp -d "/tmp/ovmilter-$1.XXXXXX")
  chmod 755 "$work"   # the postfix user and the delivery user pass through it
  PF_DIR=$work/postfix
  trap cleanup EXIT
  root=$work/root
  quarantine=$root/Plug-Ins/OV/Quarantine
  milter_port=$(om_pick_port $((20000 + RANDOM % 20000)))
  smtp_port=$(om_pick_port $((milter_port + 1)))
  mkdir -p "$root"
  cp -r "$src/examples/gateway/." "$root/"
  # Notifications go to mailboxes of the private instance.
  sed -i -e 's/^Admin=.*/Admin=admin@example.net/' -e 's/^User=.*/User=security@example.net/' \
         -e 's/^NotificationSender=.*/NotificationSender=postmaster@ovtest.example/' \
         "$root/Plug-Ins/OV/contscan.ini"
}

om_port_open() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

om_pick_port() {
  local port=$1
  while om_port_open "$port"; do port=$((port + 1)); done
  echo "$port"
}

om_write_ini() {
  local ini=$1 setting
  printf '%s\n' "[milter]" "Socket=$2" "Root=$root" "Spool=$work/spool" "LocalDomains=ovtest.example" \
    "OnBlock=discard" "Workers=$3" "SendmailCommand=$(pf_sendmail_command "$PF_DIR")" \
    "VerdictHeader=yes" >"$ini"
  shift 3
  for setting in "$@"; do
    if grep -q "^${setting%%=*}=" "$ini"; then
      sed -i "s|^${setting%%=*}=.*|$setting|" "$ini"
    else
      echo "$setting" >>"$ini"
    fi
  done
}

# Listening: the port of an inet socket answers, or the file of a unix one exists.
om_listening() {
  local socket=$1
  kill -0 "$OM_PID" 2>/dev/null || return 0   # ended: stop waiting
  case $socket in
    inet:*) socket=${socket#inet:}; om_port_open "${socket%@*}" ;;
    unix:*) [ -S "${socket#unix:}" ] ;;
  esac
}

om_start() {
  local socket
  socket=$(sed -n 's/^Socket=//p' "$1")
  "$build/ovmilter" -c "$1" -f >"$2" 2>&1 &
  OM_PID=$! OM_LOG=$2
  pf_wait_until 10 om_listening "$socket" && kill -0 "$OM_PID" 2>/dev/null && return 0
  cat "$2" >&2
  echo "ovmilter did not start listening on $socket" >&2
  return 1
}

om_bring_up() {
  local milter=$1
  om_write_ini "$work/ovmilter.ini" "$@"
  om_start "$work/ovmilter.ini" "$work/ovmilter.log" || om_fail "ovmilter did not start"
  case $1 in inet:*) milter=${1%@*}; milter=inet:127.0.0.1:${milter#inet:} ;; esac
  pf_setup "$PF_DIR" "$smtp_port" "$milter"
  pf_start "$PF_DIR" || om_fail "postfix did not start"
}

om_ended() { ! kill -0 "$OM_PID" 2>/dev/null; }

om_stop() {
  [ -n "${OM_PID:-}" ] || return 0
  kill -TERM "$OM_PID" 2>/dev/null || true
  local status=0
  if ! pf_wait_until 20 om_ended; then
    kill -KILL "$OM_PID" 2>/dev/null || true
    echo "ovmilter did not stop within 20 s" >&2
    status=1
  fi
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
  if [ -n "${OM_LOG:-}" ] && [ -f "$OM_LOG" ]; then
    echo "---- ovmilter log (last 40 lines)" >&2
    tail -n 40 "$OM_LOG" >&2
  fi
  if [ -n "${PF_DIR:-}" ]; then
    echo "---- postfix log (last 40 lines)" >&2
    tail -n 40 "$PF_DIR/maillog" >&2 || true
  fi
  exit 1
}
