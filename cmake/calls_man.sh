#!/bin/sh
# calls_man.sh DIRECTORY [RELEASE [DATE]]: writes the man pages of the exported calls, from what the public headers say.
# The directory holds nothing else afterwards.
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/cmake/calls_read.sh"

directory=$1
rm -rf "$directory"
mkdir -p "$directory"
read_calls calls_man to="$directory" release="${2-}" date="${3-}"
