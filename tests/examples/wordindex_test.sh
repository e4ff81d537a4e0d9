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
out=$("$bin" "$work/known.txt" --top 4 --find cat --find Dog --prefix ca --range b..D)
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
check "--min-count keeps words seen at least N times; the summary counts what is left" \
    "Indexed 1 input: 2 lines, 7 words, 3 distinct words." "$(sed -n 1p <<< "$out")"

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
# apostrophes, UTF-8 letters and punctuation, wide and combining characters,
# a byte of no UTF-8 character, words of 300 bytes, CR LF and
# CR line ends, NUL and other separators, and a last line without a line end.
python3 - "$work/gen1.txt" "$work/gen2.txt" <<'PY'
import random, sys
rng = random.Random(15)
vocab = [b"whale", b"Whale", b"WHALE", b"don't", b"'tis", b"dogs'", b"rock'n'roll", b"a''b",
         b"\xc3\x89mile", b"\xc3\xa9mile", b"\xe2\x80\x9cquoted\xe2\x80\x9d", b"x\xe2\x80\x94y",
         b"caf\xc3\xa9", b"cafe\xcc\x81", b"\xe6\x97\xa5\xe6\x9c\xac", b"\xef\xbd\x86ull", b"x\xffy",
         b"1984", b"A1b2", b"'''", b"it's'", b"ab" * 150, b"Q" * 300 + b"'s"]
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
answers="--top 60 $queries --prefix d --prefix q --prefix zz --prefix caf --prefix $(printf '\xe6')
    --prefix $(printf '\xef') --range w..$(printf '\xe7') --range b..eZ --range m..a"
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

# --- Edges: thread count, --range form, --min-count summary, log order, messages ---
# An address-space limit makes thread starts and large allocations fail. Some
# builds (sanitizers) cannot run under one at all: then those checks are
# reported, not failed.
limited() {  # limited <kilobytes> <command>...: runs the command under ulimit -v
    (ulimit -v "$1" && shift && "$@")
}
limit_works=no
limited 200000 "$bin" --version > /dev/null 2>&1 && limit_works=yes

# --threads: bounded, never more workers than blocks, a thread that cannot
# be started means fewer threads.
for value in 257 100000 2147483647; do
    if [ "$limit_works" = yes ]; then  # an unbounded binary must not take the machine down
        err=$(limited 1000000 "$bin" --threads "$value" --top 0 "$work/known.txt" 2>&1 > /dev/null)
    else
        err=$("$bin" --threads "$value" --top 0 "$work/known.txt" 2>&1 > /dev/null)
    fi
    check "--threads $value: exit 2" 2 $?
    check "--threads $value: message" "wordindex: --threads: $value is too large (at most 256)" \
        "$(sed -n 1p <<< "$err")"
done
"$bin" --threads 256 --top 0 --stats "$work/known.txt" > /dev/null 2> "$work/err.txt"
check "--threads 256: accepted" 0 $?
check "--threads 256 on one block: one worker" 1 "$(grep -c '(summed over 1 thread)' "$work/err.txt")"
WORDINDEX_READ_BLOCK=1 "$bin" --threads 3 --top 0 --stats "$work/known.txt" > /dev/null 2> "$work/err.txt"
check "--threads 3 on many blocks: three workers" 1 "$(grep -c '(summed over 3 threads)' "$work/err.txt")"
for i in $(seq 3000); do printf 'w%d x%d. ' $((i % 97)) $((i % 13)); done > "$work/many.txt"
"$bin" --threads 1 --top 5 "$work/many.txt" > "$work/expected-many.txt"
if [ "$limit_works" = yes ]; then
    WORDINDEX_READ_BLOCK=8 limited 100000 "$bin" --threads 256 --top 5 "$work/many.txt" \
        > "$work/out.txt" 2> "$work/err.txt"
    check "threads that cannot start: no crash" 0 $?
    check_files "threads that cannot start: same answers" "$work/expected-many.txt" "$work/out.txt"
    check "threads that cannot start: at most a warning" "" \
        "$(grep -v 'WARNING\] threads: the system refused a thread: counted with .* instead of up to 256$' "$work/err.txt")"
    WORDINDEX_READ_BLOCK=1073741824 limited 200000 "$bin" --top 0 "$work/known.txt" \
        > /dev/null 2> "$work/err.txt"
    check "memory exhausted: exit 1" 1 $?
    check "memory exhausted: message" "wordindex: out of memory" "$(cat "$work/err.txt")"
else
    echo "skipped: this build cannot run under ulimit -v (threads that cannot start, memory exhausted)"
fi

