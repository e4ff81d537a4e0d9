#!/usr/bin/env python3
"""An independent word counter with wordindex's word rule and output format.

A word is a maximal run of ASCII letters, digits and bytes >= 0x80, with
apostrophes between two such bytes; words fold to lower case (ASCII only).
Prints what wordindex prints, except the tree line and the tree dump:

  wordcount_oracle.py [--top N] [--find W]... [--prefix P]... [--range A..B]...
                      [--min-count N] FILE...

With --min-count the summary counts the words that are left. Words are
padded to 20 columns of display width (East Asian wide characters take two,
combining marks none, a byte of no UTF-8 character one).
"""
import re
import sys
import unicodedata
from collections import Counter

WORD = re.compile(rb"[A-Za-z0-9\x80-\xff]+(?:'[A-Za-z0-9\x80-\xff]+)*")


def counted(number, noun):
    return b"%d %s%s" % (number, noun, b"" if number == 1 else b"s")


def padded(word, width=20):
    columns = 0
    for char in word.decode("utf-8", "surrogateescape"):
        if 0xDC80 <= ord(char) <= 0xDCFF:  # a byte of no UTF-8 character
            columns += 1
        elif unicodedata.category(char) in ("Mn", "Me", "Cf"):
            pass
        elif unicodedata.east_asian_width(char) in ("W", "F"):
            columns += 2
        else:
            columns += 1
    return word + b" " * max(0, width - columns)


def main(argv):
    top, min_count, finds, prefixes, ranges, files = 10, 0, [], [], [], []
    args = iter(argv)
    for arg in args:
        if arg in ("--top", "--min-count"):
            value = int(next(args))
            top, min_count = (value, min_count) if arg == "--top" else (top, value)
        elif arg == "--find":
            finds.append(next(args))
        elif arg == "--prefix":
            prefixes.append(next(args))
        elif arg == "--range":
            low, high = next(args).split("..")
            ranges.append((low, high))
        else:
            files.append(arg)
    enc = lambda text: text.encode("utf-8", "surrogateescape")
    wanted = {enc(w).lower() for w in finds}
    counts, first, lines = Counter(), {}, 0
    for number, name in enumerate(files):
        with open(name, "rb") as stream:
            for line_number, line in enumerate(stream, 1):
                found = WORD.findall(line.lower())
                counts.update(found)
                lines += 1
                for word in wanted.intersection(found) - first.keys():
                    first[word] = (number, line_number)
    counts = Counter({w: c for w, c in counts.items() if c >= min_count})
    words = sum(counts.values())  # what is left
    out = sys.stdout.buffer
    out.write(b"Indexed %s: %s, %s, %s.\n" % (counted(len(files), b"input"), counted(lines, b"line"),
                                              counted(words, b"word"),
                                              counted(len(counts), b"distinct word")))
    if top > 0 and counts:
        out.write(b"\nTop %s:\n" % counted(top, b"word"))
        ranked = sorted(counts.items(), key=lambda item: (-item[1], item[0]))[:top]
        for rank, (word, count) in enumerate(ranked, 1):
            out.write(b"%4d. %s %d\n" % (rank, padded(word), count))
    if finds:
        out.write(b"\nFind:\n")
        for query in finds:
            word = enc(query).lower()
            if word not in counts:
                out.write(b"  %s: not found\n" % enc(query))
                continue
            number, line_number = first[word]
            where = b"line %d" % line_number
            if len(files) > 1:
                where += b" of " + enc(files[number])
            out.write(b"  %s: %d, first on %s\n" % (enc(query), counts[word], where))
    ordered = sorted(counts)
    for prefix in prefixes:
        out.write(b'\nWords starting with "%s":\n' % enc(prefix))
        listed = [w for w in ordered if w.startswith(enc(prefix).lower())]
        out.write(b"".join(b"  %s %d\n" % (padded(w), counts[w]) for w in listed) or b"  (none)\n")
    for low, high in ranges:
        out.write(b'\nWords from "%s" to "%s":\n' % (enc(low), enc(high)))
        listed = [w for w in ordered if enc(low).lower() <= w <= enc(high).lower()]
        out.write(b"".join(b"  %s %d\n" % (padded(w), counts[w]) for w in listed) or b"  (none)\n")


if __name__ == "__main__":
    main(sys.argv[1:])
