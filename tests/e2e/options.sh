#!/usr/bin/env bash
# The program's own options are answered on the console, with no display at
# all: the window's platform is named but has no X server to reach.
#
# options.sh PROGRAM VERSION
set -uo pipefail

program="$1"
version="$2"
failures=0

check() {
    local what="$1" expected_status="$2" pattern="$3"
    shift 3
    local output status
    output="$(env -u DISPLAY -u WAYLAND_DISPLAY QT_QPA_PLATFORM=xcb "$program" "$@" 2>&1)"
    status=$?
    if [ "$status" -ne "$expected_status" ] || ! grep -Eq -- "$pattern" <<<"$output"; then
        echo "FAIL: $what: status $status, output:" >&2
        echo "$output" >&2
        failures=$((failures + 1))
    else
        echo "PASS: $what"
    fi
}

check "--version" 0 "^speckmend ${version//./\\.}\$" --version
check "-v" 0 "^speckmend ${version//./\\.}\$" -v
check "--help" 0 "^Usage: .*speckmend \[options\]" --help
check "--help names --version" 0 "--version" --help
check "an unknown option beside --help" 1 "Unknown option 'frobnicate'" --frobnicate --help

[ "$failures" -eq 0 ]
