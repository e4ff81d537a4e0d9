#!/usr/bin/env bash
# Keeps packaging/symbols, the Debian symbols file of libzarncrt-core++2, in
# step with the shared libraries of a build tree. The file tells dpkg-shlibdeps
# which package version introduced each exported symbol, so applications get
# the smallest library version that really has what they use.
#   update-debian-symbols.sh <build-dir>          rewrite packaging/symbols:
#       symbols new to the file get the project version of the build tree,
#       symbols that disappeared stay listed as "#MISSING" comments to review
#   update-debian-symbols.sh <build-dir> --check  fail (status 1, with the
#       difference) when a symbol appeared or disappeared without the file
#       being updated; status 77 where dpkg-gensymbols is not installed
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:?usage: update-debian-symbols.sh <build-dir> [--check]}" && pwd)
mode=${2:-}
symbols=$root/packaging/symbols

if ! command -v dpkg-gensymbols > /dev/null; then
    echo "debian symbols: dpkg-gensymbols not found (package dpkg-dev), check skipped"
    exit 77
fi
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
[ -n "$version" ] || { echo "debian symbols: no project version in $build/CMakeCache.txt"; exit 1; }
libs=(-e"$build/libzarncrt_core++.so.2" -e"$build/core/libzarncrt_core.so.2")

# dpkg-gensymbols looks for debian/ files in its working directory.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
if [ "$mode" = "--check" ]; then
    # Level 4: any symbol that appeared or disappeared is an error.
    if dpkg-gensymbols -c4 -plibzarncrt-core++2 -v"$version" -I"$symbols" -O"$work/symbols" "${libs[@]}"; then
        echo "debian symbols: the libraries export exactly the $(grep -c '^ ' "$symbols") symbols of packaging/symbols"
        exit 0
    fi
    echo "debian symbols: the exported symbols differ from packaging/symbols (diff above)."
    echo "  If deliberate: scripts/update-debian-symbols.sh $1 and commit packaging/symbols."
    exit 1
fi
dpkg-gensymbols -q -c0 -plibzarncrt-core++2 -v"$version" -I"$symbols" -O"$work/symbols" "${libs[@]}"
cp "$work/symbols" "$symbols"
echo "debian symbols: wrote packaging/symbols ($(grep -c '^ ' "$symbols") symbols; new ones introduced in $version)"
