#!/bin/sh
# Fails, and shows where, when a source file is not as clang-format would lay it out.
cd "$(dirname "$0")/.." || exit 1
find include src tools tests examples bench \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -print0 |
    xargs -0 clang-format --dry-run --Werror
