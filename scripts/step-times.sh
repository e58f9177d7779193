# shellcheck shell=bash
# Sourced by the test commands: names each step, times it, and lists every step's time
# at the end (also when a step fails), so that a slow step shows where the time went.
#
#   step NAME     ends the running step, if any, prints NAME as a heading and starts it
#   steps_report [STATUS]
#                 ends the running step and prints the table of steps and their times;
#                 a non-zero STATUS (the command's exit status) names the step that failed

step_names=()
step_seconds=()
step_current=""
step_started=0

step_end() {
    if [ -n "$step_current" ]; then
        step_names+=("$step_current")
        step_seconds+=($((SECONDS - step_started)))
        step_current=""
    fi
}

step() {
    step_end
    step_current=$1
    step_started=$SECONDS
    printf '\n== %s\n' "$1"
}

steps_report() {
    local failed=""
    if [ "${1:-0}" -ne 0 ]; then
        failed=$step_current
    fi
    step_end
    [ "${#step_names[@]}" -gt 0 ] || return 0
    local i total=0
    printf '\n== time per step\n'
    for i in "${!step_names[@]}"; do
        printf '  %6d s  %s\n' "${step_seconds[$i]}" "${step_names[$i]}"
        total=$((total + step_seconds[i]))
    done
    printf '  %6d s  total%s\n' "$total" "${failed:+ (failed in: $failed)}"
}
