#!/usr/bin/env bash
# InfiniBand tools on a recorded fabric, without any hardware: `siminfo serve` answers for its nodes, and smpquery,
# ibnetdiscover, iblinkinfo and opensm ask. Last the served fabric is collected, which gives the snapshot again.
#
#   examples/try_real_tools.sh [SIMINFO [SNAPSHOT]]
#
# Needs ibsim-utils (for its libumad2sim.so), opensm, infiniband-diags, cmake, make and a C++ compiler; exits with 77
# where one is missing.
set -eu
here=$(cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")" && pwd)
siminfo=$(readlink -f -- "${1:-$here/../siminfo}")
snapshot=$(readlink -f -- "${2:-$here/ibsim_fabric.jsonl}")
PATH=$PATH:/usr/sbin:/sbin
wrapper=$(find /usr/lib /usr/lib64 -path '*umad2sim/libumad2sim.so' 2>/dev/null | head -n 1)
for program in opensm smpquery cmake make c++; do
  [[ -n $wrapper ]] && command -v "$program" >/dev/null && continue
  echo "SKIPPED, nothing was tried: install libumad2sim0, opensm, infiniband-diags, cmake, make and g++"
  exit 77
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" # the tools leave files where they run
export OSM_CACHE_DIR=$work OSM_TMP_DIR=$work

# 1. As it was recorded. The first run builds the server, the next ones take the built one.
"$siminfo" serve "$snapshot" -- smpquery nodeinfo -D 0,1
"$siminfo" serve "$snapshot" -- ibnetdiscover
"$siminfo" serve "$snapshot" -- iblinkinfo

# 2. With every link at Initialize and without LIDs, for a subnet manager to bring up.
"$siminfo" serve --init "$snapshot" -- opensm --once -f "$work/opensm.log" >opensm.out
grep 'SUBNET UP' opensm.log

# 3. What is served is what was recorded, but for the header with the time.
"$siminfo" serve "$snapshot" -- "$siminfo" collect --output served.jsonl
diff <(tail -n +2 "$snapshot") <(tail -n +2 served.jsonl)
echo "The served fabric is the recorded one."
