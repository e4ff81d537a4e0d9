#!/usr/bin/env bash
# Builds the Debian packages from this source tree and takes them through a
# round trip: contents, symbols file, lintian, installation, a consumer built
# against the installed -dev package (CMake package and pkg-config, whose
# flags must be clean absolute paths), the same binaries on the checked
# libraries, wordindex and its manual page, the API reference, removal.
#   check-packages.sh [<packaging-build-dir>]
# The build directory (configured for /usr) is kept when given, so later runs
# rebuild only what changed; without it a scratch directory is used. The
# checked libraries' package comes from a second build directory beside it,
# <packaging-build-dir>-checked.
#
# Where the packages are installed (environment variable):
#   ZARNCRT_PACKAGING_INSTALL unset or "private" (the default): unpacked with
#       dpkg -x into a private root in a scratch directory, removed with it.
#       Nothing on the machine changes: no dpkg database entry, no file
#       outside the scratch and build directories, no man-db cache update.
#   ZARNCRT_PACKAGING_INSTALL=system: installed into the running system with
#       dpkg -i, then purged with dpkg -P, and the script checks that nothing
#       is left behind. Needs root and a system on which none of the packages
#       is installed (else the check fails). Meant for CI (.ci/run sets it
#       for the README test command) and throw-away machines.
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

mode=${ZARNCRT_PACKAGING_INSTALL:-private}
case $mode in
    private | system) ;;
    *) fail "ZARNCRT_PACKAGING_INSTALL must be 'private' or 'system', not '$mode'" ;;
esac

for tool in dpkg-deb dpkg-shlibdeps dpkg-gensymbols lintian pkg-config man c++ doxygen; do
    if ! command -v "$tool" > /dev/null; then
        echo "check-packages: $tool not found (install dpkg-dev lintian man-db pkg-config doxygen), check skipped"
        exit 77
    fi
done

build=${1:-$work/build}
mkdir -p "$build"
build=$(cd "$build" && pwd)
cmake -S "$root" -B "$build" -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_BUILD_TYPE=Release \
      -DBUILD_TESTING=OFF -DZARNCRT_BUILD_BENCH=OFF -DZARNCRT_BUILD_DOCS=ON > "$work/configure.log" ||
    { cat "$work/configure.log"; fail "configure failed"; }
