#!/usr/bin/env bash
# Compares the binary interface of a g++ Debug build of both libraries with
# the baselines in abi/*.abi (libabigail's abidiff): changed layouts, virtual
# tables or signatures fail. Usage: check-abi.sh <debug-build-dir> [--update]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:?usage: check-abi.sh <debug-build-dir> [--update]}
report=$(mktemp)
trap 'rm -f "$report"' EXIT
status=0
for lib in core/libzarncrt_core.so.2 libzarncrt_core++.so.2; do
    baseline="$root/abi/$(basename "$lib").abi"
    if [ "${2:-}" = "--update" ]; then
        abidw --no-corpus-path --no-comp-dir-path --out-file "$baseline" "$build/$lib"
        echo "check-abi: wrote $baseline"
    elif abidiff --no-added-syms "$baseline" "$build/$lib" > "$report" 2>&1; then
        echo "check-abi: $(basename "$lib") matches its baseline"
    else
        echo "check-abi: $(basename "$lib") differs from its baseline:"; cat "$report"
        status=1
    fi
done
exit $status