# --range FROM..TO cannot take an input for its second word.
err=$("$bin" --top 0 --range hello "$work/known.txt" 2>&1 > /dev/null)
check "--range without ..: exit 2" 2 $?
check "--range without ..: message" \
    "wordindex: --range: expected FROM..TO (for instance --range a..c), not 'hello'" "$(sed -n 1p <<< "$err")"
"$bin" --top 0 --range a c "$work/known.txt" > /dev/null 2>&1
check "--range FROM TO (the old form): refused" 2 $?
for bad in a.. ..c a..b..c a...c; do
    "$bin" --top 0 --range "$bad" > /dev/null 2>&1
    check "--range $bad: refused" 2 $?
done
out=$("$bin" --top 0 --range A..cat "$work/known.txt")
check "--range A..cat: the file is indexed" "Indexed 1 input: 2 lines, 11 words, 7 distinct words." \
    "$(sed -n 1p <<< "$out")"
check "--range A..cat: the words" 'Words from "A" to "cat":|a 2|and 1|bat 1|cat 2' \
    "$(sed -n '/^Words from/,$p' <<< "$out" | awk '{if (NF == 2) printf "|%s %s", $1, $2; else printf "%s", $0}')"
check "--help shows --range FROM..TO" 1 "$("$bin" --help | grep -c '^  --range FROM\.\.TO ')"

# --min-count: the summary counts the words that are left.
out=$("$bin" --min-count 2 --top 1000)
check "--min-count: summary words = sum of the counts left" \
    "$(sed -n 's/^Indexed .* lines, \([0-9]*\) words, \([0-9]*\) distinct words\.$/\1 \2/p' <<< "$out")" \
    "$(sed -n '/^Top/,$p' <<< "$out" | awk '$1 ~ /^[0-9]+\.$/ {sum += $NF; n++} END {print sum, n}')"

# Log records come in the order of the work: each input once read and
# counted, then the tree.
printf 'one two\nthree\n' > "$work/a1.txt"
WORDINDEX_READ_BLOCK=3 "$bin" --threads 2 --log-level debug --no-date --top 0 "$work/a1.txt" \
    "$work/missing.txt" "$work/known.txt" > /dev/null 2> "$work/err.txt"
check "log order on standard error" "$(printf '%s\n' \
    "[   INFO] input: read $work/a1.txt: 2 lines, 3 words" \
    "wordindex: cannot read '$work/missing.txt': No such file or directory" \
    "[   INFO] input: read $work/known.txt: 2 lines, 11 words" \
    "[  DEBUG] index: tree of height 2 holds 10 distinct words")" "$(cat "$work/err.txt")"
rm -f "$work/log.txt"
"$bin" --log "$work/log.txt" --log-level debug --no-date --top 0 --min-count 2 "$work/a1.txt" \
    "$work/missing.txt" - < "$work/known.txt" > /dev/null 2>&1
check "log order in a --log file, standard input named as such" "$(printf '%s\n' \
    "[   INFO] input: read $work/a1.txt: 2 lines, 3 words" \
    "[  ERROR] input: cannot read '$work/missing.txt'" \
    "[   INFO] input: read standard input: 2 lines, 11 words" \
    "[  DEBUG] index: tree of height 2 holds 10 distinct words" \
    "[  DEBUG] index: removed 7 words seen fewer than 2 times (7 occurrences); 3 distinct words left")" \
    "$(cat "$work/log.txt")"

# Messages.
for option in --key-size --threads --block-size; do
    err=$("$bin" "$option" 0 2>&1 > /dev/null)
    check "$option 0: exit 2" 2 $?
    check "$option 0: names the bound" "wordindex: $option: 0 is too small (at least 1)" "$(sed -n 1p <<< "$err")"
done
err=$("$bin" --top -1 2>&1 > /dev/null)
check "--top -1: names the bound" "wordindex: --top: -1 is too small (at least 0)" "$(sed -n 1p <<< "$err")"
err=$("$bin" --min-count 99999999999 2>&1 > /dev/null)
check "--min-count 99999999999: names the bound" \
    "wordindex: --min-count: 99999999999 is too large (at most 2147483647)" "$(sed -n 1p <<< "$err")"
for bad in ' 3' '+3' '3x' '3 ' '' '0x10' '-'; do
    err=$("$bin" --top "$bad" 2>&1 > /dev/null)
    check "--top '$bad': exit 2" 2 $?
    check "--top '$bad': message" "wordindex: --top: not a valid number: '$bad'" "$(sed -n 1p <<< "$err")"
done
printf 'a\n' > "$work/one.txt"
out=$("$bin" --top 1 "$work/one.txt")
check "singular: summary" "Indexed 1 input: 1 line, 1 word, 1 distinct word." "$(sed -n 1p <<< "$out")"
check "singular: tree line" "B+ tree: height 2, 1 leaf, node capacity M = 31, 1 byte of key text." \
    "$(sed -n 2p <<< "$out")"
