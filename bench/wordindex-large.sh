#!/usr/bin/env bash
# Runs wordindex on a large generated text and prints its wall time and peak
# memory. The text is the built-in sample repeated in numbered chapters, each
# chapter adding a few words of its own so that the index keeps growing.
#
#   bench/wordindex-large.sh [megabytes] [wordindex-binary]
#
# Defaults: 50 MB and build/examples/wordindex. The generated file lives in a
# scratch directory and is removed afterwards.
set -euo pipefail
megabytes=${1:-50}
bin=${2:-build/examples/wordindex}
[ -x "$bin" ] || { echo "wordindex-large: no program at $bin (build first)" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$bin" --print-sample > "$work/sample.txt"
awk -v limit=$((megabytes * 1024 * 1024)) '
    { sample = sample $0 "\n" }
    END {
        for (chapter = 1; written < limit; ++chapter) {
            head = sprintf("Chapter %d: the keeper%d wrote entry%d in ledger%d.\n",
                           chapter, chapter % 97, chapter, chapter % 1009)
            printf "%s%s", head, sample
            written += length(head) + length(sample)
        }
    }' "$work/sample.txt" > "$work/large.txt"
echo "input: $(stat -c %s "$work/large.txt") bytes"

/usr/bin/time -f "wall %e s, peak RSS %M KiB" "$bin" "$work/large.txt" --top 3 --log-level info --no-date
