#!/usr/bin/env bash
# The whole test command (make test):
#   1. installs missing packages;
#   2. builds the release library and tools, installs them into a staging prefix and
#      builds and runs an outside consumer against the install (pkg-config and CMake);
#      builds the Debian packages, checks them with lintian and builds the example host
#      against them unpacked;
#   3. builds the test suite with AddressSanitizer + UndefinedBehaviorSanitizer and runs
#      every test against a throw-away PostgreSQL server;
#   4. builds the concurrency tests with ThreadSanitizer and runs them.
# As root, the tests run as the unprivileged user "calyx-test", so that permissions in
# the tests mean what they say (and PostgreSQL agrees to run); only the tests labelled
# "root" or "netns" run as root, in a pass of their own with CALYX_PRIVILEGED_PASS=1
# (a test that would skip for want of root must fail when that is set).
#
# CALYX_TEST_SCALE (default 1) multiplies the iteration counts of long tests.
set -euo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)
export CALYX_TEST_SCALE=${CALYX_TEST_SCALE:-1}
jobs=${CALYX_JOBS:-$(nproc)}
log() { printf '\n== %s\n' "$*"; }

bash "$src/scripts/install-deps.sh" --test

# shellcheck source=scripts/pg-server.sh
. "$src/scripts/pg-server.sh"
# shellcheck source=scripts/test-passes.sh
. "$src/scripts/test-passes.sh"
test_user=$(unprivileged_user)
run_from_readable_copy run-tests.sh "$@"

log "release build"
cmake --preset release -S "$src" >/dev/null
cmake --build "$src/build/release" -j "$jobs"

log "install and outside consumer"
bash "$src/scripts/check-install.sh" "$src/build/release"

log "Debian packages: lintian, unpacked tool, example host against the unpacked root"
bash "$src/scripts/check-packages.sh" "$src/build/release"

trap pg_server_stop EXIT

log "AddressSanitizer + UndefinedBehaviorSanitizer build"
cmake --preset asan -S "$src" >/dev/null
cmake --build "$src/build/asan" -j "$jobs"
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
log "tests (ASan + UBSan)"
run_ctest "$src/build/asan"

log "ThreadSanitizer build (concurrency tests and the media server)"
cmake --preset tsan -S "$src" >/dev/null
cmake --build "$src/build/tsan" -j "$jobs"
if [ -n "$(find "$src/build/tsan/tests" -name '*_test' -type f -perm -u+x 2>/dev/null)" ]; then
    log "tests (TSan)"
    # The TSan build has no tool of its own: the server's load test uses the release one.
    CALYX_TOOL="$src/build/release/tools/calyx" \
        TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1} \
        run_ctest "$src/build/tsan" -L concurrency
fi
# --- step 5, robustness: every fuzz target briefly, then a short valgrind memcheck of
# --- the client tests (scripts/robustness-ci.sh) ---
bash "$src/scripts/robustness-ci.sh"
# --- end of step 5 ---
log "all tests passed"
