#!/usr/bin/env python3
"""checks.mutation_tool: scripts/mutation-test on the toy project beside this
file (a copy of it in a temporary directory). Exit status 77 (skipped) when
cmake, ninja or a C++ compiler is missing."""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
TOOL = os.path.join(HERE, "..", "..", "scripts", "mutation-test")
EXPECTED = """\
lib/toy.cpp:14:5: return: return value > limit; -> return false;
lib/toy.cpp:14:5: return: return value > limit; -> return true;
lib/toy.cpp:14:18: relational: > -> >=
lib/toy.cpp:20:5: condition: if (box->size < 0 || label[0] != 'a') -> if (!(box->size < 0 || label[0] != 'a'))
lib/toy.cpp:20:19: relational: < -> <=
lib/toy.cpp:20:21: constant: 0 -> 1
lib/toy.cpp:20:23: logical: || -> &&
lib/toy.cpp:20:32: constant: 0 -> 1
lib/toy.cpp:20:35: relational: != -> ==
lib/toy.cpp:21:16: constant: 0 -> 1
lib/toy.cpp:23:18: constant: 0 -> 1
lib/toy.cpp:24:5: delete: unused = 2; -> (deleted)
lib/toy.cpp:24:14: constant: 2 -> 0
lib/toy.cpp:24:14: constant: 2 -> 3
lib/toy.cpp:25:5: delete: box->size += static_cast<int>(extra) + 1; -> (deleted)
lib/toy.cpp:25:15: arithmetic: += -> -=
lib/toy.cpp:25:42: arithmetic: + -> -
lib/toy.cpp:25:44: constant: 1 -> 0
lib/toy.cpp:25:44: constant: 1 -> 2
lib/toy.cpp:26:5: return: return box->size; -> return 0;
""".splitlines()
SURVIVOR = "lib/toy.cpp:14: > -> >=  [relational, col 18]"


class MutationTool(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.mkdtemp(prefix="mutation-self-test-")
        cls.root = os.path.join(cls.tmp, "toy")
        shutil.copytree(os.path.join(HERE, "toy"), cls.root)
        cls.first = cls.tool("--min-score", "95")
        cls.second = cls.tool()

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.tmp)

    @classmethod
    def tool(cls, *args):
        return subprocess.run([sys.executable, TOOL, "--source-root", cls.root, "--sources", "lib",
                               "--workdir", os.path.join(cls.tmp, "work"), "--no-sanitize",
                               "--configure-args", "", "--equivalents", os.path.join(cls.tmp, "eq.txt"),
                               *args], capture_output=True, text=True)

    def listed(self, *args):
        out = self.tool("--list", *args).stdout
        return [line for line in out.splitlines() if re.match(r"lib/toy.cpp:\d+:\d+: ", line)]

    def test_the_mutants_of_the_toy_file_are_the_expected_ones(self):
        self.assertEqual(self.listed(), EXPECTED, "mutant list of tests/mutation/toy/lib/toy.cpp")

    def test_comments_strings_preprocessor_lines_templates_and_arrows_give_no_mutants(self):
        sites = {tuple(map(int, line.split(":")[1:3])) for line in self.listed()}
        for line in (1, 2, 3, 4, 5, 11, 19):
            self.assertNotIn(line, {s[0] for s in sites}, f"a mutant on line {line} (comment, string or #)")
        with open(os.path.join(self.root, "lib", "toy.cpp")) as f:
            text = f.read().splitlines()
        checked = [(line, m) for line in (20, 25, 26) for m in re.finditer(r"->|[<>](?=int>|\()", text[line - 1])]
        self.assertEqual(len(checked), 5, "three -> and the two brackets of static_cast<int> are looked at")
        for line, m in checked:
            self.assertNotIn((line, m.start() + 1), sites, f"a mutant at {line}:{m.start() + 1} ({m.group()})")

    def test_sampling_is_deterministic_for_a_seed(self):
        picked = self.listed("--count", "5", "--seed", "3")
        self.assertEqual(len(picked), 5, "--count 5 lists 5 mutants")
        self.assertEqual(picked, self.listed("--count", "5", "--seed", "3"), "same seed, same sample")
        self.assertTrue(set(picked) <= set(EXPECTED), "the sample is drawn from the full list")

    def test_the_run_classifies_scores_and_lists_the_survivor(self):
        out = self.first.stdout
        self.assertIn("killed 15, timeout 0, survived 1;", out, "classification of the toy mutants")
        self.assertIn("equivalent: identical object code 4, not built 0", out, "the dead store's mutants")
        self.assertIn("Score: 93.8% (15 killed of 16)", out, "score line")
        self.assertIn("\n  " + SURVIVOR + "\n", out, "survivor line")
        self.assertEqual(self.first.returncode, 1, "--min-score 95 not met: exit status 1")

    def test_a_second_run_runs_nothing_new(self):
        self.assertIn("20 decided earlier, 0 to run", self.second.stdout, "resumed from the state file")
        self.assertNotIn("building", self.second.stdout, "nothing is built when nothing is left")
        self.assertEqual(self.second.returncode, 0, "a completed run without --min-score exits 0")

    def test_a_listed_equivalent_leaves_the_score(self):
        with open(os.path.join(self.tmp, "eq.txt"), "w") as f:
            f.write("# format check\nlib/toy.cpp:14: > -> >=  # above() is never asked about equal values\n")
        out = self.tool("--report").stdout
        os.remove(os.path.join(self.tmp, "eq.txt"))
        self.assertIn("listed equivalent 1", out, "the listed survivor is reported as listed equivalent")
        self.assertIn("Score: 100.0% (15 killed of 15)", out, "the listed survivor leaves the score")


if __name__ == "__main__":
    missing = [t for t in ("cmake", "ctest", "ninja") if shutil.which(t) is None]
    if not (shutil.which("c++") or os.environ.get("CXX")):
        missing.append("a C++ compiler")
    if missing:
        print("mutation tool self-test skipped: missing " + ", ".join(missing))
        sys.exit(77)
    unittest.main()
