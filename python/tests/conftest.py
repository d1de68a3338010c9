"""Shared fixtures of the tests of the Python module tavric.

The tests import the package from the build tree (ctest sets PYTHONPATH) and
find the rest through environment variables that ctest sets too:
TAVRIC_EXAMPLES_DIR (the bundled data), TAVRIC_PYTHON_EXAMPLES_DIR (the
example scripts), TAVRIC_CLI (the command-line tool, when built),
TAVRIC_BUILD_DIR and TAVRIC_PYTHON_INSTALL_DIR (for the install test).
"""

import os
import pathlib
import subprocess

import pytest

import tavric


def env_path(name):
    value = os.environ.get(name)
    return pathlib.Path(value) if value else None


@pytest.fixture(scope="session")
def examples():
    path = env_path("TAVRIC_EXAMPLES_DIR")
    if path is None:
        pytest.fail("TAVRIC_EXAMPLES_DIR is not set (run the tests through ctest)")
    return path


@pytest.fixture(scope="session")
def marked(examples):
    return examples / "sphere-scan-marked.txt"


@pytest.fixture(scope="session")
def cli():
    """Runs the command-line tool: cli("calibrate", ...) -> CompletedProcess."""
    path = env_path("TAVRIC_CLI")
    if path is None:
        pytest.skip("the command-line tool is not built")

    def run(*args, check=True):
        done = subprocess.run([str(path), *map(str, args)], capture_output=True, text=True)
        if check and done.returncode != 0:
            raise AssertionError(f"tavric {' '.join(map(str, args))}: {done.stderr}")
        return done

    return run


@pytest.fixture(scope="session")
def small_scan():
    """A noisy simulated scan of 2,000 samples and its truth."""
    return tavric.simulate(samples=2000, seed=11, counts_sigma=1.0, position_sigma_um=0.2)
