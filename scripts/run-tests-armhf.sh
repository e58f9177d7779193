#!/usr/bin/env bash
# The 32-bit ARM test command (make test-armhf):
#   1. installs missing packages, the cross compilers and qemu-user among them;
#   2. writes the arithmetic listing of a native build (tests/dmsutils/arith_digest.cpp);
#   3. fills a private armhf sysroot from Debian's armhf packages (scripts/armhf-sysroot.sh);
#      nothing of this machine's package state changes;
#   4. cross-builds the library, the tool and their tests (preset armhf) and runs the
#      tests through qemu-arm against a throw-away PostgreSQL server, as make test does.
#      One of them compares the armhf arithmetic listing with the native one.
# The media server programs in server/ and their tests stay native (make test).
#
# CALYX_TEST_TIME_SCALE (default 8, about the emulator's slowdown) stretches the waits of
# tests that assume native speed; CALYX_TEST_SCALE as in make test.
set -euo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)
export CALYX_TEST_SCALE=${CALYX_TEST_SCALE:-1}
export CALYX_TEST_TIME_SCALE=${CALYX_TEST_TIME_SCALE:-8}
jobs=${CALYX_JOBS:-$(nproc)}
log() { printf '\n== %s\n' "$*"; }

bash "$src/scripts/install-deps.sh" --armhf

# shellcheck source=scripts/pg-server.sh
. "$src/scripts/pg-server.sh"
# shellcheck source=scripts/test-passes.sh
. "$src/scripts/test-passes.sh"
test_user=$(unprivileged_user)
run_from_readable_copy run-tests-armhf.sh "$@"

log "native arithmetic listing"
listing=$src/build/arith-native.txt
cmake --preset asan -S "$src" >/dev/null
cmake --build "$src/build/asan" -j "$jobs" --target calyx_arith_digest
"$src/build/asan/tests/dmsutils/calyx_arith_digest" "$listing"

log "armhf sysroot"
bash "$src/scripts/armhf-sysroot.sh" "$src/build/armhf-sysroot"

log "armhf cross build"
started=$SECONDS
cmake --preset armhf -S "$src" -DCALYX_REFERENCE_ARITH_LISTING="$listing" >/dev/null
cmake --build "$src/build/armhf" -j "$jobs"
log "armhf cross build took $((SECONDS - started)) s"

log "tests under qemu-arm"
trap pg_server_stop EXIT
started=$SECONDS
run_ctest "$src/build/armhf"
log "all armhf tests passed in $((SECONDS - started)) s"
