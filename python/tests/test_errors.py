"""Failures: CalibrationError with the library's text and code, and the
ValueError / TypeError of arguments Python itself can judge."""

import re

import numpy as np
import pytest

import tavric


def fails(call, *args, **kwargs):
    with pytest.raises(tavric.CalibrationError) as failure:
        call(*args, **kwargs)
    return failure.value


def test_calibration_error_is_an_exception_carrying_text_code_and_number(tmp_path):
    path = tmp_path / "neither.txt"
    path.write_text("a note, not a scan\n1 2 3\n")
    error = fails(tavric.calibrate, path)
    assert isinstance(error, Exception)
    assert error.text == "No Data identified."
    assert str(error) == error.text
    assert error.code == "read-failed"
    assert error.code_number == 2
    assert error.run_report["failed_stage"] == "reading"


def test_a_file_in_neither_layout_fails_with_the_tools_text(tmp_path, cli):
    path = tmp_path / "neither.txt"
    path.write_text("a note, not a scan\n1 2 3\n")
    tool = cli("calibrate", path, "-o", tmp_path / "x.cal", check=False)
    assert tool.returncode == 1
    # The failure text alone on the first line; the tool explains it below.
    first_line = tool.stderr.splitlines()[0]
    assert fails(tavric.calibrate, path).text == first_line == "No Data identified."


def test_one_plane_is_rejected_with_the_tools_text(tmp_path, cli):
    data, _ = tavric.simulate(samples=1000, planes=1, seed=7)
    path = tmp_path / "small.txt"
    tavric.write_data(path, data)
    tool = cli("calibrate", path, "-o", tmp_path / "x.cal", check=False)
    expected = "Bi-directionnal scans detection error."
    assert tool.stderr.splitlines()[0] == expected
    for source in (data, path):
        error = fails(tavric.calibrate, source)
        assert error.text == expected
        assert error.code == "scan-path-rejected"
        assert error.code_number == 5
        assert error.run_report["failed_stage"] == "scan-path"
        assert error.run_report["planes"] == 2


def test_a_missing_file_fails_with_the_readers_text(tmp_path):
    error = fails(tavric.calibrate, tmp_path / "absent.txt")
    assert error.text == "File reading(Generic) error 53 : File not found"
    assert error.code == "read-failed"


def test_nan_and_infinity_in_the_data_are_the_librarys_errors(small_scan):
    data, _ = small_scan
    nan = data.copy()
    nan[5, 3] = np.nan
    error = fails(tavric.calibrate, nan)
    assert (error.text, error.code) == ("Optimise Error 6 : Overflow", "invalid-data")
    infinite = data.copy()
    infinite[7, 0] = np.inf
    error = fails(tavric.calibrate, infinite)
    assert error.text == "Iterate INIT error n°6 : Overflow"
    assert error.code == "model-init-failed"


def test_more_samples_than_the_calibration_counts_overflow(small_scan):
    data, _ = small_scan
    error = fails(tavric.calibrate, np.resize(data, (32768, 6)))
    assert (error.text, error.code) == ("Optimise Error 6 : Overflow", "invalid-data")


def test_no_samples_are_the_librarys_error():
    error = fails(tavric.calibrate, np.zeros((0, 6)))
    assert (error.text, error.code) == ("Optimise Error 9 : Subscript out of range", "invalid-data")


@pytest.mark.parametrize("shape", [(10, 5), (10, 7), (60,), (2, 10, 6)])
def test_data_of_the_wrong_shape_raise_value_error_naming_it(shape):
    expected = r"\(N, 6\) array .* got shape " + re.escape(repr(shape))
    with pytest.raises(ValueError, match=expected):
        tavric.calibrate(np.zeros(shape))


def test_data_that_are_not_real_numbers_raise_type_error(small_scan):
    data, _ = small_scan
    with pytest.raises(TypeError, match="must hold real numbers; got dtype complex128"):
        tavric.calibrate(data.astype(complex))
    with pytest.raises(TypeError, match="dtype object"):
        tavric.calibrate(None)


