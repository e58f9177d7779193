#!/usr/bin/env bash
# Checks the arrows between the library's layers (docs/architecture.md) against what the
# build lets each layer include: for every layer and every folder of src/ with internal
# headers, an include of one of that folder's headers must compile exactly when the layer
# may use the folder, and fail because the header is not found otherwise.
#   check_layers.sh COMPILER SOURCE_DIR INCLUDES_DIR TARGET=FOLDER...
# INCLUDES_DIR holds TARGET.includes, the include directories of each target, one a line.
set -uo pipefail

compiler=$1 source_dir=$2 includes_dir=$3
shift 3

# What each layer may include besides its own folder. The rule, not the build: a target
# that gains a forbidden arrow in CMake fails here.
declare -A may_use=(
    [platform]=""
    [dmsutils]="platform"
    [i18n]="platform"
    [client]="dmsutils platform"
    [db]="dmsutils platform"
    [host]="dmsutils platform"
    [public]=""  # the tool and the server: public headers only
)
# One internal header of each folder that has them.
probes=(platform/file_ops.h dmsutils/int_arith.h client/client_list_state.h
    db/pq_expbuffer.h host/media_type_word.h)

failures=0
checked=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

for pair in "$@"; do
    target=${pair%%=*} folder=${pair#*=}
    if [[ -z ${may_use[$folder]+set} ]]; then
        fail "$target: no rule for folder '$folder' (add it here and to docs/architecture.md)"
        continue
    fi
    flags=()
    while IFS= read -r dir; do
        [[ -n $dir ]] && flags+=("-I$dir")
    done <"$includes_dir/$target.includes"
    for probe in "${probes[@]}"; do
        [[ -f $source_dir/src/$probe ]] || { fail "probe $probe is missing"; continue; }
        probe_folder=${probe%%/*}
        allowed=no
        for f in "$folder" ${may_use[$folder]}; do
            [[ $f == "$probe_folder" ]] && allowed=yes
        done
        output=$(printf '#include "%s"\n' "$probe" |
            "$compiler" -std=c++17 -E -x c++ "${flags[@]}" -o /dev/null - 2>&1)
        status=$?
        checked=$((checked + 1))
        if [[ $allowed == yes && $status -ne 0 ]]; then
            fail "$target ($folder) may include $probe but cannot:"
            echo "$output" | head -5
        elif [[ $allowed == no && $status -eq 0 ]]; then
            fail "$target ($folder) must not see $probe, but it compiles"
        elif [[ $allowed == no && $output != *"$probe"*"No such file"* ]]; then
            fail "$target ($folder) including $probe failed for another reason:"
            echo "$output" | head -5
        fi
    done
done

# A relative include would step around the scopes.
if relative=$(grep -rnE '#[[:space:]]*include[[:space:]]*"\.\./' "$source_dir/src"); then
    fail "relative includes in src/:"
    echo "$relative"
fi

echo "$checked layer includes checked, $failures failures"
[[ $failures -eq 0 ]]
