#!/usr/bin/env bash
# Tries the packages of a release where nothing else is: makes them, installs them into a bare Debian 12 in a scratch
# folder, works with them there, removes them, and looks for what they left. The tarball is tried there as well.
#   packaging/try_packages.sh             the packages
#   packaging/try_packages.sh --readme    the README's two commands, from a fresh clone; takes many minutes
# Needs root, Debian 12, and what this machine's own apt downloads from.
set -euo pipefail
root=$(cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/.." && pwd)
# shellcheck source=scripts/build.sh
. "$root/scripts/build.sh"

skip() {
  echo "SKIPPED: $1"
  exit 77
}
((EUID == 0)) || skip "only root can install packages into a folder"
codename=$(. /etc/os-release && echo "${VERSION_CODENAME-}")
[[ $codename == bookworm ]] || skip "the packages are those of Debian 12, and this is $codename"
install_missing "${packaging_packages[@]}" || exit 3

scratch=$(mktemp -d /var/tmp/siminfo-bare.XXXXXX)
trap 'kill -KILL $(jobs -p) 2>/dev/null || true; rm -rf --one-file-system "$scratch"' EXIT
trap 'exit 130' INT TERM
bare=$scratch/debian

# Says what it does, does it, and says how long that took; what it prints is shown when it fails, or is asked for.
step() {
  local what=$1 begun=$EPOCHREALTIME
  shift
  echo "== $what: $*"
  if ! "$@" >"$scratch/log" 2>&1; then
    cat "$scratch/log"
    echo "== FAILED: $what"
    exit 1
  fi
  awk -v begun="$begun" -v now="$EPOCHREALTIME" 'BEGIN { printf "   %.1f s\n", now - begun }'
}
show_log() { tail -n "$1" "$scratch/log" | sed 's/^/   | /'; }

# Runs a command in the bare Debian, with terminals and processes of its own and nothing of this one's environment.
# What it started ends with it, daemons that packages start among it, and it ends with this script: unshare itself heeds
# no signal but one.
in_bare() {
  unshare --mount --pid --fork --kill-child --mount-proc="$bare/proc" \
    sh -c 'mount -t devpts -o newinstance,ptmxmode=0666 devpts "$0/dev/pts" && exec chroot "$0" "$@"' "$bare" env -i \
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive "$@" &
  wait $!
}
as_nobody() { in_bare setpriv --reuid nobody --regid nogroup --clear-groups --inh-caps=-all env -C /tmp HOME=/tmp "$@"; }
must_fail_with() {
  local expected=$1 status=0
  shift
  "$@" || status=$?
  ((status == expected)) || { echo "ended with $status, not $expected"; return 1; }
}

# Every file of the bare Debian, apart from the package manager's own books.
list_files() {
  (cd "$bare" && find . -xdev \( -path ./proc -o -path ./sys -o -path ./dev -o -path ./tmp -o -path ./var/cache -o \
    -path ./var/log -o -path ./var/lib/apt -o -path ./var/lib/dpkg \) -prune -o -printf '%y %m %p\n') | sort >"$1"
}

make_bare_debian() {
  local mirror
  mirror=$(apt-get indextargets --format '$(CODENAME) $(COMPONENT) $(REPO_URI)' 'Created-By: Packages' |
    sed -n "s/^$codename main //p" | head -n 1)
  debootstrap --variant=minbase "$codename" "$bare" "$mirror" && cp /etc/resolv.conf "$bare/etc/" &&
    echo "127.0.0.1 localhost" >"$bare/etc/hosts" && # every real one has it
    in_bare apt-get update
}

try_tarball() {
  step "unpack the tarball" tar -C "$bare/tmp" -xzf "$root"/build/package/siminfo-*.tar.gz
  local program
  program=$(cd "$bare" && echo tmp/siminfo-*/bin/siminfo)
  step "generate from the tarball" as_nobody "/$program" generate /tmp/small_fabric.json --name Fab1 --buildable --output-dir /tmp/from-tarball
  step "collect from the tarball, without a device" must_fail_with 4 as_nobody "/$program" collect
  show_log 1
}

try_packages() {
  local apt=(in_bare apt-get install -y) siminfo collect
  # What came with them goes with them, whatever else would like to have it.
  local purge=(in_bare apt-get purge -y --auto-remove -o APT::AutoRemove::RecommendsImportant=false
    -o APT::AutoRemove::SuggestsImportant=false)
  siminfo=$(cd "$bare/tmp" && echo siminfo_*.deb) collect=$(cd "$bare/tmp" && echo siminfo-collect_*.deb)
  step "install siminfo alone" "${apt[@]}" --no-install-recommends "/tmp/$siminfo"
  show_log 4
  step "generate" as_nobody siminfo generate /tmp/small_fabric.json --name Fab1 --buildable --output-dir /tmp/from-package
  show_log 3
  diff -r "$bare/tmp/from-tarball" "$bare/tmp/from-package"
  step "collect without the collector" must_fail_with 4 as_nobody siminfo collect
  show_log 1
  step "verify without a compiler" must_fail_with 3 as_nobody siminfo verify /tmp/small_fabric.json
  show_log 1
  step "remove siminfo" "${purge[@]}" siminfo
  step "install both, and what siminfo recommends" "${apt[@]}" "/tmp/$siminfo" "/tmp/$collect"
  step "install tools to talk to nodes with" "${apt[@]}" --mark-auto infiniband-diags
  step "verify" as_nobody siminfo verify /tmp/small_fabric.json
  show_log 3
  step "serve, for ibnetdiscover" as_nobody siminfo serve /tmp/ibsim_fabric.jsonl -- ibnetdiscover
  show_log 10
  step "serve, for collect" as_nobody siminfo serve /tmp/ibsim_fabric.jsonl -- siminfo collect --output /tmp/again.jsonl
  show_log 3
  step "remove everything" "${purge[@]}" siminfo siminfo-collect
  show_log 5
}

look_for_leftovers() {
  list_files "$scratch/after"
  echo "== files before: $(wc -l <"$scratch/before"), after: $(wc -l <"$scratch/after")"
  diff "$scratch/before" "$scratch/after" && ! in_bare dpkg -l | grep siminfo
}

time_readme() {
  step "clone" git clone -q "$root" "$bare/srv/siminfo"
  step "first command" in_bare env -C /srv/siminfo ./siminfo generate examples/small_fabric.json --name Fab1 --output-dir out
  show_log 100
  step "second command" in_bare env -C /srv/siminfo ./test
  show_log 100
}

[[ ${1-} == --readme ]] || step "make the packages" "$root/packaging/make_packages.sh"
step "make a bare Debian" make_bare_debian
if [[ ${1-} == --readme ]]; then
  time_readme
  exit
fi
cp "$root"/build/package/*.deb "$root"/examples/{small_fabric.json,ibsim_fabric.jsonl} "$bare/tmp/"
list_files "$scratch/before"
try_tarball
try_packages
look_for_leftovers
echo "== nothing is left"
