"""Independent calibrations: several at once on one thread, fits on several
Python threads at once, and the GIL released while a fit runs."""

import os
import subprocess
import sys
import textwrap
import threading

import numpy as np
import pytest

import tavric


@pytest.fixture(scope="module")
def scans():
    return [
        tavric.simulate(samples=1500, order=order, seed=seed, counts_sigma=1.0)[0]
        for seed, order in ((1, 3), (2, 2), (3, 3), (4, 1))
    ]


def same(a, b):
    return (
        np.array_equal(a.coefficients, b.coefficients)
        and np.array_equal(a.residuals, b.residuals)
        and np.array_equal(a.centre, b.centre)
        and a.radius == b.radius
        and np.array_equal(a.covariance, b.covariance)
    )


def test_two_calibrations_live_side_by_side_on_one_thread(scans):
    readings = np.array([[1200.0, -350.0, 80.0], [-600.0, 900.0, -150.0]])
    first = tavric.calibrate(scans[0])
    before = first.transform(readings)
    second = tavric.calibrate(scans[1], order=2)
    # Making the second leaves the first as it was.
    assert np.array_equal(first.transform(readings), before)
    assert not np.array_equal(second.transform(readings), before)
    assert (first.order, second.order) == (3, 2)
    assert same(first, tavric.calibrate(scans[0]))


def test_four_threads_calibrating_at_once_give_the_serial_results(scans):
    orders = [3, 2, 3, 1]
    serial = [tavric.calibrate(d, order=o) for d, o in zip(scans, orders)]
    parallel = [None] * 4
    failures = []
    start = threading.Barrier(4)

    def work(i):
        try:
            start.wait()
            parallel[i] = tavric.calibrate(scans[i], order=orders[i])
        except Exception as e:  # reported below, with the thread's number
            failures.append((i, e))

    threads = [threading.Thread(target=work, args=(i,)) for i in range(4)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert failures == []
    for s, p in zip(serial, parallel):
        assert same(s, p)


def test_threads_transform_with_one_calibration_at_once(scans):
    cal = tavric.calibrate(scans[0])
    readings = [scans[i][:, :3] for i in range(4)]
    expected = [cal.transform(r) for r in readings]
    results = [None] * 4
    threads = [
        threading.Thread(target=lambda i=i: results.__setitem__(i, cal.transform(readings[i])))
        for i in range(4)
    ]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    for e, r in zip(expected, results):
        assert np.array_equal(e, r)


def test_a_fit_releases_the_gil_while_it_runs(marked, tmp_path):
    # The fit reads its data from a named pipe that the main thread fills
    # only after the fit has opened it. Were the GIL held during the fit, the
    # main thread could never write, and the child would hang until killed.
    pipe = tmp_path / "scan.fifo"
    os.mkfifo(pipe)
    script = textwrap.dedent(
        f"""
        import threading, tavric
        result = {{}}
        worker = threading.Thread(target=lambda: result.update(cal=tavric.calibrate({str(pipe)!r})))
        worker.start()
        with open({str(pipe)!r}, "w") as f:
            f.write(open({str(marked)!r}).read())
        worker.join()
        print(result["cal"].samples)
        """
    )
    done = subprocess.run(
        [sys.executable, "-c", script], capture_output=True, text=True, timeout=120
    )
    assert done.returncode == 0, done.stderr
    assert done.stdout.strip() == "4000"
