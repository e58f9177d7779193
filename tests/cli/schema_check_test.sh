#!/usr/bin/env bash
# Validates the shipped samples against the schemas with Debian's python3-jsonschema, and
# shows that it and the tool's validator (calyx lint --schema, valijson) accept and reject
# the same files. Both get the document as the library's reader parsed it: the files are
# JSON with comments, so Python reads the output of `calyx lint --print-json`.
#
#   validate-samples.sh CALYX SOURCE_DIR
set -euo pipefail
calyx=$1
src=$2
python=/usr/bin/python3  # Debian's interpreter, the one that has the jsonschema module
work=$(mktemp -d "${TMPDIR:-/tmp}/calyx-schema.XXXXXX")
trap 'rm -rf "$work"' EXIT
failures=0

python_valid() {  # SCHEMA FILE: 0 when the document is valid
    "$calyx" lint --print-json "$2" >"$work/doc.json" || return 2
    "$python" - "$1" "$work/doc.json" <<'PY'
import json, sys
import jsonschema
schema = json.load(open(sys.argv[1]))
jsonschema.Draft7Validator.check_schema(schema)
errors = list(jsonschema.Draft7Validator(schema).iter_errors(json.load(open(sys.argv[2]))))
for e in errors:
    print("  python: %s: %s" % ("/".join(str(p) for p in e.absolute_path), e.message[:160]))
sys.exit(1 if errors else 0)
PY
}

tool_valid() {  # SCHEMA FILE: 0 valid, 1 invalid, anything else a failure of its own
    local status=0
    "$calyx" lint --schema "$1" --schema-only "$2" >"$work/tool.out" 2>&1 || status=$?
    sed 's/^/  tool: /' "$work/tool.out"
    return $status
}

# expect SCHEMA FILE VERDICT (valid|invalid): both validators must give VERDICT.
expect() {
    local schema=$1 file=$2 verdict=$3 py=0 tool=0
    python_valid "$schema" "$file" >"$work/py.out" || py=$?
    tool_valid "$schema" "$file" >>"$work/py.out" || tool=$?
    local want=0
    [ "$verdict" = invalid ] && want=1
    if [ "$py" -ne "$want" ] || [ "$tool" -ne "$want" ]; then
        echo "FAIL ${file#$src/}: expected $verdict, python exit $py, calyx lint exit $tool"
        cat "$work/py.out"
        failures=$((failures + 1))
    else
        echo "ok   ${file#$src/}: $verdict for both"
    fi
}

profiles=$src/schema/profile-list.schema.json
clients=$src/schema/client-list.schema.json
expect "$profiles" "$src/data/profiles.json" valid
for f in "$src"/tests/cli/schema_samples/profile-list/good/*.json; do expect "$profiles" "$f" valid; done
for f in "$src"/tests/cli/schema_samples/profile-list/bad/*.json; do expect "$profiles" "$f" invalid; done
for f in "$src"/tests/cli/schema_samples/client-list/good/*.json; do expect "$clients" "$f" valid; done
for f in "$src"/tests/cli/schema_samples/client-list/bad/*.json; do expect "$clients" "$f" invalid; done

# A client list as the library writes it: every sample client identified and saved.
mkdir -p "$work/root"
while IFS=$'\t' read -r name mac ip _; do
    args=(identify --root "$work/root" -p "$src/data/profiles.json" --mac "$mac" --ip "$ip" --save)
    [ -f "$src/data/clients/$name/description.xml" ] &&
        args+=(--description "$src/data/clients/$name/description.xml")
    args+=(--requests "$src/data/clients/$name/headers.txt")
    "$calyx" "${args[@]}" >/dev/null
done < <(grep -v '^#' "$src/data/clients/clients.tsv")
expect "$clients" "$work/root/var/packages/Calyx/etc/client_list.json" valid

[ "$failures" -eq 0 ] || { echo "$failures schema checks failed"; exit 1; }
echo "all schema checks agree"
