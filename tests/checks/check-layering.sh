#!/usr/bin/env bash
# The library families depend on each other in one direction only:
#   core <- text <- containers <- btree, and log uses core alone.
# A source or header of a family may include its own family and those it
# depends on, nothing else of the library (nor the umbrella header).
# Usage: check-layering.sh <source-root>
set -euo pipefail
root=$(cd "${1:?usage: check-layering.sh <source-root>}" && pwd)
declare -A allowed=(
    [core]="core"
    [text]="core text"
    [containers]="core text containers"
    [btree]="core text containers btree"
    [log]="core log"
)
status=0
checked=0
for family in core text containers btree log; do
    [ -d "$root/$family" ] || { echo "check-layering: $family/ is missing"; exit 1; }
    mapfile -t files < <(cd "$root" && find "$family" -name '*.cpp' -o -name '*.h' | LC_ALL=C sort)
    [ ${#files[@]} -gt 0 ] || continue
    checked=$((checked + ${#files[@]}))
    # An include names a library header when its first path component is a
    # family; "X.h" without a directory is a header beside the file.
    (cd "$root" && awk -v family="$family" -v allowed=" ${allowed[$family]} " '
        /^[ \t]*#[ \t]*include[ \t]*["<]/ {
            target = $0
            sub(/^[ \t]*#[ \t]*include[ \t]*["<]/, "", target)
            sub(/[">].*/, "", target)
            while (substr(target, 1, 3) == "../") target = substr(target, 4)
            if (target == "zarncrt_core++.h") dep = target
            else if (index(target, "/") == 0) next
            else dep = substr(target, 1, index(target, "/") - 1)
            if (index(" core text containers btree log zarncrt_core++.h ", " " dep " ") == 0) next
            if (index(allowed, " " dep " ") > 0) next
            printf "check-layering: %s:%d: %s may not include %s\n", FILENAME, FNR, family, target
            bad = 1
        }
        END { exit bad }' "${files[@]}") || status=1
done
[ $status = 0 ] && echo "check-layering: the $checked library files include only their own and lower families"
exit $status
