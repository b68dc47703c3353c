# postfix_instance.sh - start and stop a private Postfix instance for the
# ovmilter end-to-end and load tests.
#
# Source it from a bash test script; sourcing has no side effects and the
# functions are safe under `set -u` (they do not rely on `set -e`):
#
#   . tests/ovmilter/postfix_instance.sh
#   pf_available || { echo "SKIP"; exit 77; }
#   dir=$(mktemp -d) port=2525
#   trap 'pf_stop "$dir"' EXIT
#   pf_setup "$dir" "$port" "inet:127.0.0.1:$milter_port"
#   pf_start "$dir"
#   swaks --server 127.0.0.1 --port "$port" --to alice@example.net ...
#   pf_wait_idle "$dir" 30 && [ "$(pf_count "$dir" alice)" = 1 ]
#
# The instance lives entirely under DIR: etc/ (main.cf, master.cf, the
# mailbox map), queue/, data/, mail/ (delivered Maildirs) and the log file
# "maillog". It listens on 127.0.0.1:PORT only, never looks up DNS and
# delivers only the domain example.net: alice, bob and admin get their own
# Maildir under DIR/mail/<user>/, every other example.net address lands in
# DIR/mail/other/. Relaying over SMTP to any other domain is refused at RCPT
# time; mail for other domains submitted locally bounces at once.
# Mail submitted with the pf_sendmail_command line does NOT pass through the
# milter (non_smtpd_milters is empty), so a daemon that sends its own
# notifications that way cannot loop through itself.
#
# Running pf_setup again on an existing DIR rewrites the configuration and
# keeps the queue and the delivered mail. The milter sees the client as "[127.0.0.1]" (no reverse
# lookup) and the MTA name "gw.ovtest.example".
#
# Requirements: root (Postfix insists on root for an alternate config
# directory), the postfix, swaks and smtp-source programs. DIR must be an
# absolute path without blanks whose parents are searchable by the postfix
# user (mktemp -d under /tmp is fine; pf_setup makes DIR itself 0755).
# Only root may submit through the sendmail command line: for any other
# user the set-group-id postdrop accepts DIR/etc only when the system
# /etc/postfix/main.cf lists it in alternate_config_directories.
#
# Tunables (environment, read when the function runs):
#   PF_START_TIMEOUT  seconds pf_start waits for the SMTP port (default 20)
#   PF_STOP_TIMEOUT   seconds pf_stop waits for the master to exit (default 10)

# First line of every main.cf written here.
PF__MARK="Private Postfix instance for the ovmilter tests, written by postfix_instance.sh."

# pf__args COUNT WANTED USAGE: fails with USAGE on stderr when the caller got
# fewer than WANTED arguments (keeps the functions usable under set -u).
pf__args() {
    [ "$1" -ge "$2" ] && return 0
    echo "usage: $3" >&2
    return 1
}

