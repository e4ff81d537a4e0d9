#!/usr/bin/env bash
# Writes a corpus of real text: the files under /usr/share/doc in path order,
# .gz files decompressed, until the size is reached (never committed).
#
#   bench/wordindex-corpus.sh <megabytes> <output-file>
set -euo pipefail
megabytes=${1:?usage: wordindex-corpus.sh <megabytes> <output-file>}
out=${2:?usage: wordindex-corpus.sh <megabytes> <output-file>}
python3 - "$megabytes" "$out" <<'PY'
import gzip, os, sys
limit, written = int(float(sys.argv[1]) * 1024 * 1024), 0
paths = sorted(os.path.join(d, f) for d, _, fs in os.walk("/usr/share/doc") for f in fs)
with open(sys.argv[2], "wb") as out:
    while written < limit:
        before = written
        for path in paths:
            if written >= limit:
                break
            if os.path.islink(path) or not os.path.isfile(path):
                continue
            try:
                data = gzip.open(path).read() if path.endswith(".gz") else open(path, "rb").read()
            except OSError:
                continue
            data = data[: limit - written]
            out.write(data)
            written += len(data)
        if written == before:
            sys.exit("wordindex-corpus: no readable files under /usr/share/doc")
PY
