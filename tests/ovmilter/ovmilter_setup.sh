# What the ovmilter end-to-end and load tests share: a scratch plug-in
# installation made from examples/gateway with notification addresses that
# the private Postfix instance delivers, an ovmilter started in the
# foreground on a free port, and bounded waits. Source it after
# postfix_instance.sh; it does nothing when sourced.
#
#   om_pick_port 30000            -> prints a port nothing listens on
#   om_make_root SRC DIR          -> DIR/Plug-Ins/OV/... (admin@example.net warned)
#   om_write_ini INI SOCKET ROOT SPOOL WORKERS SENDMAIL [KEY=VALUE...]
#   om_start BUILD INI LOG        -> starts ovmilter -f, sets OM_PID, waits for it to listen
#   om_stop                       -> SIGTERM, waits (bounded) for a clean exit
#   om_wait_for COUNT PATTERN FILE SECONDS  -> waits until PATTERN occurs COUNT times
#   om_fail MESSAGE               -> prints the logs and exits 1

om_pick_port() {
  local port=$1
  while (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; do
    port=$((port + 1))
  done
  echo "$port"
}

om_port_open() {
  (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null
}

om_make_root() {
  local src=$1 root=$2
  mkdir -p "$root"
  cp -r "$src/examples/gateway/." "$root/"
  local ini="$root/Plug-Ins/OV/contscan.ini"
  # Notifications go to mailboxes of the private instance.
  sed -i -e 's/^Admin=.*/Admin=admin@example.net/' \
         -e 's/^User=.*/User=security@example.net/' \
         -e 's/^NotificationSender=.*/NotificationSender=postmaster@ovtest.example/' "$ini"
}

om_write_ini() {
  local ini=$1 socket=$2 root=$3 spool=$4 workers=$5 sendmail=$6
  shift 6
  cat >"$ini" <<INI
[milter]
Socket=$socket
Root=$root
Spool=$spool
LocalDomains=ovtest.example
OnBlock=discard
Workers=$workers
SendmailCommand=$sendmail
VerdictHeader=yes
INI
  local setting
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
  case $socket in
    inet:*) socket=${socket#inet:}; om_port_open "${socket%@*}" ;;
    unix:*) [ -S "${socket#unix:}" ] ;;
    *) return 1 ;;
  esac
}

om_start() {
  local build=$1 ini=$2 log=$3 socket
  socket=$(sed -n 's/^Socket=//p' "$ini")
  "$build/ovmilter" -c "$ini" -f >"$log" 2>&1 &
  OM_PID=$!
  OM_LOG=$log
  local i
  for i in $(seq 1 100); do
    om_listening "$socket" && return 0
    kill -0 "$OM_PID" 2>/dev/null || break
    sleep 0.1
  done
  cat "$log" >&2
  echo "ovmilter did not start listening on $socket" >&2
  return 1
}

om_stop() {
  [ -n "${OM_PID:-}" ] || return 0
  kill -TERM "$OM_PID" 2>/dev/null || true
  local i status=0
  for i in $(seq 1 200); do
    kill -0 "$OM_PID" 2>/dev/null || break
    sleep 0.1
  done
  if kill -0 "$OM_PID" 2>/dev/null; then
    kill -KILL "$OM_PID" 2>/dev/null || true
    echo "ovmilter did not stop within 20 s" >&2
    status=1
  fi
  wait "$OM_PID" 2>/dev/null || status=$?
  OM_PID=
  return "$status"
}

om_wait_for() {
  local count=$1 pattern=$2 file=$3 seconds=$4 i
  for i in $(seq 1 $((seconds * 10))); do
    [ "$(grep -c -- "$pattern" "$file" 2>/dev/null || true)" -ge "$count" ] && return 0
    sleep 0.1
  done
  return 1
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
