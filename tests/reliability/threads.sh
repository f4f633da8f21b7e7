#!/usr/bin/env bash
# Builds the program with the thread sanitizer and has it do everything that it does with several threads.
#
#   tests/reliability/threads.sh SOURCE
set -eu
cd -- "$1"
cmake --preset threads >/dev/null
cmake --build --preset threads >/dev/null
export TSAN_OPTIONS="halt_on_error=1 exitcode=66"
siminfo=build/threads/siminfo
python3 -B tests/reliability/determinism_test.py "$PWD/$siminfo" "$PWD"
for snapshot in examples/small_fabric.json examples/ibsim_fabric.jsonl; do
  "$siminfo" verify "$snapshot" --jobs 3 --all >/dev/null
done