check "singular: top" "Top 1 word:" "$(sed -n 4p <<< "$out")"
"$bin" --top 0 --log-level info --no-date "$work/one.txt" 2> "$work/err.txt" > /dev/null
check "singular: log record" "[   INFO] input: read $work/one.txt: 1 line, 1 word" "$(cat "$work/err.txt")"
printf 'caf\xc3\xa9 cafe\xcc\x81 na\xc3\xafve na\xc3\xafve \xe6\x97\xa5\xe6\x9c\xac \xef\xbd\x86\xef\xbd\x95ll x\xffy plain\n' \
    > "$work/utf8.txt"
out=$("$bin" --top 8 --prefix c --range x..z "$work/utf8.txt")
check "UTF-8 words padded by display width: top" "$(printf '%s\n' \
    $'   1. na\xc3\xafve                2' \
    $'   2. cafe\xcc\x81                 1' \
    $'   3. caf\xc3\xa9                 1' \
    '   4. plain                1' \
    $'   5. x\xffy                  1' \
    $'   6. \xe6\x97\xa5\xe6\x9c\xac                 1' \
    $'   7. \xef\xbd\x86\xef\xbd\x95ll               1')" "$(sed -n '/^Top/,/^$/p' <<< "$out" | sed '1d;$d')"
check "UTF-8 words padded by display width: prefix, range" "$(printf '%s\n' \
    $'  cafe\xcc\x81                 1' $'  caf\xc3\xa9                 1' $'  x\xffy                  1')" \
    "$(grep -a '^  [cx]' <<< "$out")"
err=$("$bin" - --top 0 <&- 2>&1 > /dev/null)
check "unreadable standard input: exit 1" 1 $?
check "unreadable standard input: named as such" \
    "wordindex: cannot read standard input: Bad file descriptor" "$err"
printf 'cat\n' | "$bin" - "$work/known.txt" --top 0 --find cat > "$work/out.txt"
check "standard input in --find" "  cat: 3, first on line 1 of standard input" "$(grep '^  cat:' "$work/out.txt")"
if [ -w /dev/full ]; then
    "$bin" --top 0 --log /dev/full --log-level info > "$work/out.txt" 2> "$work/err.txt"
    check "full log: exit 1" 1 $?
    check "full log: one message" "wordindex: cannot write log file '/dev/full': No space left on device" \
        "$(cat "$work/err.txt")"
    check "full log: the answers still written" 2 "$(wc -l < "$work/out.txt")"
    "$bin" --top 0 --log /dev/full > /dev/null 2> "$work/err.txt"
    check "full log, no record written: exit 0" "0:" "$?:$(cat "$work/err.txt")"
fi

# README: every wordindex command of its wordindex section runs as written
# from the top of the source tree.
readme=$(dirname "$0")/../../README.md
if [ -f "$readme" ]; then
    root=$(cd "$(dirname "$readme")" && pwd)
    case $bin in /*) abs_bin=$bin ;; *) abs_bin=$PWD/$bin ;; esac
    sed -n '/^## The demo: wordindex/,/^## /p' "$readme" | sed -n '/^```sh$/,/^```$/p' | grep -v '^```' |
        sed 's/ *#.*$//' > "$work/readme-commands.txt"
    check "README: wordindex commands found" yes "$([ -s "$work/readme-commands.txt" ] && echo yes)"
    while IFS= read -r command; do
        (set -o pipefail && cd "$root" && eval "${command//build\/examples\/wordindex/\"\$abs_bin\"}") > /dev/null 2> "$work/err.txt"
        check "README runs: $command" "0:" "$?:$(grep -v '^\[\|^wordindex: stats:' "$work/err.txt")"
    done < "$work/readme-commands.txt"
fi

if [ "${2:-}" = "--valgrind" ]; then
    # Some sandboxes cannot host valgrind at all; that is reported, not failed.
    if ! valgrind --quiet /bin/true > "$work/probe.txt" 2>&1; then
        echo "skipped: valgrind cannot run on this machine:"; cat "$work/probe.txt"
    else
        WORDINDEX_READ_BLOCK=13 valgrind --quiet --error-exitcode=99 --leak-check=full \
            --errors-for-leak-kinds=definite "$bin" --threads 2 "$work/known.txt" "$work/gen1.txt" \
            --find cat --prefix a --range a..c --min-count 2 --print-tree > /dev/null 2> "$work/vg.txt"
        status=$?
        check "valgrind: no errors, no leaks" 0 $status
        [ "$status" -eq 0 ] || cat "$work/vg.txt"
    fi
fi

[ "$failures" -eq 0 ]
