#!/usr/bin/env bash
# Installs a built tree into a staging prefix and builds a program outside this
# repository against it, once through pkg-config and once through find_package(Calyx).
set -euo pipefail

src=$(cd "$(dirname "$0")/../.." && pwd)
build=${1:?usage: install_consumer_test.sh BUILD_DIR}
stage=$(mktemp -d /tmp/calyx-install-XXXXXX)
trap 'rm -rf "$stage"' EXIT

cmake --install "$build" --prefix "$stage/prefix" >/dev/null
libdir=$(dirname "$(find "$stage/prefix" -name 'libcalyx.so' | head -n 1)")
consumer=$src/examples/consumer

# The installed package names its dependencies, never this machine's library files.
if grep -rnE '("|;| )/[^";]*\.(so|a)\b' "$stage/prefix" --include='*.cmake' --include='*.pc'; then
    echo "the installed CMake package or calyx.pc names absolute library paths" >&2
    exit 1
fi

# pkg-config
export PKG_CONFIG_PATH="$(find "$stage/prefix" -type d -name pkgconfig | head -n 1)"
# shellcheck disable=SC2046
c++ -std=c++17 -o "$stage/consumer-pc" "$consumer/main.cpp" $(pkg-config --cflags --libs calyx)
LD_LIBRARY_PATH="$libdir" "$stage/consumer-pc" >"$stage/pc.out"
echo "pkg-config consumer: $(cat "$stage/pc.out")"

# find_package(Calyx)
cmake -S "$consumer" -B "$stage/cmake-build" -G Ninja -DCMAKE_PREFIX_PATH="$stage/prefix" >/dev/null
cmake --build "$stage/cmake-build" >/dev/null
LD_LIBRARY_PATH="$libdir" "$stage/cmake-build/consumer" >"$stage/cmake.out"
echo "find_package consumer: $(cat "$stage/cmake.out")"

# The command-line tool (installed for /usr, without a run path).
if [ -x "$stage/prefix/bin/calyx" ]; then
    echo "installed tool: $(LD_LIBRARY_PATH="$libdir" "$stage/prefix/bin/calyx" --version)"
fi

# The media server, installed the same way.
if [ -x "$stage/prefix/bin/calyx-dms" ]; then
    LD_LIBRARY_PATH="$libdir" "$stage/prefix/bin/calyx-dms" --help >/dev/null
    echo "installed server: calyx-dms"
fi
