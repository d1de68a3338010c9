"""cmake --install puts the package into the interpreter's site-packages
below the install prefix, from where it imports and calibrates."""

import os
import pathlib
import subprocess
import sys

import pytest


def install(tmp_path):
    """Installs the python component into tmp_path/prefix: (prefix, site,
    environment with only the prefix's site-packages on the path)."""
    build = os.environ.get("TAVRIC_BUILD_DIR")
    site = os.environ.get("TAVRIC_PYTHON_INSTALL_DIR")
    if not build or not site:
        pytest.skip("no install rules in this build")
    prefix = tmp_path / "prefix"
    subprocess.run(
        ["cmake", "--install", build, "--component", "python", "--prefix", str(prefix)],
        check=True, capture_output=True,
    )
    env = {k: v for k, v in os.environ.items() if k != "PYTHONPATH"}
    env["PYTHONPATH"] = str(prefix / site)
    return prefix, site, env


def test_the_installed_package_imports_from_the_prefix_and_calibrates(tmp_path, marked):
    prefix, site, env = install(tmp_path)
    package = prefix / site / "tavric"
    assert sorted(p.name for p in package.iterdir())[0] == "__init__.py"
    assert len(list(package.glob("_tavric*.so"))) == 1

    # Only the prefix's site-packages on the path, not the build tree.
    script = (
        "import tavric, sys; "
        f"cal = tavric.calibrate({str(marked)!r}); "
        "print(tavric.__file__); print(cal.samples, tavric.__version__)"
    )
    done = subprocess.run(
        [sys.executable, "-c", script], env=env, capture_output=True, text=True, cwd=tmp_path
    )
    assert done.returncode == 0, done.stderr
    where, figures = done.stdout.splitlines()
    assert pathlib.Path(where) == package / "__init__.py"
    assert figures.split()[0] == "4000"


def test_the_installed_distribution_declares_its_licence(tmp_path):
    _, _, env = install(tmp_path)
    script = (
        "import importlib.metadata as m, tavric; "
        "d = m.metadata('tavric'); print(d['License'], d['Version'], tavric.__license__)"
    )
    done = subprocess.run(
        [sys.executable, "-c", script], env=env, capture_output=True, text=True, cwd=tmp_path
    )
    assert done.returncode == 0, done.stderr
    licence, version, module_licence = done.stdout.split()
    assert licence == "Apache-2.0"
    assert module_licence == "Apache-2.0"
    assert version.count(".") == 2
