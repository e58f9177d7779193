#!/usr/bin/env bash
# make demo: runs the library's main job on the shipped sample data.
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
"$src/build/release/tools/calyx-example"
