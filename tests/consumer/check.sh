#!/usr/bin/env bash
# Installs a build into a staging folder and builds the consumer against it, then against the checkout itself, and against
# the shared library.
# usage: check.sh SOURCE BUILD SCRATCH
set -euo pipefail
source=$1 build=$2 scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch"

fail() {
    echo "$*"
    exit 1
}

cmake --install "$build" --prefix "$scratch/stage" >"$scratch/install.log"
cd "$scratch"
line=$("$scratch/stage/bin/likeness" "$source/examples/photos/cat.jpg" "$source/examples/photos/cat.jpg")
[ "$line" = "1,1,1,1,1" ] || fail "the installed program printed '$line'"
printf 'P6\n2 1\n255\nabcdef' >tiny.ppm
line=$("$scratch/stage/bin/likeness" tiny.ppm tiny.ppm)
[ "$line" = "1,1,1,1,1" ] || fail "the installed program printed '$line' for a file that a module reads"
[ -f "$scratch/stage/share/man/man1/likeness.1" ] || fail "no man page"
if [ -x "$build/bin/darkroom" ]; then
    line=$("$scratch/stage/bin/darkroom" compare "$source/examples/photos/cat.jpg" "$source/examples/photos/cat.jpg")
    [ "$line" = "1,1,1,1,1" ] || fail "the installed darkroom printed '$line'"
    for file in man/man1/darkroom.1 bash-completion/completions/darkroom zsh/site-functions/_darkroom; do
        [ -s "$scratch/stage/share/$file" ] || fail "no $file"
    done
fi

# Everything public stands under the one root, and nothing private is installed.
[ "$(ls "$scratch/stage/include")" = likeness ] || fail "headers outside of include/likeness"
(cd "$scratch/stage/include/likeness" && find . -type f | sort) >installed-headers
(cd "$source/include/likeness" && find . -type f | sort) >public-headers
cmp installed-headers public-headers || fail "the installed headers are not the public ones"

# With the program darkroom there is the module of archives, too.
build_and_run() { # NAME CMAKE-OPTION...
    local name=$1 archives=(without-archives)
    [ "$name" != installed ] || [ ! -x "$build/bin/darkroom" ] || archives=()
    shift
    cmake -G Ninja -S "$source/tests/consumer" -B "$scratch/$name" -DCMAKE_BUILD_TYPE=Release "$@" >"$scratch/$name.log"
    cmake --build "$scratch/$name" >>"$scratch/$name.log" || { cat "$scratch/$name.log" && exit 1; }
    "$scratch/$name/consumer"
    "$scratch/$name/own_headers" || fail "$name: own_headers failed"
    "$scratch/$name/one_statement" "${archives[@]}" || fail "$name: one_statement failed"
    "$scratch/$name/late_module" || fail "$name: late_module failed"
}
build_and_run installed "-DCMAKE_PREFIX_PATH=$scratch/stage"

# The checkout as a subdirectory, as a shared library: a name with its version, only symbols of the project, and a program
# that finds the library where both are installed. Without optimisation and with sources joined: what is asked is whether
# it links and runs.
build_and_run subdirectory "-DLIKENESS_SOURCE=$source" -DCMAKE_CXX_FLAGS_RELEASE=-O0 -DCMAKE_UNITY_BUILD=ON -DBUILD_SHARED_LIBS=ON -DLIKENESS_BUILD_PROGRAMS=ON -DLIKENESS_INSTALL=ON \
    "-DCMAKE_INSTALL_PREFIX=$scratch/shared-stage"
cmake --install "$scratch/subdirectory" --prefix "$scratch/shared-stage" >>"$scratch/subdirectory.log"
library=$(find "$scratch/shared-stage" -name 'liblikeness.so.*.*.*')
[ -n "$library" ] || fail "no liblikeness.so with a version"
for place in "$scratch/subdirectory" "$scratch/shared-stage"; do
    grep -aqF "$place/" "$library" || fail "the library does not look for its modules in $place"
