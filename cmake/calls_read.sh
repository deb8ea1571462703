# shellcheck shell=sh
# read_calls PROGRAM [NAME=VALUE...]: has cmake/PROGRAM.awk write what the public headers say of the exported calls.
# Sourced by the scripts that make pages of it; $root is the sources' directory.
LC_ALL=C
export LC_ALL

read_calls() {
    program=$1
    shift
    awk -f "$root/cmake/calls_read.awk" -f "$root/cmake/$program.awk" program="$program" "$@" \
        part=messages "$root/src/base/isglobal.cpp" \
        part=isam.h "$root/include/isam.h" part=isam_names.h "$root/include/isam_names.h" \
        part=isam_maint.h "$root/include/isam_maint.h"
}
