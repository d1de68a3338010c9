"""The worked example of docs/python.md (python/examples/residuals.py)."""

import os
import pathlib
import re
import subprocess
import sys

import pytest

SCRIPT = pathlib.Path(os.environ.get("TAVRIC_PYTHON_EXAMPLES_DIR", "")) / "residuals.py"

# Runs the script as __main__ with matplotlib made unimportable.
WITHOUT_MATPLOTLIB = """
import runpy, sys
sys.modules["matplotlib"] = None
sys.argv = sys.argv[1:]
runpy.run_path(sys.argv[0], run_name="__main__")
"""


def run(*args, cwd, hide_matplotlib=False):
    command = [sys.executable]
    if hide_matplotlib:
        command += ["-c", WITHOUT_MATPLOTLIB]
    command += [str(SCRIPT), *map(str, args)]
    done = subprocess.run(command, capture_output=True, text=True, cwd=cwd)
    assert done.returncode == 0, done.stderr
    return done.stdout


def test_the_example_saves_the_tools_calibration_file_and_prints_without_matplotlib(
    tmp_path, cli, marked
):
    out = run("--save", "example.cal", "--plot", "r.png", cwd=tmp_path, hide_matplotlib=True)
    assert "Samples       : 4000" in out
    assert "FitRMS        : 0.2201 µm" in out
    assert "Written       : example.cal" in out
    # Instead of the plot, a text histogram of all the residuals.
    assert "Residuals (µm):" in out and not (tmp_path / "r.png").exists()
    counts = [int(m) for m in re.findall(r"^\s+\S+ \.\.\s+\S+\s+(\d+)", out, re.MULTILINE)]
    assert len(counts) == 15 and sum(counts) == 4000
    cli("calibrate", marked, "-o", tmp_path / "tool.cal")
    assert (tmp_path / "example.cal").read_bytes() == (tmp_path / "tool.cal").read_bytes()


def test_the_example_plots_the_residuals_with_matplotlib(tmp_path):
    pytest.importorskip("matplotlib")
    out = run("--plot", "r.png", cwd=tmp_path)
    assert "Plotted       : r.png" in out
    assert (tmp_path / "r.png").read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"


def test_the_example_reports_a_failure_with_the_librarys_text(tmp_path):
    bad = tmp_path / "bad.txt"
    bad.write_text("nothing to see\n")
    done = subprocess.run([sys.executable, str(SCRIPT), str(bad)], capture_output=True, text=True)
    assert done.returncode == 1
    assert done.stderr.strip() == f"{bad}: No Data identified. (read-failed)"


def documented_session():
    """The lines docs/python.md shows for the worked example, as a list."""
    page = pathlib.Path(os.environ["TAVRIC_DOCS_DIR"]) / "python.md"
    lines = page.read_text(encoding="utf-8").splitlines()
    start = next(i for i, line in enumerate(lines) if line.startswith("$ ") and "residuals.py" in line)
    end = lines.index("```", start)
    return lines[start][2:], lines[start + 1 : end]


def test_the_documented_session_is_what_the_script_prints(tmp_path):
    command, shown = documented_session()
    args = command.split("residuals.py", 1)[1].split()
    printed = run(*args, "--plot", "residuals.png", cwd=tmp_path, hide_matplotlib=True).splitlines()
    # Without matplotlib the plot line gives way to the text histogram.
    assert shown[-1] == "Plotted       : residuals.png"
    assert printed[: len(shown) - 1] == shown[:-1]
