# Sourced by the scripts: installs Debian packages that are missing.
#
# usage: ensure_packages package...
# Quiet where nothing is missing. Needs root or sudo otherwise; says what to do where neither is at hand.

ensure_packages() {
    local missing=() package
    for package in "$@"; do
        if [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
            missing+=("$package")
        fi
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    if ! command -v apt-get >/dev/null; then
        echo "likeness: these packages are missing, and there is no apt-get to install them: ${missing[*]}" >&2
        return 1
    fi
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "likeness: please install these packages as root: apt-get install ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    echo "likeness: installing ${missing[*]}" >&2
    local log
    log=$(mktemp)
    if ! { "${as_root[@]}" apt-get update &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install --yes --no-install-recommends "${missing[@]}"
    } >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        echo "likeness: the packages could not be installed" >&2
        return 1
    fi
    rm -f "$log"
}

# What the library and the program are built with.
build_packages=(g++ cmake ninja-build libopencv-dev libsleef-dev)

# What the program darkroom needs on top.
darkroom_packages=(libcli11-dev nlohmann-json3-dev libfmt-dev libexif-dev libsqlite3-dev libssl-dev)

# What the tests and benchmarks need on top.
test_packages=(libgtest-dev libbenchmark-dev pkg-config chromium zsh groff-base liblcms2-dev python3-colorspacious)
