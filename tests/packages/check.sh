#!/usr/bin/env bash
# Makes the Debian packages of a build, lets lintian look at them, and runs the programs and a user's build from where they
# unpack. Nothing is installed.
# usage: check.sh SOURCE BUILD SCRATCH
set -euo pipefail
source=$1 build=$2 scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch"
cd "$scratch"

fail() {
    echo "$*"
    exit 1
}

cpack --config "$build/CPackConfig.cmake" -B "$scratch/packages" >cpack.log 2>&1 || { cat cpack.log && exit 1; }
version=$(sed -n 's/^#define LIKENESS_VERSION_\(MAJOR\|MINOR\|PATCH\) //p' "$source/include/likeness/version.hpp" | paste -sd.)
architecture=$(dpkg --print-architecture)
programs="packages/likeness_${version}_$architecture.deb"
modules="packages/likeness-modules_${version}_$architecture.deb"
development="packages/liblikeness-dev_${version}_$architecture.deb"
for package in "$programs" "$modules" "$development"; do
    [ -f "$package" ] || fail "no $package, but $(echo packages/*.deb)"
done
# Root has to be told that it may.
lintian --allow-root --fail-on error "$programs" "$modules" "$development" >lintian.log 2>&1 || { cat lintian.log && exit 1; }

# A text is looked through whole: a grep -q that ends at its first match would end the writer of a pipe with a signal, which
# pipefail takes for a failure.
for field in "Package: likeness" "Version: $version" "Architecture: $architecture" "Depends: .*libopencv-core" "Depends: .*libc6" \
    "Depends: .*likeness-modules (= $version)"; do
    grep -q "^$field" <<<"$(dpkg-deb --field "$programs")" || fail "$programs has no field '$field'"
done
if grep -qE 'libopencv-(imgcodecs|video)' <<<"$(dpkg-deb --field "$programs" Depends)"; then
    fail "$programs loads at its start what belongs into the modules"
fi
grep -q libopencv-imgcodecs <<<"$(dpkg-deb --field "$modules" Depends)" || fail "$modules does not depend on its readers"
grep -q libopencv-dev <<<"$(dpkg-deb --field "$development" Depends)" || fail "$development does not depend on libopencv-dev"

# What the packages ask for is there to be installed beside them.
if command -v apt-get >/dev/null; then
    apt-get install --simulate --no-install-recommends "./$programs" "./$modules" "./$development" >apt.log 2>&1 ||
        { cat apt.log && fail "the packages cannot be installed together"; }
    for name in likeness likeness-modules liblikeness-dev; do
        grep -q "^Inst $name " apt.log || { cat apt.log && fail "apt-get would not install $name"; }
    done
fi

dpkg-deb --extract "$programs" likeness
# Without its modules a program reads JPEG and PNG, and says what it lacks for the rest.
printf 'P6\n2 1\n255\nabcdef' >tiny.ppm
if likeness/usr/bin/likeness tiny.ppm tiny.ppm 2>missing.txt; then fail "likeness read a PPM file without its module"; fi
grep -q "^likeness: cannot read 'tiny.ppm': the module likeness_imgcodecs.so cannot be loaded" missing.txt ||
    fail "without its module likeness said: $(cat missing.txt)"
dpkg-deb --extract "$modules" likeness
line=$(likeness/usr/bin/likeness tiny.ppm tiny.ppm)
[ "$line" = "1,1,1,1,1" ] || fail "the packaged likeness printed '$line' for a PPM file"
photos="$source/examples/photos"
line=$(likeness/usr/bin/likeness "$photos/cat.jpg" "$photos/cat.jpg")
[ "$line" = "1,1,1,1,1" ] || fail "the packaged likeness printed '$line'"
line=$(likeness/usr/bin/darkroom compare "$photos/cat.jpg" "$photos/cat.jpg")
[ "$line" = "1,1,1,1,1" ] || fail "the packaged darkroom printed '$line'"
for name in likeness darkroom; do
    grep -q '^\.SH NAME' <<<"$(zcat "likeness/usr/share/man/man1/$name.1.gz")" || fail "no manual of $name"
done
for name in likeness likeness-modules liblikeness-dev; do
    package=$(echo packages/"${name}"_*.deb)
    files=$(dpkg-deb --contents "$package")
    for file in copyright changelog.gz; do
        grep -q "/usr/share/doc/$name/$file" <<<"$files" || fail "$package has no $file"
    done
done

# Installed for real, with all that dpkg does, but into a folder of its own; only root can. What the packages depend on
# stands outside of it.
if [ "$(id -u)" -eq 0 ]; then
    mkdir -p installed/var/lib/dpkg/info installed/var/lib/dpkg/updates
    touch installed/var/lib/dpkg/status installed/var/lib/dpkg/available
    into=(dpkg --force-depends --force-script-chrootless --instdir="$scratch/installed" --admindir="$scratch/installed/var/lib/dpkg")
    "${into[@]}" --install "$modules" "$programs" "$development" >install.log 2>&1 ||
        { cat install.log && fail "dpkg does not install the packages"; }
    for name in likeness likeness-modules liblikeness-dev; do
        state=$(dpkg-query --admindir="$scratch/installed/var/lib/dpkg" -W -f '${Status} ${Version}' "$name")
        [ "$state" = "install ok installed $version" ] || fail "$name is '$state'"
    done
    line=$(installed/usr/bin/likeness tiny.ppm tiny.ppm)
    [ "$line" = "1,1,1,1,1" ] || fail "the installed likeness printed '$line' for a PPM file"
    line=$(installed/usr/bin/darkroom compare "$photos/cat.jpg" "$photos/cat.jpg")
    [ "$line" = "1,1,1,1,1" ] || fail "the installed darkroom printed '$line'"
    "${into[@]}" --purge likeness likeness-modules liblikeness-dev >purge.log 2>&1 ||
        { cat purge.log && fail "dpkg does not purge the packages"; }
    [ -z "$(find installed/usr -type f)" ] || fail "purging leaves $(find installed/usr -type f)"
fi

dpkg-deb --extract "$development" development
dpkg-deb --extract "$modules" development
[ ! -e development/usr/bin ] || fail "$development has programs"
cmake -G Ninja -S "$source/tests/consumer" -B consumer -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_PREFIX_PATH="$scratch/development/usr" >consumer.log
cmake --build consumer --target consumer --target late_module >>consumer.log || { cat consumer.log && exit 1; }
consumer/consumer
consumer/late_module || fail "a user's program does not find its module"

# Of the shared library there are none, which is said where it is chosen.
cmake -G Ninja -S "$source" -B shared -DBUILD_SHARED_LIBS=ON -DLIKENESS_BUILD_TESTS=OFF -DLIKENESS_BUILD_BENCHMARKS=OFF \
    -DLIKENESS_BUILD_DARKROOM=OFF -DLIKENESS_BUILD_EXAMPLES=OFF >shared.log || { cat shared.log && exit 1; }
grep -q "no Debian packages with BUILD_SHARED_LIBS=ON" shared.log || fail "the shared configuration says nothing of packages"
[ ! -e shared/CPackConfig.cmake ] || fail "the shared configuration is one for packages"