def test_readings_of_the_wrong_shape_raise_value_error(small_scan):
    cal = tavric.calibrate(small_scan[0], order=1)
    for bad in ([1.0, 2.0], np.zeros((4, 2)), np.zeros((2, 3, 3))):
        with pytest.raises(ValueError, match="one reading P, Q, R or an \\(N, 3\\) array"):
            cal.transform(bad)
    error = fails(cal.transform, [np.nan, 0.0, 0.0])
    assert (error.text, error.code) == ("Error 6 : Overflow", "invalid-data")


def test_unknown_keywords_raise_type_error(small_scan):
    data, _ = small_scan
    unexpected = r"^calibrate\(\) got an unexpected keyword argument 'gain'$"
    with pytest.raises(TypeError, match=unexpected):
        tavric.calibrate(data, gain=1e-4)
    with pytest.raises(TypeError, match=r"calibrate\(head=\.\.\.\) got an unexpected .* 'c_deg'"):
        tavric.calibrate(data, head={"c_deg": 1.0})
    with pytest.raises(TypeError, match=r"calibrate\(thresholds=\.\.\.\) got an unexpected"):
        tavric.calibrate(data, thresholds={"rms": 1.0})
    unexpected = r"^simulate\(\) got an unexpected keyword argument 'noise'$"
    with pytest.raises(TypeError, match=unexpected):
        tavric.simulate(noise=1.0)


def test_keywords_of_the_wrong_type_raise_type_error_naming_them(small_scan):
    data, _ = small_scan
    with pytest.raises(TypeError, match="keyword argument 'mu' does not take str 'x'"):
        tavric.calibrate(data, mu="x")
    with pytest.raises(TypeError, match="keyword argument 'probe_offsets' does not take tuple"):
        tavric.calibrate(data, probe_offsets=(1.0, 2.0))
    with pytest.raises(TypeError, match="keyword argument 'head' does not take int 3"):
        tavric.calibrate(data, head=3)
    with pytest.raises(TypeError, match="keyword argument 'max_iterations' does not take float"):
        tavric.calibrate(data, max_iterations=2.5)


@pytest.mark.parametrize(
    "options, text",
    [
        ({"order": 4}, "Invalid option order = 4: the polynomial's order is 1, 2 or 3."),
        (
            {"max_iterations": 300},
            "Invalid option max_iterations = 300: the optimiser counts its iterations in 8 bits, "
            "so 0 to 254 are allowed.",
        ),
        ({"mu": 0.0}, "Invalid option mu = 0: it must be greater than 0."),
        ({"known_radius": -1.0}, "Invalid option known_radius = -1: it must be greater than 0."),
        (
            {"head": {"a_axis": (0.0, 0.0, 0.0)}},
            "Invalid option head.a_axis = (0, 0, 0): an axis of rotation needs a direction.",
        ),
        (
            {"thresholds": {"outlier_fraction": float("nan")}},
            "Invalid option thresholds.outlier_fraction = NaN: it must be a finite number.",
        ),
        (
            {"convergence": "fast"},
            "Invalid option convergence = fast: it is gradient, parameters or both.",
        ),
    ],
)
def test_options_out_of_range_raise_invalid_option_with_the_librarys_text(
    small_scan, options, text
):
    error = fails(tavric.calibrate, small_scan[0], **options)
    assert error.code == "invalid-option"
    assert error.code_number == 1
    assert error.text == text
    assert error.run_report is None


def test_a_file_without_a_calibration_is_not_a_calibration(marked):
    error = fails(tavric.load, marked)
    assert error.code == "not-a-calibration"
    assert error.text.startswith(f"No calibration found in {marked}")


def test_a_missing_calibration_file_fails_to_load(tmp_path):
    error = fails(tavric.load, tmp_path / "absent.cal")
    assert error.code == "load-failed"
    assert error.text == "LoadCalibrationFunctions Error n°53 File not found"


def test_invalid_scenarios_raise_value_error_naming_the_field():
    with pytest.raises(ValueError, match="^ScanSimulator: .*32767"):
        tavric.simulate(samples=40000)
