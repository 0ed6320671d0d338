#!/usr/bin/python3
"""The truss examples (examples/ten_bar_truss.toml, twenty_five_bar_truss.toml)
against their published designs, in seconds:

- each published design is feasible through its analysis program and the
  file's own objective and constraints, and no near design is better
  (examples/truss_neighbourhood.py);
- the analysis program, run as the search runs it, writes every response the
  file declares;
- the search of the real program over the file with its analysis written out
  as equations (bench/truss_as_expressions.py) reaches the published design.
  The search through the analysis program itself takes thousands of process
  runs (docs/performance.md) and is left to bench/runner_examples.sh.

Usage: truss_examples_test.py --program PATH-TO-discrete
"""
import argparse
import contextlib
import io
import json
import os
import subprocess
import sys
import tempfile
import tomllib
import unittest

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
EXAMPLES = os.path.join(SOURCE, "examples")
PROBLEMS = ["ten_bar_truss.toml", "twenty_five_bar_truss.toml"]
sys.path.insert(0, EXAMPLES)
import truss_neighbourhood  # noqa: E402  (found beside the examples)

PROGRAM = None


def read(problem):
    with open(os.path.join(EXAMPLES, problem), "rb") as source:
        return tomllib.load(source)


class TrussExamples(unittest.TestCase):
    def test_published_designs_are_feasible_and_locally_best(self):
        for problem in PROBLEMS:
            with self.subTest(problem), contextlib.redirect_stdout(io.StringIO()) as report:
                status = truss_neighbourhood.main(os.path.join(EXAMPLES, problem))
            self.assertEqual(status, 0, report.getvalue())

    def test_analysis_program_writes_every_declared_response(self):
        for problem in PROBLEMS:
            with self.subTest(problem), tempfile.TemporaryDirectory() as folder:
                declared = read(problem)
                (analysis,) = declared["analyses"].values()
                design = {name: variable["reference"] for name, variable in declared["variables"].items()}
                with open(os.path.join(folder, "input.json"), "w") as target:
                    json.dump(design, target)
                environment = dict(os.environ, DISCRETE_INPUT=os.path.join(folder, "input.json"),
                                   DISCRETE_OUTPUT=os.path.join(folder, "output.json"))
                subprocess.run([os.path.join(EXAMPLES, analysis["command"][0])], cwd=folder, env=environment,
                               check=True)
                with open(os.path.join(folder, "output.json")) as source:
                    self.assertEqual(sorted(json.load(source)), sorted(analysis["writes"]))

    def test_search_reaches_the_published_design(self):
        for problem in PROBLEMS:
            with self.subTest(problem), tempfile.TemporaryDirectory() as folder:
                twin = os.path.join(folder, "twin.toml")
                with open(twin, "w") as target:
                    subprocess.run([sys.executable, os.path.join(SOURCE, "bench", "truss_as_expressions.py"),
                                    os.path.join(EXAMPLES, problem)], stdout=target, check=True)
                run = subprocess.run([PROGRAM, "solve", "--quiet", twin, "--db", os.path.join(folder, "twin.db")],
                                     capture_output=True, text=True)
                self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
                self.assertIn("(search complete)", run.stdout)
                self.assertIn(", reached within", run.stdout)
                for name, variable in read(problem)["variables"].items():
                    self.assertRegex(run.stdout, r"\n  %s +%g +" % (name, variable["reference"]))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    arguments, rest = parser.parse_known_args()
    PROGRAM = arguments.program
    unittest.main(argv=[sys.argv[0]] + rest)
