#!/usr/bin/env bash
# Builds the three Debian packages from this source tree and takes them
# through a full round trip: contents, symbols file, lintian, installation,
# a consumer built against the installed -dev package (CMake package and
# pkg-config), wordindex and its manual page, removal. The machine is left
# as it was.
#   check-packages.sh [<packaging-build-dir>]
# The build directory (configured for /usr) is kept when given, so later runs
# rebuild only what changed; without it a scratch directory is used.
# As root with none of the packages installed yet, they are installed with
# dpkg -i and purged again; otherwise they are unpacked into a scratch root.
# Exit status 77: a needed tool is missing (check skipped).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
installed=()
cleanup() {
    if [ ${#installed[@]} -gt 0 ]; then
        dpkg -P "${installed[@]}" > /dev/null || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "check-packages: $*" >&2; exit 1; }
# True when dpkg knows any of the given packages (installed or half-removed).
any_known() {
    local p
    for p; do dpkg-query -W "$p" > /dev/null 2>&1 && return 0; done
    return 1
}

for tool in dpkg-deb dpkg-shlibdeps dpkg-gensymbols lintian pkg-config man c++; do
    if ! command -v "$tool" > /dev/null; then
        echo "check-packages: $tool not found (install dpkg-dev lintian man-db pkg-config), check skipped"
        exit 77
    fi
done

build=${1:-$work/build}
mkdir -p "$build"
build=$(cd "$build" && pwd)
cmake -S "$root" -B "$build" -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_BUILD_TYPE=Release \
      -DBUILD_TESTING=OFF -DZARNCRT_BUILD_BENCH=OFF > "$work/configure.log" ||
    { cat "$work/configure.log"; fail "configure failed"; }
rm -f "$build"/*.deb
cmake --build "$build" -j2 --target package > "$work/build.log" ||
    { cat "$work/build.log"; fail "package build failed"; }

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
arch=$(dpkg --print-architecture)
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
packages=(libzarncrt-core++2 libzarncrt-core++-dev zarncrt-tools)
debs=()
for p in "${packages[@]}"; do
    deb=$build/${p}_${version}_${arch}.deb
    test -f "$deb" || fail "missing $(basename "$deb")"
    debs+=("$deb")
    echo "check-packages: $(basename "$deb"): $(stat -c %s "$deb") bytes," \
         "installed size $(dpkg-deb -f "$deb" Installed-Size) KiB"
done

# What each package must hold, where.
libdir=usr/lib/$multiarch
expect() {
    local deb=$1; shift
    dpkg-deb -c "$deb" | awk '{print $6}' | sed 's|^\./||' > "$work/contents"
    for f in "$@"; do
        grep -qx "$f" "$work/contents" || fail "$(basename "$deb") lacks /$f"
    done
}
expect "${debs[0]}" "$libdir/libzarncrt_core++.so.2" "$libdir/libzarncrt_core++.so.$version" \
       "$libdir/libzarncrt_core.so.2" "$libdir/libzarncrt_core.so.$version" \
       usr/share/doc/libzarncrt-core++2/copyright
expect "${debs[1]}" usr/include/zarncrt_core++/zarncrt_core++.h "$libdir/libzarncrt_core++.so" \
       "$libdir/libzarncrt_core.so" "$libdir/pkgconfig/zarncrt_core++.pc" "$libdir/pkgconfig/zarncrt_core.pc" \
       "$libdir/cmake/zarncrt_core++/zarncrt_core++Config.cmake"
expect "${debs[2]}" usr/bin/wordindex usr/share/man/man1/wordindex.1.gz
dpkg-deb -e "${debs[0]}" "$work/control"
for f in shlibs symbols triggers; do
    test -f "$work/control/$f" || fail "libzarncrt-core++2 has no $f control file"
done
dpkg-deb -f "${debs[1]}" Depends | grep -qF "libzarncrt-core++2 (= $version)" ||
    fail "the -dev package does not depend on libzarncrt-core++2 (= $version)"

# The symbols file shipped is the checked-in one, and it is current.
"$root/scripts/update-debian-symbols.sh" "$build" --check

# No lintian error and no warning that is not overridden with a reason.
status=0
lintian --fail-on error,warning "${debs[@]}" > "$work/lintian.out" 2>&1 || status=$?
grep -v "root privileges" "$work/lintian.out" || true
[ $status = 0 ] || fail "lintian found errors or warnings"
echo "check-packages: lintian: no errors, no warnings"

# Install: into the machine when that is safe, else into a scratch root.
prefix=/usr
if [ "$(id -u)" = 0 ] && ! any_known "${packages[@]}" &&
   [ ! -e "/$libdir/libzarncrt_core++.so.2" ]; then
    dpkg -i "${debs[@]}" > "$work/dpkg.log" || { cat "$work/dpkg.log"; fail "dpkg -i failed"; }
    installed=("${packages[@]}")
    echo "check-packages: installed with dpkg -i"
else
    sysroot=$work/root
    for deb in "${debs[@]}"; do dpkg -x "$deb" "$sysroot"; done
    prefix=$sysroot/usr
    export LD_LIBRARY_PATH=$sysroot/$libdir
    echo "check-packages: unpacked into a scratch root (not root, or the packages are already installed)"
fi

# The consumer against the installed -dev package, both ways.
cmake -S "$root/tests/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=$([ "$prefix" = /usr ] && echo ON || echo OFF) > /dev/null
cmake --build "$work/consumer" > /dev/null
"$work/consumer/consumer"
export PKG_CONFIG_PATH=$prefix/lib/$multiarch/pkgconfig
c++ -std=c++17 "$root/tests/consumer/consumer.cpp" -o "$work/consumer-pc" \
    $(pkg-config --cflags --libs zarncrt_core++)
"$work/consumer-pc"

# The tool and its manual page.
actual=$("$prefix/bin/wordindex" --version)
[[ "$actual" =~ ^wordindex\ [0-9]+\.[0-9]+\.[0-9]+\ \(libzarncrt_core\+\+\ 2\)$ ]] ||
    fail "wordindex --version printed '$actual'"
[ "$actual" = "wordindex $version (libzarncrt_core++ 2)" ] ||
    echo "check-packages: note: wordindex --version names another version than the package ($version): $actual"
MANWIDTH=80 man -l "$prefix/share/man/man1/wordindex.1.gz" 2> "$work/man.err" > "$work/man.out"
[ ! -s "$work/man.err" ] || { cat "$work/man.err"; fail "man reported problems with wordindex.1"; }
grep -q "EXIT STATUS" "$work/man.out" || fail "the manual page has no EXIT STATUS section"
echo "check-packages: consumer (CMake package, pkg-config), wordindex --version and man -l work"

# Removal leaves nothing behind.
if [ ${#installed[@]} -gt 0 ]; then
    for deb in "${debs[@]}"; do dpkg-deb -c "$deb"; done | awk '$1 !~ /^d/ {print $6}' | sed 's|^\.||' > "$work/files"
    dpkg -P zarncrt-tools libzarncrt-core++-dev libzarncrt-core++2 > /dev/null
    installed=()
    while read -r f; do
        [ ! -e "$f" ] && [ ! -L "$f" ] || fail "$f is still there after dpkg -P"
    done < "$work/files"
    ! any_known "${packages[@]}" || fail "packages still known to dpkg after dpkg -P"
    [ ! -e /usr/include/zarncrt_core++ ] || fail "/usr/include/zarncrt_core++ left behind"
    echo "check-packages: removed with dpkg -P, nothing left behind"
fi
echo "check-packages: the packages build, pass lintian, install and work"
