"""tavric.simulate, the Truth, tavric.verify and the data files."""

import numpy as np
import pytest

import tavric


def test_simulate_returns_the_data_and_its_truth():
    data, truth = tavric.simulate(samples=1200, planes=3, order=2, seed=9)
    assert data.shape == (1200, 6)
    assert isinstance(truth, tavric.Truth)
    assert truth.order == 2
    assert truth.seed == 9
    assert truth.coefficients.shape == truth.powers.shape == (9, 3)
    assert truth.deflections.shape == truth.normals.shape == (1200, 3)
    # Three vertical planes and the equator, each scanned in both senses.
    assert len(truth.scans) == 8
    assert sum(s["sample_count"] for s in truth.scans) == 1200
    assert {s["sense"] for s in truth.scans} == {1, -1}
    # Every tip centre (machine position plus deflection) lies on the sphere.
    tips = data[:, 3:] + truth.deflections
    assert np.allclose(np.linalg.norm(tips - truth.centre, axis=1), truth.radius, atol=1e-9)
    assert np.allclose(np.linalg.norm(truth.normals, axis=1), 1.0)


def test_scenario_keywords_reach_the_simulation():
    data, truth = tavric.simulate(
        samples=600, planes=2, include_equator=False, centre=(1.0, 2.0, 3.0), radius=10.0,
        offsets=(5.0, 6.0, 7.0), deflection_mm=0.2, variation=0.0, friction=0.0,
    )
    assert len(truth.scans) == 4
    assert np.array_equal(truth.centre, [1.0, 2.0, 3.0])
    assert truth.radius == 10.0
    assert np.array_equal(truth.offsets, [5.0, 6.0, 7.0])
    # Without variation or friction every deflection is 0.2 mm along the normal.
    assert np.allclose(truth.deflections, 0.2 * truth.normals, atol=1e-12)


def test_the_seed_decides_the_noise():
    a, _ = tavric.simulate(samples=500, seed=1, counts_sigma=1.0)
    b, _ = tavric.simulate(samples=500, seed=1, counts_sigma=1.0)
    c, _ = tavric.simulate(samples=500, seed=2, counts_sigma=1.0)
    assert np.array_equal(a, b)
    assert not np.array_equal(a, c)


def test_a_truth_saved_and_loaded_keeps_what_the_file_holds(tmp_path):
    _, truth = tavric.simulate(samples=800, seed=2, offsets=(1.0, 2.0, 3.0))
    path = tmp_path / "truth.json"
    truth.save(path)
    loaded = tavric.load_truth(path)
    for name in ("centre", "coefficients", "powers", "offsets", "linear"):
        assert np.array_equal(getattr(loaded, name), getattr(truth, name)), name
    assert (loaded.radius, loaded.order, loaded.seed) == (truth.radius, truth.order, truth.seed)
    assert loaded.scans[3]["first_sample"] == truth.scans[3]["first_sample"]
    # The per-sample arrays are not in the file.
    assert loaded.deflections.shape == (0, 3)


def test_verify_at_the_samples_and_through_the_range(small_scan, tmp_path):
    data, truth = small_scan
    cal = tavric.calibrate(data)
    at_samples = tavric.verify(cal, truth, data)
    assert at_samples["at_samples"] is True and at_samples["points"] == 2000
    assert 0 < at_samples["normal"]["max"] < 1e-3
    assert at_samples["normal"]["rms"] <= at_samples["normal"]["max"]
    assert 0.0 <= at_samples["normal_coverage"] <= 1.0
    assert at_samples["axis_coverage"].shape == (3,)
    assert isinstance(at_samples["radius_covered"], bool)
    over_range = tavric.verify(cal, truth)
    assert over_range["at_samples"] is False
    assert over_range["points"] == 2000  # 400 directions, 5 sizes each
    # Deflections half as large are better known.
    nearer = tavric.verify(cal, truth, reach=0.25)
    assert nearer["points"] == 2000
    assert nearer["total"]["max"] < over_range["total"]["max"]
    # A truth file and a data file give the same comparison as the objects.
    truth.save(tmp_path / "truth.json")
    tavric.write_data(tmp_path / "scan.txt", data)
    from_files = tavric.verify(cal, str(tmp_path / "truth.json"), tmp_path / "scan.txt")
    assert from_files["points"] == 2000
    assert from_files["normal"]["max"] == pytest.approx(at_samples["normal"]["max"], rel=1e-6)


def test_verify_refuses_what_is_not_a_truth(small_scan):
    cal = tavric.calibrate(small_scan[0], order=1)
    with pytest.raises(TypeError, match="tavric.Truth or the path"):
        tavric.verify(cal, 42)


@pytest.mark.parametrize("layout", ["marked", "generic"])
def test_data_files_written_read_back_to_15_significant_digits(small_scan, tmp_path, layout):
    data, _ = small_scan
    path = tmp_path / f"{layout}.txt"
    tavric.write_data(path, data, layout=layout)
    back = tavric.read_data(path)
    assert back.shape == data.shape
    assert np.allclose(back, data, rtol=1e-14, atol=0)
    assert np.array_equal(tavric.read_data(path), back)


def test_write_data_refuses_an_unknown_layout(small_scan, tmp_path):
    with pytest.raises(ValueError, match="layout must be 'marked' or 'generic'"):
        tavric.write_data(tmp_path / "x.txt", small_scan[0], layout="csv")
