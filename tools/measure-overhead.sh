#!/usr/bin/env bash
# The host's cost on this machine: CPU time (user + system) of a collection of SECONDS at the default
# interval, as a share of one core, and its peak resident memory, from /usr/bin/time.
# Usage: tools/measure-overhead.sh [build dir] [seconds] [more host arguments...]
set -euo pipefail
build=${1:-build}
seconds=${2:-10}
shift $(( $# > 2 ? 2 : $# ))
bash "$(dirname "$0")/ensure-packages.sh" time
report=$(mktemp)
trap 'rm -f "$report"' EXIT
/usr/bin/time -f '%U %S %e %M' -o "$report" "$build/bin/vantrell" -t "$seconds" "$@" >/dev/null
read -r user system wall rss <"$report"
awk -v u="$user" -v s="$system" -v w="$wall" -v m="$rss" 'BEGIN {
  printf "cpu %.2f s (user %.2f, system %.2f) over %.2f s wall: %.2f%% of one core; peak RSS %d KiB\n",
         u + s, u, s, w, 100 * (u + s) / w, m }'
