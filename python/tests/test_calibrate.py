"""tavric.calibrate, the Calibration it returns, save and load."""

import pathlib

import numpy as np
import pytest

import tavric


@pytest.fixture(scope="module")
def cal(small_scan):
    data, _ = small_scan
    return tavric.calibrate(data)


def test_array_layouts_and_dtypes_give_the_same_fit(small_scan, cal):
    data, _ = small_scan
    fortran = np.asfortranarray(data)
    assert not fortran.flags.c_contiguous
    for variant in (fortran, data.tolist(), data.astype(np.longdouble)):
        other = tavric.calibrate(variant)
        assert np.array_equal(other.coefficients, cal.coefficients)
        assert np.array_equal(other.residuals, cal.residuals)


def test_float32_data_fit_the_data_as_rounded_to_float32(small_scan):
    data, _ = small_scan
    single = data.astype(np.float32)
    a = tavric.calibrate(single)
    b = tavric.calibrate(single.astype(np.float64))
    assert np.array_equal(a.coefficients, b.coefficients)


def test_a_path_and_a_path_object_give_the_same_fit(marked):
    by_str = tavric.calibrate(str(marked))
    by_path = tavric.calibrate(pathlib.Path(marked))
    by_bytes = tavric.calibrate(bytes(marked))
    for other in (by_path, by_bytes):
        assert np.array_equal(other.coefficients, by_str.coefficients)
    assert by_str.samples == 4000


def test_the_fit_recovers_the_simulated_truth(small_scan, cal):
    _, truth = small_scan
    assert cal.order == 3
    assert cal.centre == pytest.approx(truth.centre, abs=1e-3)
    assert cal.radius == pytest.approx(truth.radius, abs=1e-3)
    assert np.array_equal(cal.powers, truth.powers)
    # The deflection the calibration gives at the scan's readings is the true
    # one to well under a micrometre along the normal.
    deflections = cal.transform(small_scan[0][:, :3])
    along_normal = np.einsum("ij,ij->i", deflections - truth.deflections, truth.normals)
    assert np.max(np.abs(along_normal)) < 1e-3


def test_properties_are_arrays_of_the_documented_shapes(cal):
    terms = (3 + 1) * (3 + 2) * (3 + 3) // 6 - 1
    assert cal.coefficients.shape == (terms, 3)
    assert cal.powers.shape == (terms, 3)
    assert cal.residuals.shape == (2000,)
    assert cal.centre.shape == (3,)
    assert cal.probe_offsets.shape == (3,)
    n = len(cal.parameter_names)
    assert n == 4 + 3 * terms
    assert cal.covariance.shape == (n, n)
    assert cal.parameter_names[:4] == ["centre x", "centre y", "centre z", "radius"]


def test_statistics_are_those_of_the_residuals(cal):
    r = cal.residuals
    s = cal.statistics
    assert s["min"] == r.min()
    assert s["max"] == r.max()
    assert s["rms"] == pytest.approx(np.sqrt(np.mean(r * r)), rel=1e-12)


def test_covariance_is_symmetric_with_positive_variances(cal):
    c = cal.covariance
    assert np.allclose(c, c.T, rtol=1e-9, atol=0)
    assert np.all(np.diag(c) > 0)
    assert np.array_equal(c, cal.uncertainty["covariance"])


def test_returned_arrays_are_copies_that_outlive_the_calibration(small_scan):
    data, _ = small_scan
    cal = tavric.calibrate(data)
    residuals = cal.residuals
    expected = residuals.copy()
    residuals[:] = 0.0
    assert np.array_equal(cal.residuals, expected)
    del cal
    assert residuals.sum() == 0.0 and expected.size == 2000


def test_transform_of_one_triple_equals_the_row_of_a_batch(cal):
    readings = np.array([[1200.0, -350.0, 80.0], [-800.0, 40.0, 2500.0], [0.0, 0.0, 0.0]])
    batch = cal.transform(readings)
    assert batch.shape == (3, 3)
    for reading, row in zip(readings, batch):
        single = cal.transform(reading)
        assert single.shape == (3,)
        assert np.array_equal(single, row)
    # Zero readings without offsets: the polynomial has no constant term.
    assert np.array_equal(batch[2], np.zeros(3))


def test_transform_takes_off_the_probe_offsets():
    offsets = (150.0, -90.0, 40.0)
    data, truth = tavric.simulate(samples=2000, seed=3, offsets=offsets)
    cal = tavric.calibrate(data, probe_offsets=offsets)
    assert np.array_equal(cal.probe_offsets, np.array(offsets))
    # At the offsets the probe is not deflected.
    assert cal.transform(offsets) == pytest.approx(np.zeros(3), abs=1e-12)
    assert np.max(np.abs(cal.transform(data[:, :3]) - truth.deflections)) < 1e-9


def test_deflection_covariance_is_symmetric_and_vectorised(cal):
    readings = np.array([[1200.0, -350.0, 80.0], [-800.0, 40.0, 2500.0]])
    stack = cal.deflection_covariance(readings)
    assert stack.shape == (2, 3, 3)
    for reading, c in zip(readings, stack):
        one = cal.deflection_covariance(reading)
        assert np.array_equal(one, c)
        assert np.allclose(one, one.T, rtol=0, atol=1e-20)
        assert np.all(np.linalg.eigvalsh(one) > 0)


def test_order_and_options_reach_the_fit(small_scan):
    data, truth = small_scan
    cal = tavric.calibrate(data, order=1, max_iterations=3, convergence="gradient")
    assert cal.order == 1
    assert cal.coefficients.shape == (3, 3)
    assert cal.run_report["outer_iterations"] <= 4