done
grep -qE 'SONAME.*liblikeness\.so\.[0-9]+\.[0-9]+\]' <<<"$(readelf -d "$library")" || fail "the SONAME has no version"
foreign=$(nm -DC --defined-only "$library" | sed 's/^[0-9a-f]* [A-Za-z] //' |
    grep -vE '^((vtable|typeinfo|typeinfo name|VTT|guard variable) for )?likeness::' || true)
[ -z "$foreign" ] || fail "the shared library exports what is not its own: $(head -n 5 <<<"$foreign")"
line=$("$scratch/shared-stage/bin/likeness" "$source/examples/photos/cat.jpg" "$source/examples/photos/cat.jpg")
[ "$line" = "1,1,1,1,1" ] || fail "the program with the shared library printed '$line'"
build_and_run installed-shared "-DCMAKE_PREFIX_PATH=$scratch/shared-stage"

# An empty or relative name among the paths of libraries would be the folder that the user stands in.
while read -r file; do
    paths=$(readelf -d "$file" 2>/dev/null | sed -n 's/.*(R\(UN\)\?PATH).*\[\(.*\)\].*/\2/p' || true)
    [ -n "$paths" ] || continue
    while read -r -d : path; do
        [[ $path == /* || $path == "\$ORIGIN"* ]] || fail "$file looks for libraries in '$path' ($paths)"
    done <<<"$paths:"
done < <(find "$build/bin" "$build/lib" "$scratch/stage" "$scratch/shared-stage" "$scratch/subdirectory/likeness" \
    -type f \( -name 'lib*.so*' -o -name 'likeness*' -o -name darkroom \) 2>/dev/null)

if command -v pkg-config >/dev/null; then
    pkg_config_path=$(dirname "$(find "$scratch/stage" -name likeness.pc)")
    # shellcheck disable=SC2046 # the flags are words
    c++ -std=c++17 -w "$source/tests/consumer/main.cpp" -o "$scratch/with-pkg-config" \
        $(PKG_CONFIG_PATH=$pkg_config_path pkg-config --cflags --libs likeness)
    "$scratch/with-pkg-config"
    # shellcheck disable=SC2046 # the flags are words
    c++ -std=c++17 -w "$source/tests/consumer/late_module.cpp" -o "$scratch/module-with-pkg-config" \
        $(PKG_CONFIG_PATH=$pkg_config_path pkg-config --cflags --libs likeness)
    "$scratch/module-with-pkg-config" || fail "late_module with pkg-config failed"
fi

# The folders of an installation may be absolute, or relative to its prefix.
if command -v pkg-config >/dev/null; then
    flags() { PKG_CONFIG_PATH=$1 pkg-config --variable="$2" likeness; }
    for case in "lib:include:$scratch/where/lib:$scratch/where/include" \
        "$scratch/far/lib64:include:$scratch/far/lib64:$scratch/where/include" \
        "lib/x:$scratch/far/include:$scratch/where/lib/x:$scratch/far/include"; do
        IFS=: read -r libdir includedir expected_libdir expected_includedir <<<"$case"
        rm -rf "$scratch/pc"
        cmake -G Ninja -S "$source" -B "$scratch/pc" -DCMAKE_INSTALL_PREFIX="$scratch/where" \
            -DCMAKE_INSTALL_LIBDIR="$libdir" -DCMAKE_INSTALL_INCLUDEDIR="$includedir" -DLIKENESS_BUILD_TESTS=OFF \
            -DLIKENESS_BUILD_BENCHMARKS=OFF -DLIKENESS_BUILD_DARKROOM=OFF -DLIKENESS_BUILD_EXAMPLES=OFF >"$scratch/pc.log"
        mkdir -p "$expected_libdir/pkgconfig" "$expected_includedir"
        cp "$scratch/pc/likeness.pc" "$expected_libdir/pkgconfig/"
        for kind in libdir includedir; do
            expected=expected_$kind
            found=$(realpath -m "$(flags "$expected_libdir/pkgconfig" $kind)")
            [ "$found" = "${!expected}" ] || { echo "likeness.pc has the $kind '$found', not '${!expected}'"; exit 1; }
        done
    done
fi
