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
test_user=$(unprivileged_user)
if [ -n "$test_user" ]; then
    # The test user must be able to read the sources (fixtures, SQL); a checkout under a
    # private home directory is copied to a shared place first.
    if ! runuser -u "$test_user" -- test -r "$src/CMakeLists.txt"; then
        copy=/var/tmp/calyx-src
        log "copying the sources to $copy (not readable by $test_user where they are)"
        rm -rf "$copy"
        mkdir -p "$copy"
        tar -C "$src" --exclude=./build -cf - . | tar -C "$copy" -xf -
        chmod -R a+rX "$copy"
        exec bash "$copy/scripts/run-tests.sh" "$@"
    fi
fi

log "release build"
cmake --preset release -S "$src" >/dev/null
cmake --build "$src/build/release" -j "$jobs"

log "install and outside consumer"
bash "$src/scripts/check-install.sh" "$src/build/release"

log "Debian packages: lintian, unpacked tool, example host against the unpacked root"
bash "$src/scripts/check-packages.sh" "$src/build/release"

trap pg_server_stop EXIT

# Test labels that run as root (two users, network namespaces) in a pass of their own.
privileged_labels='^(root|netns)$'

# run_ctest BUILD_DIR [ctest options]: one server per run, stopped and removed afterwards
# (also when tests fail). A server that cannot start fails the command with its log.
run_ctest() {
    local build=$1
    shift
    local status=0
    if [ -n "$test_user" ]; then
        chown -R "$test_user" "$build"
    fi
    pg_server_start "$test_user" "${CALYX_PG_PORT:-55432}"
    local tmp
    tmp=$(mktemp -d /tmp/calyx-tests-XXXXXX)
    chmod 1777 "$tmp"
    if [ -n "$test_user" ]; then
        # Everything but the privileged labels runs as the test user...
        runuser -u "$test_user" -- env TMPDIR="$tmp" PGHOST="$PGHOST" PGPORT="$PGPORT" \
            PGUSER=admin PGDATABASE=calyx CALYX_TEST_SCALE="$CALYX_TEST_SCALE" \
            ctest --test-dir "$build" --output-on-failure -j "$jobs" \
            -LE "$privileged_labels" "$@" || status=$?
        # ...and the tests that need two users or network namespaces run as root, in a
        # pass of their own. Here a skip is a failure: root is what they wait for.
        if [ "$status" -eq 0 ]; then
            env TMPDIR="$tmp" CALYX_PRIVILEGED_PASS=1 \
                ctest --test-dir "$build" --output-on-failure -j "$jobs" \
                -L "$privileged_labels" --no-tests=ignore "$@" || status=$?
        fi
    else
        TMPDIR="$tmp" ctest --test-dir "$build" --output-on-failure -j "$jobs" "$@" || status=$?
    fi
    rm -rf "$tmp"
    pg_server_stop
    return $status
}

log "AddressSanitizer + UndefinedBehaviorSanitizer build"
cmake --preset asan -S "$src" >/dev/null
cmake --build "$src/build/asan" -j "$jobs"
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
log "tests (ASan + UBSan)"
run_ctest "$src/build/asan"

log "ThreadSanitizer build (concurrency tests)"
cmake --preset tsan -S "$src" >/dev/null
cmake --build "$src/build/tsan" -j "$jobs"
if [ -n "$(find "$src/build/tsan/tests" -name '*_test' -type f -perm -u+x 2>/dev/null)" ]; then
    log "tests (TSan)"
    TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1} \
        run_ctest "$src/build/tsan" -L concurrency
fi
# --- step 5, robustness: every fuzz target briefly, then a short valgrind memcheck of
# --- the client tests (scripts/robustness-ci.sh) ---
bash "$src/scripts/robustness-ci.sh"
# --- end of step 5 ---
log "all tests passed"
