"""The module and the command-line tool give the same calibrations, byte for
byte, and the same verification."""

import json

import numpy as np
import pytest

import tavric


def marked_rows(path):
    """The samples of a marked data file, parsed by numpy (not by the library)."""
    lines = path.read_text().splitlines()
    start = lines.index('"P","Q","R","X","Y","Z"') + 1
    end = lines.index('"DATA END"')
    return np.array([[float(v) for v in line.split(",")] for line in lines[start:end]])


def tool_file(cli, tmp_path, data, *options):
    out = tmp_path / "tool.cal"
    cli("calibrate", data, "-o", out, *options)
    return out.read_bytes()


def module_file(cal, tmp_path):
    out = tmp_path / "module.cal"
    cal.save(out)
    return out.read_bytes()


@pytest.mark.parametrize("name", ["sphere-scan-marked.txt", "sphere-scan-generic.txt"])
def test_the_bundled_examples_give_the_tools_calibration_file_byte_for_byte(
    examples, cli, tmp_path, name
):
    path = examples / name
    assert module_file(tavric.calibrate(path), tmp_path) == tool_file(cli, tmp_path, path)


def test_the_bundled_example_as_an_array_gives_the_tools_file_byte_for_byte(marked, cli, tmp_path):
    rows = marked_rows(marked)
    assert rows.shape == (4000, 6)
    assert np.array_equal(rows, tavric.read_data(marked))
    assert module_file(tavric.calibrate(rows), tmp_path) == tool_file(cli, tmp_path, marked)


def test_options_give_the_tools_file_byte_for_byte(marked, cli, tmp_path):
    cal = tavric.calibrate(
        marked,
        order=2,
        max_iterations=20,
        known_radius=12.5,
        probe_offsets=(10.0, -5.0, 2.5),
        head={"a_deg": 15.0, "b_deg": 30.0},
    )
    tool = tool_file(
        cli, tmp_path, marked, "--order", 2, "--max-iterations", 20, "--radius", 12.5,
        "--offsets", "10,-5,2.5", "--head-a", 15, "--head-b", 30,
    )
    assert module_file(cal, tmp_path) == tool


def test_simulated_data_written_by_the_module_calibrate_as_in_the_tool(cli, tmp_path):
    data, _ = tavric.simulate(samples=3000, order=2, seed=4, counts_sigma=1.0)
    path = tmp_path / "sim.txt"
    tavric.write_data(path, data, layout="generic")
    assert module_file(tavric.calibrate(path, order=2), tmp_path) == tool_file(
        cli, tmp_path, path, "--order", 2
    )


def test_transform_gives_the_tools_deflections(marked, cli, tmp_path):
    cal_path = tmp_path / "c.cal"
    cli("calibrate", marked, "-o", cal_path)
    tool = cli("transform", cal_path, 1200, -350, 80).stdout.strip()
    module = tavric.load(cal_path).transform([1200.0, -350.0, 80.0])
    # The tool prints 15 significant digits.
    assert [float(v) for v in tool.split(",")] == pytest.approx(module, rel=1e-14, abs=0)


def test_verify_gives_the_tools_comparison(examples, marked, cli, tmp_path):
    truth = examples / "sphere-scan-truth.json"
    cal_path = tmp_path / "c.cal"
    cli("calibrate", marked, "-o", cal_path)
    tool = json.loads(cli("verify", cal_path, "--truth", truth, "--data", marked, "--json").stdout)
    module = tavric.verify(tavric.load(cal_path), truth, marked)
    assert module["points"] == tool["points"] == 4000
    assert module["at_samples"] is tool["at_samples"] is True
    for part in ("x", "y", "z", "normal", "across", "total"):
        for figure in ("max", "rms", "p95"):
            assert module[part][figure] * 1000 == pytest.approx(
                tool["deflection_error_um"][part][figure], rel=1e-12
            )
    assert module["radius_error"] * 1000 == pytest.approx(tool["radius_error_um"], rel=1e-12)
    # A loaded calibration carries no uncertainty, so nothing is covered.
    assert module["normal_coverage"] is None and tool["normal_coverage"] is None
