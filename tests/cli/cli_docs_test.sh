#!/usr/bin/env bash
# The manual pages and the bash completion generated from the tool's help texts: a page
# for every command, and completion that offers the commands and options of the command
# typed so far.
#
#   cli_docs_test.sh CALYX SOURCE_DIR
set -euo pipefail
calyx=$1
src=$2
out=$(mktemp -d "${TMPDIR:-/tmp}/calyx-docs.XXXXXX")
trap 'rm -rf "$out"' EXIT
bash "$src/scripts/cli-docs.sh" "$calyx" "$out" 0.0-test

fail() { echo "FAIL: $*"; exit 1; }
for page in calyx calyx-identify calyx-video-profile calyx-lint calyx-clients calyx-clients-remove \
    calyx-clients-set-profile calyx-device calyx-media calyx-media-list calyx-translate; do
    [ -f "$out/man1/$page.1.gz" ] || fail "no manual page $page"
done
zcat "$out/man1/calyx-clients-set-profile.1.gz" | grep -q '^\.B \\-\\-force' || fail "--force not documented"
zcat "$out/man1/calyx-lint.1.gz" | grep -q 'Exit status' || fail "no exit status in calyx-lint(1)"

# shellcheck disable=SC1091
. "$out/bash-completion/calyx"
complete_words() {  # WORDS... (the last one is being completed)
    COMP_WORDS=("$@")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _calyx
    echo " ${COMPREPLY[*]} "
}
[[ $(complete_words calyx cl) == *" clients "* ]] || fail "calyx cl -> clients"
[[ $(complete_words calyx clients --root /x se) == *" set-profile "* ]] || fail "clients se"
[[ $(complete_words calyx clients set-profile --f) == *" --force "* ]] || fail "set-profile --f"
[[ $(complete_words calyx lint --sch) == *" --schema "* ]] || fail "lint --sch"
[[ $(complete_words calyx lint --sch) != *" --json "* ]] || fail "lint --sch offers --json"
echo "manual pages and completion: ok"
