#!/usr/bin/env bash
# The whole test command (make test):
#   1. installs missing packages;
#   2. builds the release library and tools, checks their sources with clang-tidy
#      (scripts/tidy.py) and runs the release build's tests labelled "install"
#      (tests/install): installs them into a staging prefix and builds and runs an outside
#      consumer against the install (pkg-config and CMake); builds the Debian packages,
#      checks them with lintian and builds the example host against them unpacked;
#   3. builds the test suite with AddressSanitizer + UndefinedBehaviorSanitizer and runs
#      every test against a throw-away PostgreSQL server;
#   4. builds the concurrency tests with ThreadSanitizer and runs them;
#   5. runs every fuzz target for a few seconds (CALYX_CI_FUZZ_SECONDS, default 10) and a
#      short valgrind memcheck of the client tests.
# As root, the tests run as the unprivileged user "calyx-test", so that permissions in
# the tests mean what they say (and PostgreSQL agrees to run); only the tests labelled
# "root" or "netns" run as root, in a pass of their own with CALYX_PRIVILEGED_PASS=1
# (a test that would skip for want of root must fail when that is set).
# Each step prints its time, and a table of them ends the output.
#
# CALYX_TEST_SCALE (default 1) multiplies the iteration counts of long tests.
set -euo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)
export CALYX_TEST_SCALE=${CALYX_TEST_SCALE:-1}
jobs=${CALYX_JOBS:-$(nproc)}
# shellcheck source=scripts/step-times.sh
. "$src/scripts/step-times.sh"

step "packages"
bash "$src/scripts/install-deps.sh" --test

# shellcheck source=scripts/pg-server.sh
. "$src/scripts/pg-server.sh"
# shellcheck source=scripts/test-passes.sh
. "$src/scripts/test-passes.sh"
test_user=$(unprivileged_user)
run_from_readable_copy run-tests.sh "$@"
trap 'steps_report $?; pg_server_stop' EXIT

step "release build"
cmake --preset release -S "$src" >/dev/null
cmake --build "$src/build/release" -j "$jobs"

step "clang-tidy over src/, tools/, indexer/ and server/"
python3 "$src/scripts/tidy.py" "$src/build/release" -j "$jobs"

step "install and package checks: outside consumer, lintian, example host (ctest -L install)"
run_install_tests "$src/build/release"

step "AddressSanitizer + UndefinedBehaviorSanitizer build"
cmake --preset asan -S "$src" >/dev/null
cmake --build "$src/build/asan" -j "$jobs"
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
step "tests (ASan + UBSan)"
run_ctest "$src/build/asan"

step "ThreadSanitizer build (concurrency tests and the media server)"
cmake --preset tsan -S "$src" >/dev/null
cmake --build "$src/build/tsan" -j "$jobs"
if [ -n "$(find "$src/build/tsan/tests" -name '*_test' -type f -perm -u+x 2>/dev/null)" ]; then
    step "tests (TSan)"
    # The TSan build has no tool of its own: the server's load test uses the release one.
    CALYX_TOOL="$src/build/release/tools/calyx" \
        TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1} \
        run_ctest "$src/build/tsan" -L concurrency
fi

step "fuzz targets, brief run"
# Long enough for a target that crashes at once to fail the build.
CALYX_FUZZ_SECONDS=${CALYX_CI_FUZZ_SECONDS:-10} bash "$src/scripts/run-fuzz.sh"

step "valgrind memcheck"
bash "$src/scripts/valgrind.sh"
steps_report
trap pg_server_stop EXIT
printf '\n== all tests passed\n'
