#!/usr/bin/env bash
# The robustness step of the test command: every fuzz target for a few seconds (so that
# a target that crashes at once fails the build) and a short valgrind memcheck run.
#   CALYX_CI_FUZZ_SECONDS  seconds per fuzz target (default 10)
set -euo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)

printf '\n== fuzz targets, brief run\n'
CALYX_FUZZ_SECONDS=${CALYX_CI_FUZZ_SECONDS:-10} bash "$src/scripts/run-fuzz.sh"

printf '\n== valgrind memcheck\n'
bash "$src/scripts/valgrind.sh"