# Prints the current time in microseconds.
pf__now_us() {
    local t=${EPOCHREALTIME//[.,]/}
    printf '%s\n' "$t"
}

# Converts a number of seconds (may have a fraction, e.g. "2.5") to microseconds.
pf__seconds_to_us() {
    local s=$1 int frac
    int=${s%%[.,]*}
    frac=
    [ "$int" != "$s" ] && frac=${s#*[.,]}
    frac=${frac}000000
    frac=${frac:0:6}
    printf '%s\n' "$(( 10#${int:-0} * 1000000 + 10#$frac ))"
}

# Prints DIR made absolute, without a trailing slash.
pf__abs_dir() {
    local d=$1
    case $d in
        /*) ;;
        *) d=$PWD/$d ;;
    esac
    while [ "${#d}" -gt 1 ] && [ "${d%/}" != "$d" ]; do d=${d%/}; done
    printf '%s\n' "$d"
}

# Looks a program up in PATH and in the sbin directories, prints its path.
pf__find_prog() {
    PATH=$PATH:/usr/sbin:/sbin:/usr/bin command -v "$1" 2>/dev/null
}

# True when something listens on 127.0.0.1:PORT (or on all addresses).
pf__port_listening() {
    local port=$1
    if command -v ss >/dev/null 2>&1; then
        ss -Hltn "( sport = :$port )" 2>/dev/null | grep -q .
    else
        (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null
    fi
}

# Prints the pid of the instance's master process when it is running.
pf__master_pid() {
    local dir pidfile pid
    dir=$(pf__abs_dir "$1")
    pidfile=$dir/queue/pid/master.pid
    [ -r "$pidfile" ] || return 1
    read -r pid <"$pidfile" 2>/dev/null || return 1
    pid=${pid//[^0-9]/}
    [ -n "$pid" ] || return 1
    kill -0 "$pid" 2>/dev/null || return 1
    # A recycled pid must belong to a Postfix master to count.
    case $(cat "/proc/$pid/comm" 2>/dev/null) in
        master) printf '%s\n' "$pid" ;;
        *) return 1 ;;
    esac
}

# pf_available: 0 when this machine can run a private instance; otherwise
# prints one reason line on stderr and returns 1 (callers turn it into a skip).
pf_available() {
    local prog
    if [ "$(id -u)" != 0 ]; then
        echo "postfix_instance: needs root to run a private Postfix instance" >&2
        return 1
    fi
    for prog in postfix postconf postqueue sendmail swaks smtp-source; do
        if [ -z "$(pf__find_prog "$prog")" ]; then
            echo "postfix_instance: '$prog' is not installed" >&2
            return 1
        fi
    done
    if [ ! -x "$(postconf -d -h daemon_directory 2>/dev/null)/postlogd" ]; then
        echo "postfix_instance: this Postfix has no postlogd (needs Postfix 3.4 or later)" >&2
        return 1
    fi
    return 0
}

# pf_setup DIR SMTP_PORT MILTER [name=value ...]
# Writes a complete private instance under DIR (created when missing). MILTER
# (e.g. "inet:127.0.0.1:8891") becomes smtpd_milters; empty means no milter.
# Extra name=value arguments are applied to main.cf last, e.g.
# "milter_content_timeout=120s". Returns 1 with a message on bad arguments.
pf_setup() {
    pf__args $# 3 "pf_setup DIR SMTP_PORT MILTER [name=value ...]" || return 1
    local dir port=$2 milter=$3 uid gid
    dir=$(pf__abs_dir "$1")
    shift 3
    case $dir in
        *[[:space:]]*) echo "pf_setup: directory '$dir' contains blanks" >&2; return 1 ;;
    esac
    case $port in
        ''|*[!0-9]*) echo "pf_setup: bad SMTP port '$port'" >&2; return 1 ;;
    esac
    if [ "$port" -lt 1 ] || [ "$port" -gt 65535 ]; then
        echo "pf_setup: bad SMTP port '$port'" >&2
        return 1
    fi
    if pf__master_pid "$dir" >/dev/null; then
        echo "pf_setup: an instance is running in $dir, stop it first" >&2
        return 1
    fi
    uid=$(id -u nobody 2>/dev/null) || uid=65534
    gid=$(getent group nogroup 2>/dev/null | cut -d: -f3)
    [ -n "$gid" ] || gid=$(id -g nobody 2>/dev/null) || gid=65534

    mkdir -p "$dir/etc" "$dir/queue" "$dir/data" "$dir/mail" || return 1
    # Postfix daemons run as the postfix user and deliver as nobody: both
    # must be able to walk into DIR. Postfix also wants the config and queue
    # directories owned by root.
    chmod 0755 "$dir" "$dir/etc" "$dir/queue" "$dir/mail" || return 1
    chown root:root "$dir/etc" "$dir/queue" || return 1
    chown postfix "$dir/data" && chmod 0700 "$dir/data" || return 1
    chown "$uid:$gid" "$dir/mail" || return 1
    if ! setpriv --reuid=postfix --regid=postfix --clear-groups test -x "$dir/queue" 2>/dev/null; then
        echo "pf_setup: the postfix user cannot reach $dir (a parent directory is not searchable)" >&2
        return 1
    fi
    printf '%s\n' "$port" >"$dir/etc/smtp_port" || return 1

    # Maildir destinations (the trailing slash selects Maildir format).
    cat >"$dir/etc/vmailbox" <<EOF || return 1
alice@example.net  alice/
bob@example.net    bob/
admin@example.net  admin/
@example.net       other/
EOF

    pf__write_main_cf "$dir" "$milter" "$uid" "$gid" || return 1
    pf__write_master_cf "$dir" "$port" || return 1
    pf_config "$dir" "$@"
}

# pf_config DIR [name=value ...]: changes main.cf parameters of the instance
# (e.g. "smtpd_milters=inet:127.0.0.1:8891") and checks the result; a running
# instance picks them up after "postfix -c DIR/etc reload".
pf_config() {
    local dir
    pf__args $# 1 "pf_config DIR [name=value ...]" || return 1
    dir=$(pf__abs_dir "$1")
    shift
    if [ $# -gt 0 ]; then
        postconf -c "$dir/etc" -e "$@" || return 1
    fi
    # Postfix re-reads a main.cf or table changed within the last second
    # until it "cools down", which costs every Postfix program up to 2 s.
    # Dating the files 10 s back avoids that wait.
    touch -d '-10 seconds' "$dir/etc/main.cf" "$dir/etc/master.cf" "$dir/etc/vmailbox" || return 1
    # Reading the whole configuration back catches syntax errors now
    # rather than at start.
    if ! postconf -c "$dir/etc" -n >/dev/null; then
        echo "pf_config: postconf rejects $dir/etc/main.cf" >&2
        return 1
    fi
    return 0
}

# Writes DIR/etc/main.cf.
pf__write_main_cf() {
    local dir=$1 milter=$2 uid=$3 gid=$4
    {
        cat <<EOF
# $PF__MARK
compatibility_level = 3.6
queue_directory = $dir/queue
data_directory = $dir/data
maillog_file = $dir/maillog
maillog_file_prefixes = $dir
syslog_name = postfix-ovtest

myhostname = gw.ovtest.example
mydomain = ovtest.example
myorigin = \$myhostname
mydestination =
inet_interfaces = 127.0.0.1
inet_protocols = ipv4
mynetworks = 127.0.0.0/8
relay_domains =
biff = no
append_dot_mydomain = no

# No DNS at all, no local delivery, no relaying.
smtp_dns_support_level = disabled
smtpd_peername_lookup = no
alias_maps =
alias_database =
local_recipient_maps =
local_transport = error:5.1.1 local delivery is disabled on this test instance
default_transport = error:5.7.1 this test instance delivers only to example.net
relay_transport = error:5.7.1 this test instance delivers only to example.net
smtpd_client_restrictions =
smtpd_helo_restrictions =
smtpd_sender_restrictions =
smtpd_recipient_restrictions =
smtpd_relay_restrictions = reject_unauth_destination
smtpd_error_sleep_time = 0
smtpd_soft_error_limit = 1000
smtpd_hard_error_limit = 1000
smtpd_banner = \$myhostname ESMTP

# example.net is delivered as Maildir under $dir/mail.
virtual_mailbox_domains = example.net
virtual_mailbox_base = $dir/mail
virtual_mailbox_maps = texthash:$dir/etc/vmailbox
virtual_uid_maps = static:$uid
virtual_gid_maps = static:$gid
virtual_mailbox_limit = 0
mailbox_size_limit = 0
message_size_limit = 104857600

# A fast queue: retry within seconds, never warn about delays.
queue_run_delay = 1s
minimal_backoff_time = 1s
maximal_backoff_time = 2s
maximal_queue_lifetime = 1h
bounce_queue_lifetime = 1h
delay_warning_time = 0
in_flow_delay = 0

milter_protocol = 6
milter_default_action = tempfail
milter_connect_timeout = 5s
milter_command_timeout = 15s
milter_content_timeout = 30s
non_smtpd_milters =
EOF
        if [ -n "$milter" ]; then
            printf 'smtpd_milters = %s\n' "$milter"
        fi
    } >"$dir/etc/main.cf"
}

# Writes DIR/etc/master.cf: the usual services, none chrooted, SMTP on
# 127.0.0.1:PORT only, and the postlog service that writes the maillog file.
pf__write_master_cf() {
    local dir=$1 port=$2
    cat >"$dir/etc/master.cf" <<EOF
# Services of the private ovmilter test instance (nothing is chrooted).
# service type  private unpriv  chroot  wakeup  maxproc command + args
127.0.0.1:$port inet n  -       n       -       -       smtpd
pickup    unix  n       -       n       60      1       pickup
cleanup   unix  n       -       n       -       0       cleanup
qmgr      unix  n       -       n       300     1       qmgr
rewrite   unix  -       -       n       -       -       trivial-rewrite
bounce    unix  -       -       n       -       0       bounce
defer     unix  -       -       n       -       0       bounce
trace     unix  -       -       n       -       0       bounce
verify    unix  -       -       n       -       1       verify
flush     unix  n       -       n       1000?   0       flush
proxymap  unix  -       -       n       -       -       proxymap
proxywrite unix -       -       n       -       1       proxymap
smtp      unix  -       -       n       -       -       smtp
relay     unix  -       -       n       -       -       smtp
showq     unix  n       -       n       -       -       showq
error     unix  -       -       n       -       -       error
retry     unix  -       -       n       -       -       error
discard   unix  -       -       n       -       -       discard
local     unix  -       n       n       -       -       local
virtual   unix  -       n       n       -       -       virtual
lmtp      unix  -       -       n       -       -       lmtp
anvil     unix  -       -       n       -       1       anvil
scache    unix  -       -       n       -       1       scache
postlog   unix-dgram n  -       n       -       1       postlogd
EOF
}

# pf_smtp_port DIR: prints the SMTP port the instance was set up with.
pf_smtp_port() {
    local dir port
    pf__args $# 1 "pf_smtp_port DIR" || return 1
    dir=$(pf__abs_dir "$1")
    read -r port <"$dir/etc/smtp_port" 2>/dev/null || return 1
    printf '%s\n' "$port"
}

# pf_running DIR: 0 when the instance's master process is alive.
pf_running() {
    pf__args $# 1 "pf_running DIR" || return 1
    pf__master_pid "$1" >/dev/null
}

# pf_start DIR: starts the instance and waits (PF_START_TIMEOUT, default
# 20 s) until its SMTP port accepts connections. Fails when the port is
# already taken by someone else. Returns 0 when already running.
pf_start() {
    local dir port deadline
    pf__args $# 1 "pf_start DIR" || return 1
    dir=$(pf__abs_dir "$1")
    if [ ! -f "$dir/etc/main.cf" ]; then
        echo "pf_start: no instance in $dir (run pf_setup first)" >&2
        return 1
    fi
    port=$(pf_smtp_port "$dir") || return 1
    pf_running "$dir" && return 0
    if pf__port_listening "$port"; then
        echo "pf_start: port $port is already in use" >&2
        return 1
    fi
    if ! postfix -c "$dir/etc" start >"$dir/start.out" 2>&1; then
        echo "pf_start: postfix start failed:" >&2
        cat "$dir/start.out" >&2
        tail -n 20 "$dir/maillog" >&2 2>/dev/null
        return 1
    fi
    deadline=$(( $(pf__now_us) + $(pf__seconds_to_us "${PF_START_TIMEOUT:-20}") ))
    until pf__port_listening "$port"; do
        if [ "$(pf__now_us)" -ge "$deadline" ] || ! pf_running "$dir"; then
            echo "pf_start: port $port did not open; log:" >&2
            tail -n 20 "$dir/maillog" >&2 2>/dev/null
            pf_stop "$dir"
            return 1
        fi
        sleep 0.1
    done
    return 0
}

# pf_stop DIR: stops the instance and waits (PF_STOP_TIMEOUT, default 10 s)
# until its master process and all its children are gone, killing them with
# SIGKILL as a last resort. Safe to call when not running, twice, or from a
# trap; always returns 0 unless processes survive SIGKILL.
pf_stop() {
    local dir pid deadline
    [ -n "${1:-}" ] || return 0
    dir=$(pf__abs_dir "$1")
    [ -f "$dir/etc/main.cf" ] || return 0
    pid=$(pf__master_pid "$dir") || return 0
    # The master is a session leader: its pid is the process group of all
    # the Postfix daemons it started.
    kill -TERM "$pid" 2>/dev/null
    deadline=$(( $(pf__now_us) + $(pf__seconds_to_us "${PF_STOP_TIMEOUT:-10}") ))
    while pgrep -g "$pid" >/dev/null 2>&1; do
        if [ "$(pf__now_us)" -ge "$deadline" ]; then
            echo "pf_stop: Postfix in $dir did not stop, killing it" >&2
            kill -KILL -- "-$pid" 2>/dev/null
            sleep 0.2
            break
        fi
        sleep 0.05
    done
    if pgrep -g "$pid" >/dev/null 2>&1; then
        echo "pf_stop: processes of group $pid survive SIGKILL" >&2
        return 1
    fi
    return 0
}

# pf_sendmail_command DIR: prints the sendmail-compatible command line that
# submits a mail into this instance; append "-f FROM RCPT..." and feed the
# mail on stdin. Works for root only (see the header).
pf_sendmail_command() {
    local dir
    pf__args $# 1 "pf_sendmail_command DIR" || return 1
    dir=$(pf__abs_dir "$1")
    printf '%s -C %s -oi\n' "$(pf__find_prog sendmail)" "$dir/etc"
}

# pf_queue_count DIR [QUEUE...]: prints the number of messages in the given
# queues (default: maildrop incoming active deferred; "hold" is extra).
pf_queue_count() {
    local dir q n=0 c
    pf__args $# 1 "pf_queue_count DIR [QUEUE...]" || return 1
    dir=$(pf__abs_dir "$1")
    shift
    [ $# -gt 0 ] || set -- maildrop incoming active deferred
    for q in "$@"; do
        [ -d "$dir/queue/$q" ] || continue
        c=$(find "$dir/queue/$q" -type f 2>/dev/null | wc -l)
        n=$(( n + c ))
    done
    printf '%s\n' "$n"
}

# pf_wait_idle DIR TIMEOUT: waits until no message is left in the maildrop,
# incoming, active or deferred queue (held mail is ignored). Returns 1 after
# TIMEOUT seconds (fractions allowed) with the queue still busy.
pf_wait_idle() {
    local dir deadline
    pf__args $# 2 "pf_wait_idle DIR TIMEOUT" || return 1
    dir=$(pf__abs_dir "$1")
    deadline=$(( $(pf__now_us) + $(pf__seconds_to_us "${2:-30}") ))
    until [ "$(pf_queue_count "$dir")" = 0 ]; do
        if [ "$(pf__now_us)" -ge "$deadline" ]; then
            echo "pf_wait_idle: $(pf_queue_count "$dir") message(s) still queued in $dir" >&2
            return 1
        fi
        sleep 0.1
    done
    return 0
}

# pf_mailbox_files DIR USER: lists the delivered message files of USER
# (DIR/mail/USER/new and cur), oldest first, one path a line.
pf_mailbox_files() {
    local box
    pf__args $# 2 "pf_mailbox_files DIR USER" || return 1
    box=$(pf__abs_dir "$1")/mail/$2
    [ -d "$box" ] || return 0
    find "$box/new" "$box/cur" -type f -printf '%T@ %p\n' 2>/dev/null |
        sort -n | cut -d' ' -f2-
}

# pf_count DIR USER: prints the number of messages delivered to USER
# ("other" for the catch-all), 0 when the Maildir does not exist yet.
pf_count() {
    local box
    pf__args $# 2 "pf_count DIR USER" || return 1
    box=$(pf__abs_dir "$1")/mail/$2
    if [ -d "$box" ]; then
        find "$box/new" "$box/cur" -type f 2>/dev/null | wc -l
    else
        echo 0
    fi
}
