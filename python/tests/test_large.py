"""The largest scan the calibration takes: 32,767 samples."""

import numpy as np

import tavric


def test_a_fit_of_32767_samples_recovers_the_truth():
    data, truth = tavric.simulate(samples=32767, seed=5, counts_sigma=1.0, position_sigma_um=0.2)
    assert data.shape == (32767, 6)
    cal = tavric.calibrate(data)
    assert cal.samples == 32767
    assert cal.residuals.shape == (32767,)
    assert cal.uncertainty["sample_normals"].shape == (32767, 3)
    # The residuals are the simulated noise: 0.2 um on the positions plus
    # 1 count (about 0.06 um) on the readings.
    assert 0.15e-3 < cal.statistics["rms"] < 0.3e-3
    v = tavric.verify(cal, truth, data)
    assert v["points"] == 32767
    assert v["normal"]["max"] < 0.5e-3
    assert abs(v["radius_error"]) < 0.1e-3
    assert np.all(np.abs(v["centre_error"]) < 0.1e-3)
