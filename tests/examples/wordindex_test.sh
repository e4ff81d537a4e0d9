#!/usr/bin/env bash
# End-to-end test of wordindex: exact summary and answers for a known input,
# every answer on a generated text checked against an independent counter
# (single- and multi-threaded, with read blocks far smaller than its words),
# exit codes and messages for bad input and failed output, and (with
# --valgrind) no leaks.
# Usage: wordindex_test.sh <wordindex> [--valgrind]
set -u
bin=${1:?usage: wordindex_test.sh <wordindex> [--valgrind]}
oracle=$(dirname "$0")/wordcount_oracle.py
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
check() {  # check <description> <expected> <actual>
    if [ "$2" == "$3" ]; then
        echo "ok: $1"
    else
        echo "FAILED: $1"; echo "  expected: $2"; echo "  actual:   $3"; failures=$((failures + 1))
    fi
}
check_files() {  # check_files <description> <expected-file> <actual-file>
    if cmp -s "$2" "$3"; then
        echo "ok: $1"
    else
        echo "FAILED: $1"; diff "$2" "$3" | head -20; failures=$((failures + 1))
    fi
}

printf 'The cat and the hat.\nA cat, a bat; THE END\n' > "$work/known.txt"
out=$("$bin" "$work/known.txt" --top 4 --find cat --find Dog --prefix ca --range b D)
check "exit status" 0 $?
check "summary" "Indexed 1 input: 2 lines, 11 words, 7 distinct words." "$(sed -n 1p <<< "$out")"
check "tree line" "B+ tree: height 2, 1 leaf, node capacity M = 31, 19 bytes of key text." "$(sed -n 2p <<< "$out")"
check "top words" "the 3|a 2|cat 2|and 1" \
    "$(sed -n '/^Top/,/^$/p' <<< "$out" | awk '$1 ~ /^[0-9]+\.$/ {printf "%s%s %s", sep, $2, $3; sep="|"}')"
check "find hit" "  cat: 2, first on line 1" "$(grep '^  cat:' <<< "$out")"
check "find miss" "  Dog: not found" "$(grep '^  Dog:' <<< "$out")"
check "prefix" "cat" "$(sed -n '/^Words starting/,/^$/p' <<< "$out" | awk 'NF==2 {print $1}')"
check "range" "bat cat" "$(sed -n '/^Words from/,$p' <<< "$out" | awk 'NF==2 {print $1}' | xargs)"

out=$("$bin" --find cat "$work/known.txt" --top 0)
check "--find takes one word, the next argument is a file" "  cat: 2, first on line 1" \
    "$(grep '^  cat:' <<< "$out")"
cp "$work/known.txt" "$work/--top"
out=$("$bin" --top 0 -- "$work/--top")
check "-- ends the options" "Indexed 1 input: 2 lines, 11 words, 7 distinct words." "$(sed -n 1p <<< "$out")"
out=$("$bin" "$work/known.txt" --min-count 2 --top 0)
check "--min-count keeps words seen at least N times" \
    "Indexed 1 input: 2 lines, 11 words, 3 distinct words." "$(sed -n 1p <<< "$out")"

out=$("$bin" --top 0)
check "built-in sample" "Indexed 1 input: 19 lines, 249 words, 124 distinct words." "$(sed -n 1p <<< "$out")"
check "printed sample read back" "$out" "$("$bin" --print-sample | "$bin" - --top 0)"
check "version" 1 "$("$bin" --version | grep -c '^wordindex [0-9][0-9.]* (libzarncrt_core++ 2)$')"

err=$("$bin" "$work/missing.txt" "$work/known.txt" --top 0 2>&1 > "$work/out.txt")
check "unreadable file: exit 1" 1 $?
check "unreadable file: message" "wordindex: cannot read '$work/missing.txt': No such file or directory" \
    "$(grep 'cannot read' <<< "$err")"
check "unreadable file: not counted, others indexed" \
    "Indexed 1 input: 2 lines, 11 words, 7 distinct words." "$(sed -n 1p "$work/out.txt")"

if [ -w /dev/full ]; then
    err=$("$bin" --top 1 2>&1 > /dev/full)
    check "full output: exit 1" 1 $?
    check "full output: message" "wordindex: cannot write standard output: No space left on device" "$err"
fi
err=$("$bin" --log "$work/no/such/dir/log.txt" 2>&1 > /dev/null)
check "unopenable log: exit 2" 2 $?
check "unopenable log: reason" \
    "wordindex: cannot open log file '$work/no/such/dir/log.txt': No such file or directory" "$err"

