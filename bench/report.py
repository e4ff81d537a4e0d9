#!/usr/bin/env python3
"""Turns Google Benchmark JSON files into the ratio table of bench/RESULTS.md.

Cases are registered as "<case>:lib", "<case>:std" and optionally
"<case>:absl"; the table gives each case's library time, peer time and
library/peer ratio (lower is better). Memory cases compare their
bytes_per_key counters instead of times.
"""
import json
import platform
import sys


NOTES = """
Cases whose name ends in `.peer_...` give the standard peer the library's own
storage, to separate what the storage costs from what the algorithm costs:

- `peer_keys_as_objects` (tree): the std::set holds pointers to separately
  allocated 80-byte objects, the size of a tree key that the caller allocates;
  for text keys each object points at a separately allocated lower-case copy,
  as a key's normalized text is.
- `peer_keys_in_4KB_blocks` (map): each key of the std::unordered_map lies in
  a block of its own of 4092 bytes, the block a map item's key buffer takes.

Single-iteration cases (insertion of 10^6 keys) vary by up to 1.5x from run
to run on a shared machine: the peer's time depends on whether the memory it
gets was already mapped by the case before it.
"""


def cpu_model():
    try:
        with open("/proc/cpuinfo") as f:
            for line in f:
                if line.startswith("model name"):
                    return line.split(":", 1)[1].strip()
    except OSError:
        pass
    return platform.processor() or "unknown CPU"


def main(paths):
    cases = {}
    order = []
    context = None
    for path in paths:
        with open(path) as f:
            data = json.load(f)
        context = context or data.get("context", {})
        for b in data["benchmarks"]:
            if b.get("run_type") == "aggregate":
                continue
            name, _, side = b["name"].partition(":")
            side = side.split("/")[0]
            if name not in cases:
                cases[name] = {}
                order.append(name)
            if "bytes_per_key" in b:
                cases[name][side] = (b["bytes_per_key"], "B/key")
            else:
                cases[name][side] = (b["real_time"], b["time_unit"])

    print("# Benchmark results\n")
    print("Produced by `bench/run`. Ratio = library / standard peer, measured in the same run "
          "(lower is better; below 1.0 the library is faster or smaller).\n")
    cpus = context.get("num_cpus", "?") if context else "?"
    print(f"Machine: {cpu_model()}, {cpus} CPUs, {platform.system()} {platform.release()}, "
          f"date {context.get('date', '?') if context else '?'}. The code under test is a Release "
          f"build; Google Benchmark's own library reports a "
          f"{context.get('library_build_type', '?') if context else '?'} build.\n")
    has_absl = any("absl" in c for c in cases.values())
    header = "| case | library | std peer | ratio |"
    rule = "|---|---:|---:|---:|"
    if has_absl:
        header += " absl::btree_set | ratio to absl |"
        rule += "---:|---:|"
    print(header)
    print(rule)
    for name in order:
        c = cases[name]
        if "lib" not in c or "std" not in c:
            continue
        (lib, unit), (std, _) = c["lib"], c["std"]
        row = f"| {name} | {lib:.4g} {unit} | {std:.4g} {unit} | {lib / std:.2f} |"
        if has_absl:
            if "absl" in c:
                absl = c["absl"][0]
                row += f" {absl:.4g} {unit} | {lib / absl:.2f} |"
            else:
                row += " | |"
        print(row)
    print(NOTES)


if __name__ == "__main__":
    main(sys.argv[1:])
