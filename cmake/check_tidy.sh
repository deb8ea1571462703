#!/bin/sh
# check_tidy.sh FILE: fails when clang-tidy has something to say about a source file of the library or the examples.
cd "$(dirname "$0")/.." || exit 1
case $1 in
*.c) set -- "$1" -std=c99 ;;
*) set -- "$1" -std=c++20 -fno-exceptions -fno-rtti ;;
esac
file=$1
shift
exec clang-tidy --quiet "$file" -- "$@" -Iinclude -Isrc -D_FILE_OFFSET_BITS=64
