#!/usr/bin/env bash
# End-to-end test of wordindex: exact summary and answers for a known input,
# exit codes and messages for bad input, and (with --valgrind) no leaks.
# Usage: wordindex_test.sh <wordindex> [--valgrind]
set -u
bin=${1:?usage: wordindex_test.sh <wordindex> [--valgrind]}
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

printf 'The cat and the hat.\nA cat, a bat; THE END\n' > "$work/known.txt"
out=$("$bin" "$work/known.txt" --top 4 --find cat Dog --prefix ca)
check "exit status" 0 $?
check "summary" "Indexed 1 input: 2 lines, 11 words, 7 distinct words." "$(sed -n 1p <<< "$out")"
check "tree line" "B+ tree: height 2, 1 leaf, node capacity M = 31, 19 bytes of key text." "$(sed -n 2p <<< "$out")"
check "top words" "the 3|a 2|cat 2|and 1" \
    "$(sed -n '/^Top/,/^$/p' <<< "$out" | awk '$1 ~ /^[0-9]+\.$/ {printf "%s%s %s", sep, $2, $3; sep="|"}')"
check "find hit" "  cat: 2, first on line 1" "$(grep '^  cat:' <<< "$out")"
check "find miss" "  Dog: not found" "$(grep '^  Dog:' <<< "$out")"
check "prefix" "cat" "$(sed -n '/^Words starting/,$p' <<< "$out" | awk 'NF==2 {print $1}')"

out=$("$bin" --top 0)
check "built-in sample" "Indexed 1 input: 19 lines, 249 words, 124 distinct words." "$(sed -n 1p <<< "$out")"
check "printed sample read back" "$out" "$("$bin" --print-sample | "$bin" - --top 0)"

err=$("$bin" "$work/missing.txt" "$work/known.txt" --top 0 2>&1 > "$work/out.txt")
check "unreadable file: exit 1" 1 $?
check "unreadable file: message" "wordindex: cannot read '$work/missing.txt': No such file or directory" \
    "$(grep 'cannot read' <<< "$err")"
check "unreadable file: others indexed" "Indexed 2 inputs: 2 lines, 11 words, 7 distinct words." \
    "$(sed -n 1p "$work/out.txt")"

err=$("$bin" --frobnicate 2>&1)
check "bad option: exit 2" 2 $?
check "bad option: message" "wordindex: unknown option: --frobnicate" "$(sed -n 1p <<< "$err")"
check "bad option: usage" 1 "$(grep -c '^usage: wordindex' <<< "$err")"
"$bin" --block-size 1 > /dev/null 2> "$work/err.txt"
check "node capacity below 3: exit 2" 2 $?

printf 'alpha\0beta\0\0gamma\nbeta\n' > "$work/binary.bin"
out=$("$bin" "$work/binary.bin" --top 1)
check "NUL bytes separate words" "Indexed 1 input: 2 lines, 4 words, 3 distinct words." "$(sed -n 1p <<< "$out")"

if [ "${2:-}" = "--valgrind" ]; then
    # Some sandboxes cannot host valgrind at all; that is reported, not failed.
    if ! valgrind --quiet /bin/true > "$work/probe.txt" 2>&1; then
        echo "skipped: valgrind cannot run on this machine:"; cat "$work/probe.txt"
    else
        valgrind --quiet --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite \
            "$bin" "$work/known.txt" --find cat --prefix a --print-tree > /dev/null 2> "$work/vg.txt"
        status=$?
        check "valgrind: no errors, no leaks" 0 $status
        [ "$status" -eq 0 ] || cat "$work/vg.txt"
    fi
fi

[ "$failures" -eq 0 ]