err=$("$bin" --frobnicate 2>&1)
check "bad option: exit 2" 2 $?
check "bad option: message" "wordindex: unknown option: --frobnicate" "$(sed -n 1p <<< "$err")"
check "bad option: usage" 1 "$(grep -c '^usage: wordindex' <<< "$err")"
"$bin" --block-size 1 > /dev/null 2> "$work/err.txt"
check "node capacity below 3: exit 2" 2 $?

printf 'alpha\0beta\0\0gamma\nbeta\n' > "$work/binary.bin"
out=$("$bin" "$work/binary.bin" --top 1)
check "NUL bytes separate words" "Indexed 1 input: 2 lines, 4 words, 3 distinct words." "$(sed -n 1p <<< "$out")"

# A generated text with a known vocabulary: mixed case, inner and outer
# apostrophes, UTF-8 letters and punctuation, words of 300 bytes, CR LF and
# CR line ends, NUL and other separators, and a last line without a line end.
python3 - "$work/gen1.txt" "$work/gen2.txt" <<'PY'
import random, sys
rng = random.Random(15)
vocab = [b"whale", b"Whale", b"WHALE", b"don't", b"'tis", b"dogs'", b"rock'n'roll", b"a''b",
         b"\xc3\x89mile", b"\xc3\xa9mile", b"\xe2\x80\x9cquoted\xe2\x80\x9d", b"x\xe2\x80\x94y",
         b"caf\xc3\xa9", b"1984", b"A1b2", b"'''", b"it's'", b"ab" * 150, b"Q" * 300 + b"'s"]
vocab += [bytes(rng.choice(b"abcdefghijklmnopqrstuvwxyzAEIOU") for _ in range(rng.randint(1, 9)))
          for _ in range(400)]
seps = [b" ", b" ", b" ", b", ", b".\n", b"\r\n", b"\r", b"\t", b"\0", b"-", b"!\n\n"]
for name in sys.argv[1:]:
    parts = []
    for _ in range(6000):
        parts += [rng.choice(vocab), rng.choice(seps)]
    parts.append(rng.choice(vocab))  # no line end at the very end
    open(name, "wb").write(b"".join(parts))
PY
gen="$work/gen1.txt $work/gen2.txt"
queries="--find whale --find DON'T --find tis --find $(printf '\xc3\x89mile') --find nothing --find 1984"
answers="--top 60 $queries --prefix d --prefix q --prefix zz --range b eZ --range m a"
python3 "$oracle" $answers $gen > "$work/expected.txt"
python3 "$oracle" $answers --min-count 5 $gen > "$work/expected-min.txt"
for run in 1:4096 1:1 1:13 2:1 2:13 2:4096 3:64; do
    threads=${run%:*} block=${run#*:}
    WORDINDEX_READ_BLOCK=$block "$bin" --threads "$threads" $answers $gen > "$work/run.txt"
    sed 2d "$work/run.txt" > "$work/actual.txt"
    check_files "generated text, $threads threads, $block-byte blocks: as the independent count" \
        "$work/expected.txt" "$work/actual.txt"
    [ -e "$work/first-run.txt" ] || cp "$work/run.txt" "$work/first-run.txt"
    check_files "generated text, $threads threads, $block-byte blocks: tree line as the first run" \
        "$work/first-run.txt" "$work/run.txt"
done
for threads in 1 2; do
    WORDINDEX_READ_BLOCK=7 "$bin" --threads "$threads" $answers --min-count 5 $gen | sed 2d > "$work/actual.txt"
    check_files "generated text, --min-count 5, $threads threads" "$work/expected-min.txt" "$work/actual.txt"
done
cat $gen | "$bin" - --top 5 > /dev/null 2> "$work/err.txt"
check "standard input: no message" "" "$(cat "$work/err.txt")"

if [ "${2:-}" = "--valgrind" ]; then
    # Some sandboxes cannot host valgrind at all; that is reported, not failed.
    if ! valgrind --quiet /bin/true > "$work/probe.txt" 2>&1; then
        echo "skipped: valgrind cannot run on this machine:"; cat "$work/probe.txt"
    else
        WORDINDEX_READ_BLOCK=13 valgrind --quiet --error-exitcode=99 --leak-check=full \
            --errors-for-leak-kinds=definite "$bin" --threads 2 "$work/known.txt" "$work/gen1.txt" \
            --find cat --prefix a --range a c --min-count 2 --print-tree > /dev/null 2> "$work/vg.txt"
        status=$?
        check "valgrind: no errors, no leaks" 0 $status
        [ "$status" -eq 0 ] || cat "$work/vg.txt"
    fi
fi

[ "$failures" -eq 0 ]