def test_a_known_radius_is_held_and_leaves_the_parameters(small_scan):
    data, truth = small_scan
    cal = tavric.calibrate(data, known_radius=truth.radius)
    assert cal.radius == truth.radius
    assert "radius" not in cal.parameter_names
    assert cal.run_report["radius_held"] is True
    assert cal.uncertainty["radius_u_fitted"] > 0


def test_head_orientation_turns_the_starting_matrix(small_scan):
    data, _ = small_scan
    # The head's angles turn the starting gain into the starting first-order
    # matrix: zero angles are the default, B = 180 degrees starts elsewhere.
    plain = tavric.calibrate(data, max_iterations=0)
    zero = tavric.calibrate(data, max_iterations=0, head={"a_deg": 0.0, "b_deg": 0.0})
    turned = tavric.calibrate(data, max_iterations=0, head={"b_deg": 180.0})
    assert zero.run_report["initial_S"] == plain.run_report["initial_S"]
    assert turned.run_report["initial_S"] != plain.run_report["initial_S"]


def test_thresholds_decide_the_warnings(small_scan):
    data, _ = small_scan
    strict = tavric.calibrate(data, thresholds={"normal_uncertainty": 1e-9})
    codes = [w["code"] for w in strict.warnings]
    assert "normal-uncertainty" in codes
    warning = strict.warnings[codes.index("normal-uncertainty")]
    assert set(warning) == {"code", "text", "value", "limit"}
    assert warning["limit"] == 1e-9 and warning["value"] > warning["limit"]
    assert "normal-uncertainty" not in [w["code"] for w in tavric.calibrate(data).warnings]


def test_the_run_report_records_the_fit(cal):
    report = cal.run_report
    assert report["result"] == "OK"
    assert report["samples"] == 2000
    assert report["failed_stage"] == "none"
    assert report["stop_reason"] in ("converged", "iteration limit")
    assert report["stop_reason"] == cal.stop_reason
    assert len(report["iterations"]) == report["outer_iterations"]
    assert report["iterations"][-1]["FitRMS"] == cal.statistics["rms"]
    assert np.array_equal(report["residuals"], cal.residuals)
    assert report["planes"] == 5 and report["bidirectional_planes"] == 5


def test_the_uncertainty_block_is_a_dict_of_figures(cal):
    u = cal.uncertainty
    assert u["available"] is True
    assert u["parameters"] == len(cal.parameter_names)
    assert u["at_samples"]["points"] == 2000
    assert u["sample_normals"].shape == (2000, 3)
    assert u["sample_normal_u"].shape == (2000,)
    assert 0 < u["at_samples"]["normal"]["p95"] <= u["at_samples"]["normal"]["max"]
    assert u["weakest"] and {"kind", "summary", "parameters", "shares"} <= set(u["weakest"][0])


def test_save_and_load_give_back_the_same_file_and_coefficients(cal, tmp_path):
    first = tmp_path / "first.cal"
    cal.save(first)
    loaded = tavric.load(first)
    # The file holds 15 significant digits.
    assert np.allclose(loaded.coefficients, cal.coefficients, rtol=1e-14, atol=0)
    assert np.allclose(loaded.centre, cal.centre, rtol=1e-14, atol=0)
    assert loaded.radius == pytest.approx(cal.radius, rel=1e-14)
    again = tmp_path / "again.cal"
    loaded.save(str(again))
    assert again.read_bytes() == first.read_bytes()


def test_a_loaded_calibration_has_no_fit_figures(cal, tmp_path):
    path = tmp_path / "c.cal"
    cal.save(path)
    loaded = tavric.load(path)
    assert loaded.residuals.shape == (0,)
    assert loaded.covariance is None
    assert loaded.parameter_names == []
    assert loaded.uncertainty == {
        "available": False,
        "note": "a calibration file does not hold the fit's uncertainty",
    }
    assert "(loaded)" in repr(loaded)
    with pytest.raises(tavric.CalibrationError) as failure:
        loaded.deflection_covariance([1.0, 2.0, 3.0])
    assert failure.value.code == "no-uncertainty"


def test_repr_summarises_the_fit(cal):
    text = repr(cal)
    assert text.startswith("<tavric.Calibration order=3 samples=2000 FitRMS=")
    assert f"{cal.statistics['rms'] * 1000:.4f} um" in text


def test_the_bootstrap_runs_when_asked_and_is_the_same_on_any_thread_count(small_scan):
    data, _ = small_scan
    plain = tavric.calibrate(data)
    assert plain.uncertainty["bootstrap"] is None
    one = tavric.calibrate(data, bootstrap_fits=4, bootstrap_seed=9, bootstrap_threads=1)
    two = tavric.calibrate(data, bootstrap_fits=4, bootstrap_seed=9, bootstrap_threads=2)
    b = one.uncertainty["bootstrap"]
    assert b["fits"] == 4 and b["seed"] == 9
    assert b["sample_covariance"].shape == (plain.samples, 6)
    assert b["radius_u"] > 0
    assert np.array_equal(b["sample_covariance"], two.uncertainty["bootstrap"]["sample_covariance"])
    # The bootstrap adds figures; the fit itself is the same.
    assert np.array_equal(one.coefficients, plain.coefficients)


def test_plane_spread_is_reported_and_its_threshold_decides_the_warning(small_scan):
    data, _ = small_scan
    cal = tavric.calibrate(data)
    spread = cal.uncertainty["plane_spread"]
    assert 0 < spread <= 1
    assert cal.uncertainty["plane_axis"].shape == (3,)
    codes = [w["code"] for w in tavric.calibrate(data, thresholds={"plane_spread": 1.0}).warnings]
    assert "planes-share-axis" in codes
    assert "planes-share-axis" not in [w["code"] for w in cal.warnings]