rm -f "$build"/*.deb
cmake --build "$build" -j2 --target package > "$work/build.log" ||
    { cat "$work/build.log"; fail "package build failed"; }
checked_build=$build-checked
cmake -S "$root" -B "$checked_build" -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_BUILD_TYPE=Release \
      -DBUILD_TESTING=OFF -DZARNCRT_BUILD_BENCH=OFF -DZARNCRT_BUILD_EXAMPLES=OFF \
      -DZARNCRT_BUILD_DOCS=OFF -DZARNCRT_CHECKED=ON > "$work/configure-checked.log" ||
    { cat "$work/configure-checked.log"; fail "configure of the checked build failed"; }
rm -f "$checked_build"/*.deb
cmake --build "$checked_build" -j2 --target package > "$work/build-checked.log" ||
    { cat "$work/build-checked.log"; fail "checked package build failed"; }

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
arch=$(dpkg --print-architecture)
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
libdir=usr/lib/$multiarch
html=usr/share/doc/libzarncrt-core++-doc/html

# The packages (in installation order; cmake/Packaging.cmake makes them) and
# what each must hold, where. A package built for all architectures is named
# in arch_all.
packages=(libzarncrt-core++2 libzarncrt-core++2-checked libzarncrt-core++-dev zarncrt-tools
          libzarncrt-core++-doc)
declare -A arch_all=([libzarncrt-core++-doc]=1)
declare -A build_of=([libzarncrt-core++2-checked]=$checked_build)
checked_libdir=$libdir/zarncrt-checked
declare -A contents=(
    [libzarncrt-core++2]="$libdir/libzarncrt_core++.so.2 $libdir/libzarncrt_core++.so.$version
        $libdir/libzarncrt_core.so.2 $libdir/libzarncrt_core.so.$version
        usr/share/doc/libzarncrt-core++2/copyright"
    [libzarncrt-core++2-checked]="$checked_libdir/libzarncrt_core++.so.2
        $checked_libdir/libzarncrt_core++.so.$version $checked_libdir/libzarncrt_core.so.2
        $checked_libdir/libzarncrt_core.so.$version usr/share/doc/libzarncrt-core++2-checked/copyright"
    [libzarncrt-core++-dev]="usr/include/zarncrt_core++/zarncrt_core++.h $libdir/libzarncrt_core++.so
        $libdir/libzarncrt_core.so $libdir/pkgconfig/zarncrt_core++.pc $libdir/pkgconfig/zarncrt_core.pc
        $libdir/cmake/zarncrt_core++/zarncrt_core++Config.cmake
        usr/share/doc/libzarncrt-core++-dev/copyright"
    [zarncrt-tools]="usr/bin/wordindex usr/share/man/man1/wordindex.1.gz
        usr/share/doc/zarncrt-tools/copyright"
    [libzarncrt-core++-doc]="$html/index.html $html/classBPlusKey.html $html/classQorFileLogger.html
        $html/QorCore_8h.html usr/share/doc/libzarncrt-core++-doc/copyright
        usr/share/doc-base/libzarncrt-core++-doc"
)

declare -A deb_of
debs=()
for p in "${packages[@]}"; do
    a=$arch
    [ -z "${arch_all[$p]:-}" ] || a=all
    deb=${build_of[$p]:-$build}/${p}_${version}_${a}.deb
    test -f "$deb" || fail "missing $(basename "$deb")"
    [ "$(dpkg-deb -f "$deb" Architecture)" = "$a" ] || fail "$(basename "$deb") is not Architecture $a"
    deb_of[$p]=$deb
    debs+=("$deb")
    echo "check-packages: $(basename "$deb"): $(stat -c %s "$deb") bytes," \
         "installed size $(dpkg-deb -f "$deb" Installed-Size) KiB"
    dpkg-deb -c "$deb" | awk '{print $6}' | sed 's|^\./||' > "$work/contents"
    for f in ${contents[$p]}; do
        grep -qx "$f" "$work/contents" || fail "$(basename "$deb") lacks /$f"
    done
done
[ ${#debs[@]} = "$(ls "$build"/*.deb "$checked_build"/*.deb | wc -l)" ] ||
    fail "cpack made packages that this script does not know"
dpkg-deb -e "${deb_of[libzarncrt-core++2]}" "$work/control"
for f in shlibs symbols triggers; do
    test -f "$work/control/$f" || fail "libzarncrt-core++2 has no $f control file"
done
dpkg-deb -f "${deb_of[libzarncrt-core++-dev]}" Depends | grep -qF "libzarncrt-core++2 (= $version)" ||
    fail "the -dev package does not depend on libzarncrt-core++2 (= $version)"
[ "$(dpkg-deb -f "${deb_of[libzarncrt-core++-doc]}" Section)" = doc ] || fail "the -doc package is not in section doc"
dpkg-deb -f "${deb_of[libzarncrt-core++2-checked]}" Depends | grep -qF "libzarncrt-core++2 (= $version)" ||
    fail "the checked package does not depend on libzarncrt-core++2 (= $version)"

# The symbols file shipped is the checked-in one, and it is current.
"$root/scripts/update-debian-symbols.sh" "$build" --check

# No lintian error and no warning that is not overridden with a reason.
status=0
lintian --fail-on error,warning "${debs[@]}" > "$work/lintian.out" 2>&1 || status=$?
grep -v "root privileges" "$work/lintian.out" || true
[ $status = 0 ] || fail "lintian found errors or warnings"
echo "check-packages: lintian: no errors, no warnings"

# Install: into the running system only when asked (see the header).
if [ "$mode" = system ]; then
    [ "$(id -u)" = 0 ] || fail "ZARNCRT_PACKAGING_INSTALL=system needs root"
    ! any_known "${packages[@]}" && [ ! -e "/$libdir/libzarncrt_core++.so.2" ] ||
        fail "ZARNCRT_PACKAGING_INSTALL=system: the packages or their files are already on this system"
    dpkg -i "${debs[@]}" > "$work/dpkg.log" || { cat "$work/dpkg.log"; fail "dpkg -i failed"; }
    for p in "${packages[@]}"; do installed=("$p" "${installed[@]}"); done  # removal order
    sysroot=
    echo "check-packages: installed into the system with dpkg -i (ZARNCRT_PACKAGING_INSTALL=system)"
else
    sysroot=$work/root
    for deb in "${debs[@]}"; do dpkg -x "$deb" "$sysroot"; done
    export LD_LIBRARY_PATH=$sysroot/$libdir
    echo "check-packages: unpacked into a private root with dpkg -x (the system is not touched)"
fi
prefix=$sysroot/usr

# The consumer against the installed -dev package, both ways.
cmake -S "$root/tests/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=$([ "$prefix" = /usr ] && echo ON || echo OFF) > /dev/null
cmake --build "$work/consumer" > /dev/null
"$work/consumer/consumer"
# pkg-config: the installed .pc files name plain absolute paths under /usr
# (in a private root pkg-config's sysroot prefixes them with the root).
if [ -n "$sysroot" ]; then
    export PKG_CONFIG_PATH=$sysroot/$libdir/pkgconfig PKG_CONFIG_SYSROOT_DIR=$sysroot
fi
read -r cflags < <(PKG_CONFIG_SYSROOT_DIR= pkg-config --cflags zarncrt_core++)  # trims the blank
[ "$cflags" = "-I/usr/include/zarncrt_core++" ] ||
    fail "pkg-config --cflags zarncrt_core++ printed '$cflags', not -I/usr/include/zarncrt_core++"
for pc in zarncrt_core zarncrt_core++; do
    for variable in prefix libdir includedir; do
        value=$(PKG_CONFIG_SYSROOT_DIR= pkg-config --variable=$variable $pc)
        [[ "$value" =~ ^/usr(/[^./][^/]*)*$ ]] || fail "$pc.pc: $variable is '$value', not a clean path"
    done
done
c++ -std=c++17 "$root/tests/consumer/consumer.cpp" -o "$work/consumer-pc" \
    $(pkg-config --cflags --libs zarncrt_core++)
"$work/consumer-pc"
echo "check-packages: pkg-config --cflags zarncrt_core++: $cflags"

# The same binaries, unchanged, on the checked libraries: the correct
# consumer runs without a report; a faulty program gets the report and aborts.
on_checked=(env "LD_LIBRARY_PATH=$sysroot/$checked_libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}")
"${on_checked[@]}" ldd "$work/consumer-pc" | grep -q "/$checked_libdir/libzarncrt_core++.so.2" ||
    fail "LD_LIBRARY_PATH=/$checked_libdir does not load the checked libzarncrt_core++.so.2"
"${on_checked[@]}" "$work/consumer-pc" 2> "$work/consumer-checked.err" ||
    { cat "$work/consumer-checked.err"; fail "the consumer fails on the checked libraries"; }
[ ! -s "$work/consumer-checked.err" ] ||
    { cat "$work/consumer-checked.err"; fail "the checked libraries reported a correct program"; }
c++ -std=c++17 "$root/examples/misuse_deleted_key.cpp" -o "$work/faulty" \
    $(pkg-config --cflags --libs zarncrt_core++)
status=0
"${on_checked[@]}" "$work/faulty" > /dev/null 2> "$work/faulty.err" || status=$?
[ $status = 134 ] || { cat "$work/faulty.err"; fail "the faulty program exited $status on the checked libraries, not 134 (abort)"; }
grep -q "^zarncrt checked: " "$work/faulty.err" ||
    { cat "$work/faulty.err"; fail "the checked libraries did not report the faulty program"; }
echo "check-packages: on the checked libraries the consumer runs clean and the faulty program is reported:"
head -n 1 "$work/faulty.err"

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

# The API reference: a class page documents the class and its operations.
grep -q "BPlusKey" "$sysroot/$html/classBPlusKey.html" || fail "classBPlusKey.html has no BPlusKey"
grep -q "SetNormalizer" "$sysroot/$html/classBPlusKey.html" || fail "classBPlusKey.html does not document SetNormalizer"
echo "check-packages: the API reference is in /$html"

# Removal leaves nothing behind.
if [ ${#installed[@]} -gt 0 ]; then
    for deb in "${debs[@]}"; do dpkg-deb -c "$deb"; done | awk '$1 !~ /^d/ {print $6}' | sed 's|^\.||' > "$work/files"
    dpkg -P "${installed[@]}" > /dev/null
    installed=()
    while read -r f; do
        [ ! -e "$f" ] && [ ! -L "$f" ] || fail "$f is still there after dpkg -P"
    done < "$work/files"
    ! any_known "${packages[@]}" || fail "packages still known to dpkg after dpkg -P"
    for d in /usr/include/zarncrt_core++ "/$libdir/cmake/zarncrt_core++" /usr/share/doc/libzarncrt-core++-doc \
             "/$checked_libdir"; do
        [ ! -e "$d" ] || fail "$d left behind"
    done
    echo "check-packages: removed with dpkg -P, nothing left behind"
fi
echo "check-packages: the packages build, pass lintian, install ($mode) and work"
