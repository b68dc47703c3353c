#!/usr/bin/env bash
# Throughput of ovmilter behind a private Postfix instance, as a timed
# command: MAILS mails (default 3000) of the load test's mix, once over a
# unix socket and once over TCP, each against Postfix alone in the same run.
# Needs root, postfix and swaks, like the load test it drives. Postfix's
# queue and the milter's spool go under $TMPDIR (default /tmp): TMPDIR=/dev/shm
# compares the two without the disk.
#
#   bench/ovmilter_postfix_bench.sh BUILD_DIR [MAILS]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${1:?usage: ovmilter_postfix_bench.sh BUILD_DIR [MAILS]}
mails=${2:-3000}
for transport in unix inet; do
  bash "$here/../tests/ovmilter/postfix_load.sh" "$build" "$mails" "$transport" | grep '^load:'
done
