#!/usr/bin/env bash
# Builds the benchmarks and prints the table of docs/performance.md. Takes a few minutes and 2 GB in a temporary folder.
#   ./bench.sh             everything
#   ./bench.sh --quick     smaller fabrics and fewer rounds, for a first look
root=$(cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")" && pwd) || exit 3
# shellcheck source=scripts/build.sh
. "$root/scripts/build.sh"
install_missing "${build_packages[@]}" "${test_packages[@]}" "${bench_packages[@]}" || exit 3
build_preset bench all || exit 3
exec python3 -B "$root/bench/run.py" "$root/build/bench" "$@"
