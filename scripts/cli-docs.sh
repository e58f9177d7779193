#!/usr/bin/env bash
# Generates the manual pages (one per command: calyx.1, calyx-clients.1,
# calyx-clients-set-profile.1, ...) and the bash completion of the calyx tool from one
# source: the tool's own --help texts, so they always describe the options it has.
#
#   scripts/cli-docs.sh CALYX OUTPUT_DIR VERSION
# writes OUTPUT_DIR/man1/*.1.gz and OUTPUT_DIR/bash-completion/calyx.
set -euo pipefail
calyx=$1
out=$2
version=$3
mkdir -p "$out/man1" "$out/bash-completion"
rm -f "$out"/man1/*.1.gz

# troff text: backslashes and hyphens escaped, a leading dot or quote made literal.
roff() { sed -e 's/\\/\\e/g' -e 's/-/\\-/g' -e "s/^\([.']\)/\\\\\&\1/"; }

# The items ("name  description") of one section of a help text; a description that the
# help puts on a line of its own is joined to its item.
section_items() {  # HELP SECTION
    awk -v section="$2:" '
        $0 == section { inside = 1; next }
        inside && /^$/ { exit }
        inside && /^  [^ ]/ { if (item != "") print item; item = $0; next }
        inside && /^   / { sub(/^ +/, ""); item = item "  " $0 }
        END { if (item != "") print item }
    ' <<<"$1"
}

# Lines after the last section: the command's notes and the exit status.
footer_lines() {
    awk '/^$/ { blank = NR } { line[NR] = $0 } END { for (i = blank + 1; i <= NR; i++) print line[i] }' <<<"$1"
}

completion_cases=""

document() {  # COMMAND WORDS...
    local words=("$@")
    local help
    help=$("$calyx" "${words[@]:1}" --help)
    local name
    name=$(IFS=-; echo "${words[*]}")
    local title
    title=$(tr '[:lower:]' '[:upper:]' <<<"$name")
    local description usage
    description=$(head -n 1 <<<"$help")
    usage=$(grep -m 1 '^Usage: ' <<<"$help" | sed 's/^Usage: //')
    {
        printf '.TH %s 1 "" "calyx %s" "User Commands"\n' "$title" "$version"
        printf '.SH NAME\n%s \\- %s\n' "$(roff <<<"$name")" "$(roff <<<"${description#calyx: }")"
        printf '.SH SYNOPSIS\n.B %s\n' "$(roff <<<"$usage")"
        printf '.SH DESCRIPTION\n%s\n' "$(roff <<<"$description")"
        for section in Positionals Options Subcommands; do
            local items
            items=$(section_items "$help" "$section")
            [ -z "$items" ] && continue
            case $section in
                Positionals) printf '.SH ARGUMENTS\n' ;;
                Options) printf '.SH OPTIONS\n' ;;
                Subcommands) printf '.SH COMMANDS\n' ;;
            esac
            while IFS= read -r item; do
                local term text
                term=$(sed -E 's/^  ([^ ]([^ ]| [^ ])*)( {2,}.*)?$/\1/' <<<"$item")
                text=$(sed -E 's/^  ([^ ]([^ ]| [^ ])*)( {2,}(.*))?$/\4/' <<<"$item")
                printf '.TP\n.B %s\n%s\n' "$(roff <<<"$term")" "$(roff <<<"$text")"
            done <<<"$items"
        done
        local notes
        notes=$(footer_lines "$help")
        if [ -n "$notes" ]; then
            printf '.SH NOTES\n'
            while IFS= read -r line; do
                printf '%s\n.br\n' "$(roff <<<"$line")"
            done <<<"$notes"
        fi
        if [ ${#words[@]} -gt 1 ]; then
            printf '.SH SEE ALSO\n.BR calyx (1)\n'
        fi
    } | gzip -9n >"$out/man1/$name.1.gz"

    # Completion: the words that may follow this command.
    local options subcommands
    options=$(section_items "$help" Options | sed -E 's/^  ([^ ]+).*/\1/' | tr ',' ' ' | tr '\n' ' ')
    subcommands=$(section_items "$help" Subcommands | sed -E 's/^  ([^ ]+).*/\1/' | tr '\n' ' ')
    completion_cases+="        \"${words[*]:1}\") words=\"$subcommands$options\" ;;"$'\n'
    for sub in $subcommands; do
        document "${words[@]}" "$sub"
    done
}

document calyx

cat >"$out/bash-completion/calyx" <<COMPLETION
# bash completion for calyx (generated from its --help texts)
_calyx() {
    local cur=\${COMP_WORDS[COMP_CWORD]} path="" word words i
    # The command path typed so far: every earlier word that is not an option.
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=\${COMP_WORDS[i]}
        case \$word in
            -*) ;;
            *) case "\${path:+\$path }\$word" in
$(printf '%s' "$completion_cases" | sed -E 's/^ +"([^"]*)"\).*/                   "\1") path="\1" ;;/' | grep -v '^ *"") ')
               esac ;;
        esac
    done
    case "\$path" in
$completion_cases        *) words="" ;;
    esac
    if [[ \$cur != -* ]] && [ -n "\$words" ]; then
        COMPREPLY=(\$(compgen -W "\$words" -- "\$cur") \$(compgen -f -- "\$cur"))
    else
        COMPREPLY=(\$(compgen -W "\$words" -- "\$cur"))
    fi
}
complete -F _calyx calyx
COMPLETION
