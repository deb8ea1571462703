#!/bin/sh
# Writes docs/calls.md, the reference page of the exported calls, from what the public headers say.
#
#   calls_page.sh            writes the page
#   calls_page.sh FILE       writes it to FILE
#   calls_page.sh --check    fails, and shows the difference, when docs/calls.md is not what would be written
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
page=docs/calls.md
. "$root/cmake/calls_read.sh"

made=$(mktemp)
trap 'rm -f "$made"' EXIT
read_calls calls_page >"$made"

case ${1-} in
--check)
    if ! diff -u --label "$page" --label "as the headers have it" "$root/$page" "$made"; then
        echo "$page is not what the headers say; cmake/calls_page.sh writes it anew." >&2
        exit 1
    fi
    ;;
'')
    mkdir -p "$root/docs"
    cat "$made" >"$root/$page"
    ;;
*) cat "$made" >"$1" ;;
esac
