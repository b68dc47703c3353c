#!/usr/bin/env bash
# ovctl scan as a whole command, on 1 and 2 threads, beside the plug-in
# alone (ovctl spool over the pairs scan wrote: the same judging without
# reading the mails and writing the spool). MAILS mails (default 650) made
# from the example mails (every 13th the 3 MB one), on tmpfs when there is one.
# Each figure is the median wall time of RUNS runs (default 5), each on a
# fresh copy of the installation and the spool; the CPU time (user + system)
# of one thread is the steadier second opinion on a busy machine.
#
#   bench/ovctl_scan_bench.sh BUILD_DIR [MAILS [RUNS]]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
ovctl=$(cd "${1:?usage: ovctl_scan_bench.sh BUILD_DIR [MAILS [RUNS]]}" && pwd)/ovctl
mails=${2:-650}
runs=${3:-5}
base=/dev/shm; [ -w "$base" ] || base=${TMPDIR:-/tmp}
work=$(mktemp -d "$base/ovctl-scan-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT

mkdir "$work/mail"
examples=("$here"/../examples/mail/*.eml)
n=0
while [ "$n" -lt "$mails" ]; do
  for mail in "${examples[@]}"; do
    [ "$n" -lt "$mails" ] || break
    cp "$mail" "$work/mail/$(printf '%05d' "$n").eml"
    n=$((n + 1))
  done
done

fresh_root() { rm -rf "$work/root" && cp -r "$here/../examples/gateway" "$work/root"; }
seconds() {   # "wall cpu" seconds of the command (cpu: user + system)
  /usr/bin/time -f '%e %U %S' -o "$work/time" "$@" >/dev/null 2>&1 || { echo "failed: $*" >&2; exit 1; }
  awk '{print $1, $2 + $3}' "$work/time"
}
median() {   # median of column $1
  awk -v c="$1" '{print $c}' | sort -g | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}'
}

scan() {   # scan THREADS: writes the spool to $work/spool
  fresh_root; rm -rf "$work/spool"
  seconds "$ovctl" scan --root "$work/root" --spool "$work/spool" --threads "$1" "$work"/mail/*.eml
}
alone() {   # alone THREADS: ovctl spool over a copy of the spool scan wrote
  fresh_root; rm -rf "$work/spool2"; cp -r "$work/pristine" "$work/spool2"
  seconds "$ovctl" spool --root "$work/root" --threads "$1" "$work/spool2"
}

# The spool a scan wrote, with the mails it rewrote put back: what the
# plug-in alone is given.
fresh_root
"$ovctl" scan --root "$work/root" --spool "$work/pristine" "$work"/mail/*.eml >/dev/null 2>&1
i=0
for mail in "$work"/mail/*.eml; do
  i=$((i + 1))
  cp "$mail" "$work"/pristine/DFI*_"$i"
done

declare -A wall cpu
for kind in scan alone; do
  for threads in 1 2; do
    for r in $(seq "$runs"); do $kind "$threads"; done >"$work/runs"
    wall[$kind$threads]=$(median 1 <"$work/runs")
    cpu[$kind$threads]=$(median 2 <"$work/runs")
  done
done
awk -v m="$mails" -v s1="${wall[scan1]}" -v s2="${wall[scan2]}" -v a1="${wall[alone1]}" \
    -v a2="${wall[alone2]}" -v c1="${cpu[scan1]}" -v d1="${cpu[alone1]}" 'BEGIN {
  printf "ovctl scan, %d mails (median wall time)\n", m
  printf "  scan  x1 %7.2f s   x2 %7.2f s   2 threads %.2fx faster\n", s1, s2, s1 / s2
  printf "  alone x1 %7.2f s   x2 %7.2f s   2 threads %.2fx faster\n", a1, a2, a1 / a2
  printf "  scan over the plug-in alone: %.2fx on 1 thread, %.2fx on 2\n", s1 / a1, s2 / a2
  printf "  CPU time on 1 thread: scan %.2f s, alone %.2f s, %.2fx\n", c1, d1, c1 / d1 }'
