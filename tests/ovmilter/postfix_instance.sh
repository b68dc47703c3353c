# A private Postfix instance under DIR (absolute, no blanks, reachable by
# postfix) for the ovmilter end-to-end and load tests; source it. It listens
# on 127.0.0.1:SMTP_PORT without DNS and delivers only example.net, as
# Maildirs: alice, bob, admin, and "other" for the rest.

# pf_wait_until SECONDS COMMAND...: polls COMMAND every 0.1 s; 1 on timeout.
pf_wait_until() {
    local tries=$(($1 * 10))
    shift
    until "$@"; do
        tries=$((tries - 1)) && [ "$tries" -gt 0 ] || return 1
        sleep 0.1
    done
}

pf__port_open() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

pf__master_pid() {
    local pid
    read -r pid 2>/dev/null <"$1/queue/pid/master.pid" || return 1
    pid=${pid//[^0-9]/}
    [ -n "$pid" ] && [ "$(cat "/proc/$pid/comm" 2>/dev/null)" = master ] && echo "$pid"
}

pf_available() {
    local prog
    [ "$(id -u)" = 0 ] || { echo "postfix_instance: needs root" >&2; return 1; }
    for prog in postfix postconf postqueue sendmail swaks smtp-source; do
        PATH=$PATH:/usr/sbin:/sbin command -v "$prog" >/dev/null ||
            { echo "postfix_instance: '$prog' is not installed" >&2; return 1; }
    done
    [ -x "$(postconf -d -h daemon_directory 2>/dev/null)/postlogd" ] ||
        { echo "postfix_instance: no postlogd (needs Postfix 3.4 or later)" >&2; return 1; }
}

# pf_setup: the queue and mail of an earlier instance stay; name=value pairs
# go into main.cf last.
pf_setup() {
    local dir=$1 port=$2 milter=$3 uid gid
    shift 3
    ! pf__master_pid "$dir" >/dev/null || { echo "pf_setup: an instance runs in $dir" >&2; return 1; }
    uid=$(id -u nobody) gid=$(id -g nobody)
    mkdir -p "$dir/etc" "$dir/queue" "$dir/data" "$dir/mail" || return 1
    chmod 0755 "$dir" "$dir/etc" "$dir/queue" "$dir/mail" &&
        chown root:root "$dir/etc" "$dir/queue" &&
        chown postfix "$dir/data" && chmod 0700 "$dir/data" &&
        chown "$uid:$gid" "$dir/mail" || return 1
    setpriv --reuid=postfix --regid=postfix --clear-groups test -x "$dir/queue" ||
        { echo "pf_setup: the postfix user cannot reach $dir" >&2; return 1; }
    echo "$port" >"$dir/etc/smtp_port"
    printf '%s\n' "alice@example.net alice/" "bob@example.net bob/" \
        "admin@example.net admin/" "@example.net other/" >"$dir/etc/vmailbox"
    cat >"$dir/etc/main.cf" <<EOF
compatibility_level = 3.6
queue_directory = $dir/queue
data_directory = $dir/data
maillog_file = $dir/maillog
maillog_file_prefixes = $dir
myhostname = gw.ovtest.example
myorigin = \$myhostname
mydestination =
inet_interfaces = 127.0.0.1
inet_protocols = ipv4
mynetworks = 127.0.0.0/8
smtp_dns_support_level = disabled
smtpd_peername_lookup = no
alias_maps =
local_recipient_maps =
local_transport = error:5.1.1 local delivery is disabled on this test instance
default_transport = error:5.7.1 this test instance delivers only to example.net
smtpd_relay_restrictions = reject_unauth_destination
virtual_mailbox_domains = example.net
virtual_mailbox_base = $dir/mail
virtual_mailbox_maps = texthash:$dir/etc/vmailbox
virtual_uid_maps = static:$uid
virtual_gid_maps = static:$gid
queue_run_delay = 1s
minimal_backoff_time = 1s
maximal_backoff_time = 2s
in_flow_delay = 0
milter_default_action = tempfail
milter_connect_timeout = 5s
milter_command_timeout = 15s
milter_content_timeout = 30s
smtpd_milters = $milter
EOF
    {
        echo "127.0.0.1:$port inet n - n - - smtpd"
        echo "postlog unix-dgram n - n - 1 postlogd"
        local service name private wakeup maxproc command
        for service in "pickup n 60 1" "cleanup n - 0" "qmgr n 300 1" "rewrite - - - trivial-rewrite" \
            "bounce - - 0" "defer - - 0 bounce" "trace - - 0 bounce" "verify - - 1" \
            "flush n 1000? 0" "proxymap - - -" "proxywrite - - 1 proxymap" "smtp - - -" \
            "relay - - - smtp" "showq n - -" "error - - -" "retry - - - error" "discard - - -" \
            "anvil - - 1" "scache - - 1" "lmtp - - -"; do
            read -r name private wakeup maxproc command <<<"$service"
            echo "$name unix $private - n $wakeup $maxproc ${command:-$name}"
        done
        echo "local unix - n n - - local"
        echo "virtual unix - n n - - virtual"
    } >"$dir/etc/master.cf"
    [ $# -eq 0 ] || postconf -c "$dir/etc" -e "$@" || return 1
    # Files changed in the last second make Postfix wait for them to "cool down".
    touch -d '-10 seconds' "$dir/etc/main.cf" "$dir/etc/master.cf" "$dir/etc/vmailbox"
    postconf -c "$dir/etc" -n >/dev/null || { echo "pf_setup: postconf rejects main.cf" >&2; return 1; }
}

pf_start() {
    local dir=$1 port
    read -r port <"$dir/etc/smtp_port" || return 1
    ! pf__port_open "$port" || { echo "pf_start: port $port is already in use" >&2; return 1; }
    postfix -c "$dir/etc" start >"$dir/start.out" 2>&1 && pf_wait_until 20 pf__port_open "$port" && return 0
    { echo "pf_start: Postfix did not start:"; cat "$dir/start.out"; tail -n 20 "$dir/maillog"; } >&2 2>/dev/null
    pf_stop "$dir"
    return 1
}

# pf_stop DIR: waits up to 10 s for the master's process group, then kills it.
pf_stop() {
    local pid
    pid=$(pf__master_pid "${1:-/nonexistent}") || return 0
    kill -TERM "$pid" 2>/dev/null
    pf_wait_until 10 eval "! pgrep -g $pid >/dev/null" && return 0
    echo "pf_stop: Postfix in $1 did not stop, killing it" >&2
    kill -KILL -- "-$pid" 2>/dev/null
    pf_wait_until 2 eval "! pgrep -g $pid >/dev/null"
}

# pf_queue_count DIR [QUEUE...]: messages in the queues (default: all but hold).
pf_queue_count() {
    local dir=$1 q
    shift
    [ $# -gt 0 ] || set -- maildrop incoming active deferred
    for q in "$@"; do
        [ ! -d "$dir/queue/$q" ] || find "$dir/queue/$q" -type f
    done | wc -l
}

pf_wait_idle() {
    pf_wait_until "$2" eval "[ \"\$(pf_queue_count $1)\" = 0 ]" || { echo "pf_wait_idle: $(pf_queue_count "$1") still queued in $1" >&2; return 1; }
}

# pf_mailbox_files DIR USER: delivered files, oldest first; pf_count: how many.
pf_mailbox_files() {
    { find "$1/mail/$2/new" "$1/mail/$2/cur" -type f -printf '%T@ %p\n' 2>/dev/null || true; } |
        sort -n | cut -d' ' -f2-
}

pf_count() { pf_mailbox_files "$1" "$2" | wc -l; }
