"""Calibration of analogue scanning probes on CMMs from scans of a reference sphere.

    import tavric
    cal = tavric.calibrate("scan.txt")          # or an (N, 6) array P, Q, R, X, Y, Z
    print(cal.statistics["rms"] * 1000, "um", cal.stop_reason)
    deflections = cal.transform(readings)       # (N, 3) counts -> (N, 3) mm
    cal.save("scan.cal")

Failures raise tavric.CalibrationError (.text, .code, .code_number). Lengths
are in mm, readings in counts. See docs/python.md.
"""

__license__ = "Apache-2.0"

from ._tavric import (
    Calibration,
    CalibrationError,
    Truth,
    __version__,
    calibrate,
    load,
    load_truth,
    read_data,
    simulate,
    verify,
    write_data,
)

__all__ = [
    "Calibration",
    "CalibrationError",
    "Truth",
    "calibrate",
    "load",
    "load_truth",
    "read_data",
    "simulate",
    "verify",
    "write_data",
]

for _name in ("Calibration", "Truth", "calibrate", "load", "load_truth", "read_data",
              "simulate", "verify", "write_data"):
    globals()[_name].__module__ = __name__
del _name
