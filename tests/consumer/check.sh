#!/usr/bin/env bash
# Installs a build into a staging folder and builds the consumer against it, then against the checkout itself.
# usage: check.sh SOURCE BUILD SCRATCH
set -euo pipefail
source=$1 build=$2 scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch"

cmake --install "$build" --prefix "$scratch/stage" >"$scratch/install.log"
cd "$scratch"
line=$("$scratch/stage/bin/likeness" "$source/examples/photos/cat.jpg" "$source/examples/photos/cat.jpg")
[ "$line" = "1,1,1,1,1" ] || { echo "the installed program printed '$line'"; exit 1; }
[ -f "$scratch/stage/share/man/man1/likeness.1" ] || { echo "no man page"; exit 1; }
if [ -x "$build/src/darkroom/darkroom" ]; then
    line=$("$scratch/stage/bin/darkroom" compare "$source/examples/photos/cat.jpg" "$source/examples/photos/cat.jpg")
    [ "$line" = "1,1,1,1,1" ] || { echo "the installed darkroom printed '$line'"; exit 1; }
    for file in man/man1/darkroom.1 bash-completion/completions/darkroom zsh/site-functions/_darkroom; do
        [ -s "$scratch/stage/share/$file" ] || { echo "no $file"; exit 1; }
    done
fi

for way in installed subdirectory; do
    options=(-DCMAKE_BUILD_TYPE=Release)
    if [ $way = installed ]; then
        options+=("-DCMAKE_PREFIX_PATH=$scratch/stage")
    else
        options+=("-DLIKENESS_SOURCE=$source")
    fi
    cmake -G Ninja -S "$source/tests/consumer" -B "$scratch/$way" "${options[@]}" >"$scratch/$way.log"
    cmake --build "$scratch/$way" >>"$scratch/$way.log" || { cat "$scratch/$way.log"; exit 1; }
    "$scratch/$way/consumer"
done

if command -v pkg-config >/dev/null; then
    pkg_config_path=$(dirname "$(find "$scratch/stage" -name likeness.pc)")
    # shellcheck disable=SC2046 # the flags are words
    c++ -std=c++20 -w "$source/tests/consumer/main.cpp" -o "$scratch/with-pkg-config" \
        $(PKG_CONFIG_PATH=$pkg_config_path pkg-config --cflags --libs likeness)
    "$scratch/with-pkg-config"
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
