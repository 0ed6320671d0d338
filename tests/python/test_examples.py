"""Every script of examples/python/ runs to its end and prints its result."""

import glob
import os
import subprocess
import sys

import pytest

EXAMPLES = sorted(glob.glob(os.path.join(os.path.dirname(__file__), "..", "..", "examples",
                                         "python", "*.py")))


@pytest.mark.parametrize("script", EXAMPLES, ids=os.path.basename)
def test_example_runs(script, tmp_path):
    run = subprocess.run([sys.executable, os.path.abspath(script), str(tmp_path / "example.db")],
                         cwd=tmp_path, capture_output=True, text=True, timeout=600)
    assert run.returncode == 0, run.stderr
    assert "feasible discrete design: True" in run.stdout or "best design: {" in run.stdout
