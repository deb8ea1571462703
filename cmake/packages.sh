# shellcheck shell=sh
# need_packages NAME...: installs the Debian packages that are missing, or says which they are and stops.
# Sourced by the scripts that build.

# What the command isam is built with.
# shellcheck disable=SC2034  # for those who source this
tool_packages='libcli11-dev nlohmann-json3-dev libcsv-dev libmd-dev'

need_packages() {
    if ! command -v dpkg-query >/dev/null; then
        echo "Not a Debian system; what is needed is what these packages hold: $*" >&2
        return 0
    fi
    missing=
    for package in "$@"; do
        status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) || status=
        [ "$status" = installed ] || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0

    as_root=
    if [ "$(id -u)" -ne 0 ]; then
        if command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
            as_root='sudo -n'
        else
            echo "These packages are missing; install them and start again:" >&2
            echo "    apt-get install$missing" >&2
            exit 1
        fi
    fi
    echo "installing$missing"
    install_log=$(mktemp)
    # shellcheck disable=SC2086  # both lists are meant to be split
    if ! { $as_root apt-get update && $as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends $missing; } >"$install_log" 2>&1; then
        cat "$install_log" >&2
        rm -f "$install_log"
        echo "These packages could not be installed:$missing" >&2
        exit 1
    fi
    rm -f "$install_log"
}
