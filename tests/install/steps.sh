# shellcheck shell=sh
# What the scripts of this directory share. $here is the directory, $work one that is removed at the end.
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$@" >&2
    exit 1
}

# quiet COMMAND...: what it prints is shown only when it fails.
quiet() {
    "$@" >"$work/log" 2>&1 || {
        cat "$work/log" >&2
        fail "failed: $*"
    }
}

# expect_planets PROGRAM...: it prints what it is to print, in a directory of its own.
expect_planets() {
    rm -rf "$work/run"
    mkdir "$work/run"
    (cd "$work/run" && "$@") >"$work/printed" || fail "exit status $? of $*"
    diff -u "$here/planets.txt" "$work/printed" || fail "printed by $*"
}

# expect_needs PROGRAM [LIBRARY]: LIBRARY, or none of this project, is what it asks the dynamic linker for.
expect_needs() {
    needed=$(readelf -d "$1" | sed -n 's/.*NEEDED.*\[\(libisam[^]]*\)\]/\1/p')
    [ "$needed" = "${2-}" ] || fail "$1 needs '$needed'"
}
