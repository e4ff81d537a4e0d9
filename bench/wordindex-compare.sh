#!/usr/bin/env bash
# wordindex against an independent Python word counter on real text, and its
# scaling in input size and in distinct words. Prints wall time (best of the
# runs) and peak RSS of every run; checks that both counters agree.
#
#   bench/wordindex-compare.sh [megabytes] [wordindex-binary]
#
# megabytes: size of the documentation corpus (default 150; see
# wordindex-corpus.sh). Scratch files live in a temporary directory.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
megabytes=${1:-150}
bin=$(realpath "${2:-build/examples/wordindex}")
oracle=$root/tests/examples/wordcount_oracle.py
[ -x "$bin" ] || { echo "wordindex-compare: no program at $bin (build first)" >&2; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# measure <runs> <output-file> <command...>: "wall_s peak_rss_MB" of the
# fastest run (peak RSS of the child alone, from the kernel's accounting).
measure() {
    python3 - "$@" <<'PY'
import resource, subprocess, sys, time
runs, out, cmd = int(sys.argv[1]), sys.argv[2], sys.argv[3:]
best = None
for _ in range(runs):
    start = time.perf_counter()
    with open(out, "wb") as stream:
        subprocess.run(cmd, stdout=stream, check=True)
    wall = time.perf_counter() - start
    best = wall if best is None else min(best, wall)
rss = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024
print(f"{best:.2f} {rss:.1f}")
PY
}

ratio() { python3 -c "print(f'{$1 / $2:.2f}')"; }

"$root/bench/wordindex-corpus.sh" "$megabytes" "$work/corpus.txt"
echo "corpus: $(stat -c %s "$work/corpus.txt") bytes of /usr/share/doc text"
echo "$("$bin" --top 0 "$work/corpus.txt" | head -1)"

echo
echo "== wordindex --top 50 against the Python counter (best of 3; peak RSS)"
read -r py_s py_mb <<< "$(measure 3 "$work/py.txt" python3 "$oracle" --top 50 "$work/corpus.txt")"
read -r wi_s wi_mb <<< "$(measure 3 "$work/wi.txt" "$bin" --top 50 "$work/corpus.txt")"
read -r w1_s w1_mb <<< "$(measure 3 "$work/w1.txt" "$bin" --threads 1 --top 50 "$work/corpus.txt")"
sed 2d "$work/wi.txt" | cmp -s - "$work/py.txt" || { echo "outputs differ from the Python counter"; exit 1; }
cmp -s "$work/wi.txt" "$work/w1.txt" || { echo "--threads 1 output differs"; exit 1; }
echo "python counter:         $py_s s  $py_mb MB"
echo "wordindex (default):    $wi_s s  $wi_mb MB   time x$(ratio "$wi_s" "$py_s")  memory x$(ratio "$wi_mb" "$py_mb")"
echo "wordindex --threads 1:  $w1_s s  $w1_mb MB   time x$(ratio "$w1_s" "$py_s")  memory x$(ratio "$w1_mb" "$py_mb")"
echo "outputs: identical (tree line aside)"

echo
echo "== input size: prefixes of the corpus"
for mb in 1 4 16 64 "$megabytes"; do
    head -c $((mb * 1048576)) "$work/corpus.txt" > "$work/part.txt"
    read -r s m <<< "$(measure 1 "$work/out.txt" "$bin" --top 50 "$work/part.txt")"
    echo "$mb MB: $s s  $m MB  $(python3 -c "print(f'{$mb / max($s, 0.005):.0f}')") MB/s  $(head -1 "$work/out.txt")"
done

echo
echo "== distinct words, one per line (random lower-case words)"
for n in 100000 200000 400000 800000; do
    python3 -c "
import random, sys
rng, seen = random.Random($n), set()
while len(seen) < $n:
    seen.add(''.join(rng.choice('abcdefghijklmnopqrstuvwxyz') for _ in range(rng.randint(4, 12))))
sys.stdout.write('\n'.join(sorted(seen, key=lambda w: rng.random())) + '\n')" > "$work/distinct.txt"
    read -r s m <<< "$(measure 1 "$work/out.txt" "$bin" --top 50 "$work/distinct.txt")"
    echo "$n words: $s s  $m MB  $(head -1 "$work/out.txt")"
done

echo
echo "== the cases measured before the rework"
seq 1 50000 > "$work/seq.txt"
read -r s m <<< "$(measure 1 "$work/out.txt" "$bin" "$work/seq.txt")"
echo "seq 1 50000: $s s  $m MB"
tr '\n' ' ' < "$work/distinct.txt" | head -c 10000000 > "$work/line.txt"
read -r s m <<< "$(measure 1 "$work/out.txt" "$bin" "$work/line.txt")"
echo "10 MB single line: $s s  $m MB  $(head -1 "$work/out.txt")"
