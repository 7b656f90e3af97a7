#!/usr/bin/env bash
# Sourced by the scripts: installs Debian packages that are missing, and builds.
# shellcheck disable=SC2034 # the lists are for those that source this
#
# usage: ensure_packages package...
# Quiet where nothing is missing. Needs root or sudo otherwise; says what to do where neither is at hand. What a package
# is for counts, not how it came here: where its command or its CMake or pkg-config package is found it is not missing.
# Where there is no apt-get, what is not found is only told: the build then says what it really lacks, and
# packages_are_complete is 0.

# Something else than dpkg that shows that what a package is for is there.
found_without_dpkg() {
    case $1 in
    g++) command -v "${CXX:-c++}" ;;
    cmake | clang | clang-format | clang-tidy | chromium | sqlite3 | zsh | doxygen | lintian | pkg-config | munge | parallel | slurmctld | slurmd) command -v "$1" ;;
    dpkg-dev) command -v dpkg-shlibdeps ;;
    ninja-build) command -v ninja ;;
    groff-base) command -v groff ;;
    procps) command -v ps ;;
    slurm-client) command -v sbatch ;;
    python3 | mypy) command -v "$1" ;;
    pybind11-dev) has_package pybind11 pybind11Config.cmake ;;
    libopencv-dev) has_package opencv4 OpenCVConfig.cmake ;;
    libjpeg62-turbo-dev) has_package libjpeg - ;;
    libpng-dev) has_package libpng - ;;
    libsleef-dev) has_package sleef - || has_header sleef.h ;;
    libeigen3-dev) has_package eigen3 Eigen3Config.cmake ;;
    libceres-dev) has_package ceres CeresConfig.cmake ;;
    libcli11-dev) has_package CLI11 CLI11Config.cmake ;;
    nlohmann-json3-dev) has_package nlohmann_json nlohmann_jsonConfig.cmake ;;
    libfmt-dev) has_package fmt fmt-config.cmake ;;
    libexif-dev) has_package libexif - ;;
    libsqlite3-dev) has_package sqlite3 - ;;
    liblcms2-dev) has_package lcms2 - ;;
    libheif-dev) has_package libheif - ;;
    libjxl-dev) has_package libjxl - ;;
    libopenexr-dev) has_package OpenEXR - ;;
    libraw-dev) has_package libraw_r - ;;
    libtiff-dev) has_package libtiff-4 - ;;
    libgif-dev) has_header gif_lib.h ;;
    libhnswlib-dev) has_header hnswlib/hnswlib.h ;;
    libexiv2-dev) has_package exiv2 - ;;
    zlib1g-dev) has_package zlib - ;;
    libssl-dev) has_package libcrypto - ;;
    libgtest-dev) has_package gtest GTestConfig.cmake ;;
    libbenchmark-dev) has_package benchmark benchmarkConfig.cmake ;;
    *) false ;;
    esac >/dev/null 2>&1
}

# A package by the name that pkg-config knows, or by its CMake file below a folder where CMake looks.
has_package() {
    pkg-config --exists "$1" && return
    [ "$2" != - ] || return
    local place
    while read -r place; do
        [ -z "$place" ] || [ -z "$(find "$place"/lib* "$place"/share -maxdepth 4 -iname "$2" -print -quit)" ] || return 0
    done < <(printf '%s\n' /usr /usr/local "${CMAKE_PREFIX_PATH:-}" | tr ':;' '[\n*]')
    return 1
}

has_header() {
    echo "#include <$1>" | "${CXX:-c++}" -fsyntax-only -x c++ -
}

packages_are_complete=1
ensure_packages() {
    local missing=() package
    for package in "$@"; do
        if [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ] &&
            ! found_without_dpkg "$package"; then
            missing+=("$package")
        fi
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    if ! command -v apt-get >/dev/null; then
        packages_are_complete=0
        echo "likeness: warning: not found, and there is no apt-get to install them: ${missing[*]} (Debian's names)" >&2
        return 0
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
    local log before
    log=$(mktemp)
    before=$(linear_algebra)
    if ! { "${as_root[@]}" apt-get update &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install --yes --no-install-recommends "${missing[@]}"
    } >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        echo "likeness: the packages could not be installed" >&2
        return 1
    fi
    rm -f "$log"
    keep_linear_algebra "$before" "${as_root[@]}"
}

