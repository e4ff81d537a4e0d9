#!/usr/bin/env bash
# Checks that both shared libraries export exactly the symbols listed in
# abi/*.symbols. A missing symbol breaks applications built against an
# earlier release; an added one must be a deliberate change to the list.
# Usage: check-symbols.sh <build-dir> [--update]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:?usage: check-symbols.sh <build-dir> [--update]}
status=0
for lib in core/libzarncrt_core.so.2 libzarncrt_core++.so.2; do
    list="$root/abi/$(basename "$lib").symbols"
    actual=$(nm -D --defined-only "$build/$lib" | awk '{print $NF}' | LC_ALL=C sort -u)
    if [ "${2:-}" = "--update" ]; then
        printf '%s\n' "$actual" > "$list"
        echo "check-symbols: wrote $list ($(wc -l < "$list") symbols)"
        continue
    fi
    missing=$(LC_ALL=C comm -23 "$list" <(printf '%s\n' "$actual"))
    added=$(LC_ALL=C comm -13 "$list" <(printf '%s\n' "$actual"))
    if [ -n "$missing" ]; then
        echo "check-symbols: $(basename "$lib") no longer exports:"; c++filt <<< "$missing" | sed 's/^/  - /'
        status=1
    fi
    if [ -n "$added" ]; then
        echo "check-symbols: $(basename "$lib") exports symbols not in $(basename "$list"):"
        c++filt <<< "$added" | sed 's/^/  + /'
        echo "  (if deliberate: scripts/check-symbols.sh $build --update)"
        status=1
    fi
    [ -z "$missing$added" ] && echo "check-symbols: $(basename "$lib") exports exactly its $(wc -l < "$list") listed symbols"
done
exit $status
