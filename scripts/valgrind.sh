#!/usr/bin/env bash
# Valgrind memcheck on a short run of the client identification and client list tests,
# built without sanitizers (the "dev" preset). Any invalid access, use of uninitialised
# memory or definite leak fails the command.
#
#   valgrind.sh [TEST_EXECUTABLE...]   default: the client tests below
#   CALYX_VALGRIND_FILTER   gtest filter for the short run (default: all but slow tests)
set -euo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)
build=$src/build/dev
default_tests=(calyx_client_profiles_test calyx_client_list_test)
if [ $# -gt 0 ]; then tests=("$@"); else tests=("${default_tests[@]}"); fi

cmake --preset dev -S "$src" >/dev/null
present=()
for t in "${tests[@]}"; do
    # A test that does not build fails the step: nothing is skipped silently.
    if ! cmake --build "$build" --target "$t" -j "${CALYX_JOBS:-$(nproc)}" >"$build/valgrind-build.log" 2>&1; then
        echo "valgrind: building $t failed:" >&2
        tail -n 30 "$build/valgrind-build.log" >&2
        exit 1
    fi
    present+=("$t")
done

status=0
for t in "${present[@]}"; do
    exe=$(find "$build/tests" -name "$t" -type f -perm -u+x | head -n 1)
    tmp=$(mktemp -d "${TMPDIR:-/tmp}/calyx-valgrind-XXXXXX")
    echo "valgrind: $t"
    if ! TMPDIR=$tmp CALYX_TEST_SCALE=1 CALYX_SOURCE_DIR=$src \
        valgrind --tool=memcheck --error-exitcode=99 --leak-check=full \
        --errors-for-leak-kinds=definite --show-leak-kinds=definite --track-fds=no \
        --child-silent-after-fork=yes --quiet \
        "$exe" --gtest_brief=1 --gtest_filter="${CALYX_VALGRIND_FILTER:--*Slow*:*Concurren*:*Thread*}"; then
        echo "valgrind: $t FAILED" >&2
        status=1
    fi
    rm -rf "$tmp"
done
exit $status
