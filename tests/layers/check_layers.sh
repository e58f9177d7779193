#!/usr/bin/env bash
# Checks the arrows between the library's layers and the programs' parts
# (docs/architecture.md) against what the build lets each include: for every layer or
# part and every folder with internal headers (of src/, indexer/ and server/dms/), an
# include of one of that folder's headers must compile exactly when the layer or part may
# use the folder, and fail because the header is not found otherwise.
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
    # The programs see the library's public headers only, and the parts named here. "av"
    # (libav handles) lies below the indexer and the transcoder, and comes with them.
    [av]=""
    [tool]="indexer av"
    [indexer]="av"
    # The index's schema scripts: a part of the indexer's folder without a media library.
    [index_schema]="indexer"
    [transcoder]="av"
    [clients]="common"
    [store]="indexer"
    [content]="clients common store indexer av"
    [transcode]="content clients common store indexer transcoder av"
    [upnp]="transcode content clients common store indexer transcoder av"
    [http]="content clients common store indexer av"
    [admin]="clients common"
    [indexing]="store indexer"
    [watch]=""
    [dms]="admin clients common content http upnp transcode watch store indexing indexer transcoder av"  # the root
    # calyx-dms-worker: the background work that reads media, the only server program
    # that links libav.
    [worker]="indexing store indexer av"
)
# One internal header of each folder that has them, under its source folder.
probes=(src/platform/file_ops.h src/dmsutils/int_arith.h src/client/client_list_state.h
    src/db/pq_expbuffer.h src/host/media_type_word.h indexer/indexed_path.h
    server/dms/common/server_paths.h server/dms/clients/client_road.h
    server/dms/content/catalog.h server/dms/upnp/didl.h server/dms/http/byte_range.h
    server/dms/admin/admin_page.h server/dms/watch/change_settler.h transcoder/frame_fit.h
    server/dms/transcode/time_seek.h server/dms/store/index_connection.h
    server/dms/indexing/media_folders.h av/handles.h)

failures=0
checked=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

# The folders whose code this build holds: a build without the media programs (a cross
# build) has no indexer or server part, so an arrow to one cannot be followed there.
declare -A built=()
for pair in "$@"; do
    built[${pair#*=}]=yes
done
[[ -n ${built[clients]+set} ]] && built[common]=yes
[[ -n ${built[indexer]+set} || -n ${built[transcoder]+set} ]] && built[av]=yes

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
    for source_probe in "${probes[@]}"; do
        [[ -f $source_dir/$source_probe ]] || { fail "probe $source_probe is missing"; continue; }
        probe_folder=$(basename "$(dirname "$source_probe")")
        probe=$probe_folder/$(basename "$source_probe")
        allowed=no
        for f in "$folder" ${may_use[$folder]}; do
            [[ $f == "$probe_folder" ]] && allowed=yes
        done
        [[ $allowed == yes && -z ${built[$probe_folder]+set} ]] && continue
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

# A relative include would step around the scopes; so would a part's header included by
# its bare name from a file beside it, which the compiler finds without any scope.
if relative=$(grep -rnE '#[[:space:]]*include[[:space:]]*"\.\./' "$source_dir/src" \
    "$source_dir/indexer" "$source_dir/transcoder" "$source_dir/av" "$source_dir/server"); then
    fail "relative includes:"
    echo "$relative"
fi
if bare=$(grep -rnE '#[[:space:]]*include[[:space:]]*"[^/"]+\.h"' "$source_dir/indexer" \
    "$source_dir/server/dms"/*/); then
    fail "a part's header included without its folder:"
    echo "$bare"
fi

echo "$checked layer includes checked, $failures failures"
[[ $failures -eq 0 ]]
