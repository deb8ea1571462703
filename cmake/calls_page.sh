#!/bin/sh
# Writes docs/calls.md, the reference page of the exported calls, from what the public headers say.
#
#   calls_page.sh            writes the page
#   calls_page.sh FILE       writes it to FILE
#   calls_page.sh --check    fails, and shows the difference, when docs/calls.md is not what would be written
set -eu
LC_ALL=C
export LC_ALL

cmake=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$cmake")
page=docs/calls.md

make_page() {
    awk -f "$cmake/calls_page.awk" part=messages "$root/src/base/isglobal.cpp" \
        part=isam.h "$root/include/isam.h" part=isam_names.h "$root/include/isam_names.h" \
        part=isam_maint.h "$root/include/isam_maint.h"
}

made=$(mktemp)
trap 'rm -f "$made"' EXIT
make_page >"$made"

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
