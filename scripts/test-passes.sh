# shellcheck shell=bash disable=SC2154
# Sourced by the test commands (make test, make test-armhf), after scripts/pg-server.sh.
#
#   run_from_readable_copy SCRIPT [ARGS]
#                   as root, when the test user cannot read the sources (a checkout under
#                   a private home directory), copies them without build/ to a shared
#                   place, afresh, and runs scripts/SCRIPT there instead: does not return
#   run_ctest BUILD [ctest options]
#                   runs the tests of BUILD against a throw-away PostgreSQL server of its
#                   own, stopped and removed afterwards (also when tests fail); as root,
#                   as the test user, and the tests labelled "root" or "netns" as root in
#                   a pass of their own with CALYX_PRIVILEGED_PASS=1
#   run_install_tests BUILD
#                   runs the tests labelled "install" of BUILD (a release build: they
#                   install it, package it and build outside programs against it); as
#                   root, as the test user, since none of that needs privileges
# Needs $src (the repository root), $test_user (from unprivileged_user) and $jobs.

run_from_readable_copy() {
    local script=$1
    shift
    if [ -z "$test_user" ] || runuser -u "$test_user" -- test -r "$src/CMakeLists.txt"; then
        return 0
    fi
    local copy=/var/tmp/calyx-src
    printf '\n== %s\n' "copying the sources to $copy (not readable by $test_user where they are)"
    rm -rf "$copy"
    mkdir -p "$copy"
    tar -C "$src" --exclude=./build -cf - . | tar -C "$copy" -xf -
    chmod -R a+rX "$copy"
    exec bash "$copy/scripts/$script" "$@"
}

# Test labels that run as root (two users, network namespaces) in a pass of their own.
privileged_labels='^(root|netns)$'

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
            CALYX_TEST_TIME_SCALE="${CALYX_TEST_TIME_SCALE:-1}" \
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

run_install_tests() {
    local build=$1
    if [ -n "$test_user" ]; then
        chown -R "$test_user" "$build"
        runuser -u "$test_user" -- ctest --test-dir "$build" --output-on-failure -j "$jobs" \
            -L '^install$'
    else
        ctest --test-dir "$build" --output-on-failure -j "$jobs" -L '^install$'
    fi
}
