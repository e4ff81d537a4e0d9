#!/usr/bin/env bash
# Runs every test program of a directory under valgrind memcheck; memory
# errors and definite leaks fail the run. Usage: valgrind-tests.sh <bin-dir>
set -euo pipefail
dir=${1:?usage: valgrind-tests.sh <test-bin-dir>}
status=0
# Some sandboxes cannot host valgrind at all; say so instead of failing.
if ! probe=$(valgrind --quiet /bin/true 2>&1); then
    echo "valgrind cannot run on this machine, memcheck skipped:"; echo "$probe"
    exit 0
fi
for t in "$dir"/*; do
    [ -x "$t" ] || continue
    if valgrind --quiet --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite \
            --show-leak-kinds=definite "$t" --gtest_brief=1 > "/tmp/valgrind-$(basename "$t").log" 2>&1; then
        echo "valgrind: $(basename "$t") clean"
    else
        echo "valgrind: $(basename "$t") FAILED"; tail -40 "/tmp/valgrind-$(basename "$t").log"; status=1
    fi
done
exit $status
