#!/usr/bin/env bash
# Installs the library from an existing build tree into a scratch prefix and
# builds the consumer program against it twice: through the CMake package
# and through pkg-config. Usage: tests/consumer/check-install.sh <build-dir>
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "${1:?usage: check-install.sh <build-dir>}" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" > "$work/install.log"
for f in include/zarncrt_core++/zarncrt_core++.h lib/libzarncrt_core++.so.2 lib/libzarncrt_core.so.2 \
         lib/pkgconfig/zarncrt_core++.pc lib/cmake/zarncrt_core++/zarncrt_core++Config.cmake; do
    test -e "$work/prefix/$f" || { echo "install: missing $f"; exit 1; }
done

# CMake package
cmake -S "$here" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$work/prefix" > /dev/null
cmake --build "$work/cmake-build" > /dev/null
LD_LIBRARY_PATH="$work/prefix/lib" "$work/cmake-build/consumer"

# pkg-config: the .pc files name the prefix of the install as a clean path.
export PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig"
read -r cflags < <(pkg-config --cflags zarncrt_core++)
[ "$cflags" = "-I$work/prefix/include/zarncrt_core++" ] ||
    { echo "install: pkg-config --cflags zarncrt_core++ printed '$cflags'"; exit 1; }
c++ -std=c++17 "$here/consumer.cpp" -o "$work/consumer-pc" $(pkg-config --cflags --libs zarncrt_core++)
LD_LIBRARY_PATH="$work/prefix/lib" "$work/consumer-pc"
# The example programs, built stand-alone against the installed package.
cmake -S "$here/../../examples" -B "$work/examples" -DCMAKE_PREFIX_PATH="$work/prefix" > /dev/null
cmake --build "$work/examples" -j2 > /dev/null
for program in wordindex example_composite_keys example_string_map_cache example_file_logger; do
    # TMPDIR keeps the file logger's output in the scratch directory.
    TMPDIR="$work" LD_LIBRARY_PATH="$work/prefix/lib" "$work/examples/$program" > "$work/$program.out" ||
        { echo "install check: $program failed"; cat "$work/$program.out"; exit 1; }
done
test -x "$work/prefix/bin/wordindex" || { echo "install: missing bin/wordindex"; exit 1; }

# A tree moved after installation still works: the CMake package and the
# $ORIGIN run paths find their own place, pkg-config does with --define-prefix.
mv "$work/prefix" "$work/moved"
rm -rf "$work/cmake-build"
cmake -S "$here" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$work/moved" > /dev/null
cmake --build "$work/cmake-build" > /dev/null
"$work/cmake-build/consumer" > /dev/null
export PKG_CONFIG_PATH="$work/moved/lib/pkgconfig"
read -r cflags < <(pkg-config --define-prefix --cflags zarncrt_core++)
[ "$cflags" = "-I$work/moved/include/zarncrt_core++" ] ||
    { echo "install: pkg-config --define-prefix --cflags printed '$cflags' for the moved tree"; exit 1; }
c++ -std=c++17 "$here/consumer.cpp" -o "$work/consumer-moved" \
    $(pkg-config --define-prefix --cflags --libs zarncrt_core++)
LD_LIBRARY_PATH="$work/moved/lib" "$work/consumer-moved" > /dev/null
"$work/moved/bin/wordindex" --version > /dev/null
echo "install check: CMake package, pkg-config (clean paths) and the examples work, also after a move"
