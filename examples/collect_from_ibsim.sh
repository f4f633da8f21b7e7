#!/usr/bin/env bash
# The whole road on a simulated fabric: ibsim plays the devices, opensm brings them up, `siminfo collect` writes
# the snapshot and `siminfo generate` the source. Then a switch's values in that source are held against those
# that smpquery reads from it. On a real fabric the third step is all that is needed before the fourth.
#
#   examples/collect_from_ibsim.sh [SIMINFO [FOLDER]]
#
# FOLDER keeps what was made. Needs ibsim-utils, opensm and infiniband-diags; exits with 77 where they are missing.
set -eu
here=$(cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")" && pwd)
siminfo=$(readlink -f -- "${1:-$here/../siminfo}")
work=$(mktemp -d)
folder=$(readlink -m -- "${2:-$work/out}")
PATH=$PATH:/usr/sbin:/sbin
wrapper=$(find /usr/lib /usr/lib64 -path '*umad2sim/libumad2sim.so' 2>/dev/null | head -n 1)
for program in ibsim opensm smpquery; do
  [[ -n $wrapper ]] && command -v "$program" >/dev/null && continue
  echo "SKIPPED, nothing was tried: install ibsim-utils, opensm and infiniband-diags"
  exit 77
done

# 1. Four adapters behind two switches. The socket's name is ours alone, and ibsim runs for as long as its
#    standard input is open.
cat >"$work/fabric.net" <<'NET'
Hca 1 "host-1"
[1] "leaf-1"[1]

Hca 1 "host-2"
[1] "leaf-1"[2]

Hca 1 "host-3"
[1] "leaf-2"[1]

Hca 1 "host-4"
[1] "leaf-2"[2]

Switch 6 "leaf-1"
[1] "host-1"[1]
[2] "host-2"[1]
[5] "leaf-2"[5]

Switch 6 "leaf-2"
[1] "host-3"[1]
[2] "host-4"[1]
[5] "leaf-1"[5]
NET
export IBSIM_SOCKNAME=siminfo-example-$$
cd "$work"
mkfifo console
exec 3<>console
ibsim -s fabric.net <console >ibsim.log 2>&1 3>&- &
ibsim=$!
trap 'kill "$ibsim" 2>/dev/null || true; wait "$ibsim" 2>/dev/null || true; cd /; rm -rf "$work"' EXIT
until grep -q 'simulator ready' ibsim.log; do
  kill -0 "$ibsim" || { cat ibsim.log; exit 1; }
  sleep 0.05
done
on_fabric() { LD_PRELOAD=$wrapper "$@"; }

# 2. LIDs for all, and links that are active.
export OSM_CACHE_DIR=$work OSM_TMP_DIR=$work
on_fabric opensm --once -f "$work/opensm.log" >opensm.out 2>&1
grep -q 'SUBNET UP' opensm.log

# 3. The snapshot.
mkdir -p "$folder"
on_fabric "$siminfo" collect --output "$folder/fabric.jsonl"

# 4. The source of the switch leaf-1, the node of that name in the snapshot.
guid=$(sed -n 's/^{"name":"leaf-1","guid":"\(0x[0-9a-f]*\)".*/\1/p' "$folder/fabric.jsonl")
"$siminfo" generate "$folder/fabric.jsonl" --name Fab1 --guid "$guid" --output-dir "$folder"

# 5. What smpquery reads from the same switch, which is one hop from the first host, stands in the source.
has() {
  grep -q "mad_buffer\.$1 = $(printf '0x%x' "$2");" "$folder/fab1_generated.cpp" && return
  echo "$1 of leaf-1: expected $2"
  exit 1
}
value() { on_fabric smpquery -D "$@" 2>/dev/null; }
field() { sed -n "s/^$1:\.*//p"; }
for pair in PartCap:PartitionCap DevId:DeviceID Revision:revision VendorId:VendorID; do
  has "${pair#*:}" "$(value nodeinfo 0,1 | field "${pair%:*}")"
done
for pair in LinearFdbCap:LinearFDBCap McastFdbCap:MCastFDBCap PartEnforceCap:PartEnfCap FilterRawInbound:FilterRawInbCap; do
  has "${pair#*:}" "$(value switchinfo 0,1 | field "${pair%:*}")"
done
has CapMsk "$(value portinfo 0,1 0 | field CapMask)"
has CapMsk2 "$(value portinfo 0,1 0 | field CapabilityMask2)"
echo "The generated values of leaf-1 are those that smpquery reads."

# 6. And simulated nodes answer with them: every frame that was collected is proven.
"$siminfo" verify "$folder/fabric.jsonl"
