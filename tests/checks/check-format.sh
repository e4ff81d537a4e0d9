#!/usr/bin/env bash
# Every C++ file of the tree (library, tests, examples, benchmarks, fuzz
# harnesses) is formatted as .clang-format says. In a git checkout the
# tracked files are checked, elsewhere every *.cpp and *.h outside build
# directories. Usage: check-format.sh <source-root>
# Exit status 77: clang-format is not installed (check skipped).
set -euo pipefail
root=$(cd "${1:?usage: check-format.sh <source-root>}" && pwd)
if ! command -v clang-format > /dev/null; then
    echo "check-format: clang-format not found (package clang-format), check skipped"
    exit 77
fi
cd "$root"
if [ "$(git rev-parse --show-toplevel 2> /dev/null)" = "$root" ]; then
    mapfile -t listed < <(git ls-files -- '*.cpp' '*.h')
else
    mapfile -t listed < <(find . -path './build*' -prune -o \( -name '*.cpp' -o -name '*.h' \) -print | LC_ALL=C sort)
fi
files=()
for f in "${listed[@]}"; do
    [ -f "$f" ] && files+=("$f")
done
[ ${#files[@]} -gt 0 ] || { echo "check-format: no C++ files found under $root"; exit 1; }
if clang-format --dry-run -Werror "${files[@]}"; then
    echo "check-format: the ${#files[@]} C++ files are formatted ($(clang-format --version))"
else
    echo "check-format: fix with: clang-format -i <file>"
    exit 1
fi