# Which libraries serve LAPACK and BLAS, a line each: the name of the alternative and the file.
linear_algebra() {
    local link
    for link in /etc/alternatives/lib{lapack,blas}.so.3-*; do
        [ ! -L "$link" ] || echo "${link##*/} $(readlink "$link")"
    done
}

# Ceres Solver's package brings ATLAS, which takes the place of the LAPACK that the image library computes with: its least
# squares would round in other ways, and pictures of `fuse` and `stack` would be others. The one of before stays, on a new
# machine Debian's reference.
#
# usage: keep_linear_algebra BEFORE [sudo]     BEFORE: what `linear_algebra` said
keep_linear_algebra() {
    local before=$1 name file folder kept
    shift
    while read -r name file; do
        [[ $file == */atlas/* ]] || continue
        kept=$(sed -n "s/^$name //p" <<<"$before")
        folder=${name#lib}
        [ -n "$kept" ] || kept=${file/\/atlas\//\/${folder%%.so*}\/}
        [ "$kept" = "$file" ] || [ ! -e "$kept" ] || "$@" update-alternatives --set "$name" "$kept" >/dev/null
    done < <(linear_algebra)
}

# What the library and the program are built with.
library_packages=(libopencv-dev libjpeg62-turbo-dev libpng-dev libsleef-dev libeigen3-dev)
# What the modules of single formats stand on; without one of these its module is not built.
module_packages=(pkg-config libheif-dev libjxl-dev libopenexr-dev libraw-dev libtiff-dev libgif-dev libexiv2-dev
    libceres-dev libhnswlib-dev)
library_packages+=("${module_packages[@]}")
build_packages=(g++ cmake ninja-build "${library_packages[@]}")

# What the programs need on top, and darkroom alone.
program_packages=(libfmt-dev libssl-dev liblcms2-dev zlib1g-dev)
darkroom_packages=("${program_packages[@]}" libcli11-dev nlohmann-json3-dev libexif-dev libsqlite3-dev)

# What the Python package is built with, and needs.
python_packages=(python3 python3-dev python3-numpy pybind11-dev)

# What its tests and examples need on top.
python_test_packages=(python3-pytest python3-hypothesis mypy python3-pip python3-setuptools python3-wheel python3-pandas
    python3-matplotlib python3-skimage python3-distributed)

# What the tests and benchmarks need on top.
test_packages=(libgtest-dev libbenchmark-dev pkg-config chromium zsh groff-base python3-colorspacious python3-scipy
    doxygen dpkg-dev lintian sqlite3 libavif-bin libheif-examples libjxl-tools imagemagick libimage-exiftool-perl openexr)

# What the other checks need: the second compiler with its OpenMP, and what reads the sources.
check_packages=(clang libomp-dev clang-tidy clang-format shellcheck)

# Builds a target once, and again when sources have changed. The first time it says how long that takes; on a terminal it
# shows how far it is. What the tools print is shown only where they fail.
#
# usage: build_program NAME FOLDER TARGET DURATION CMAKE_OPTION...     root: the checkout
build_program() {
    local name=$1 build=$2 target=$3 duration=$4 log status=0
    shift 4
    log=$(mktemp)
    if [ ! -f "$build/build.ninja" ]; then
        echo "$name: building (once, $duration)" >&2
        cmake -G Ninja -S "${root:?}" -B "$build" -DCMAKE_BUILD_TYPE=Release -DLIKENESS_BUILD_TESTS=OFF \
            -DLIKENESS_BUILD_BENCHMARKS=OFF -DLIKENESS_BUILD_EXAMPLES=OFF -DLIKENESS_INSTALL=OFF -DCMAKE_UNITY_BUILD=ON "$@" >"$log" 2>&1 ||
            status=$?
    fi
    if [ $status -eq 0 ]; then
        local step
        NINJA_STATUS='[%f/%t] ' cmake --build "$build" --target "$target" 2>&1 | tee -a "$log" |
            while read -r step _; do
                if [ -t 2 ] && [[ $step == \[*/*\] ]]; then
                    printf '\r%s: %s' "$name" "$step" >&2
                fi
            done || status=$?
        if [ -t 2 ]; then
            printf '\r\033[K' >&2
        fi
    fi
    if [ $status -ne 0 ]; then
        cat "$log" >&2
        echo "$name: the build failed" >&2
    fi
    rm -f "$log"
    return $status
}
