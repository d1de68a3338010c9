#!/usr/bin/env python3
"""Calibrates a scan of a reference sphere and shows its residuals.

    residuals.py [DATA] [--save CAL] [--plot PNG]

DATA defaults to the bundled example, examples/sphere-scan-marked.txt. The
script prints the fit, its uncertainty and warnings, converts one reading,
optionally saves the calibration file, and plots the residuals (against the
sample number and as a histogram) into a PNG file when matplotlib is
installed; without matplotlib it prints a text histogram instead.
"""

import argparse
import pathlib
import sys

import numpy as np

import tavric

try:
    import matplotlib

    matplotlib.use("Agg")  # draw into a file; no display needed
    import matplotlib.pyplot as plt
except ImportError:
    plt = None

BUNDLED = pathlib.Path(__file__).resolve().parents[2] / "examples" / "sphere-scan-marked.txt"
UM = 1000.0  # micrometres per millimetre


def print_fit(cal):
    s = cal.statistics
    print(f"Samples       : {cal.samples}")
    print(f"Order         : {cal.order}")
    print(f"FitRMS        : {s['rms'] * UM:.4f} µm")
    print(f"FitMin        : {s['min'] * UM:.4f} µm")
    print(f"FitMax        : {s['max'] * UM:.4f} µm")
    print("Sphere centre : " + ", ".join(f"{c:.6f}" for c in cal.centre) + " mm")
    print(f"Sphere radius : {cal.radius:.6f} mm")
    iterations = cal.run_report["outer_iterations"]
    print(f"Optimiser     : {cal.stop_reason} after {iterations} iterations")
    u = cal.uncertainty
    if u["available"]:
        normal = 2 * u["at_samples"]["normal"]["p95"] * UM
        across = 2 * u["at_samples"]["across"]["p95"] * UM
        print(f"Uncertainty   : deflection (95 %) normal ±{normal:.2f} µm, "
              f"across ±{across:.0f} µm")
    print(f"Warnings      : {len(cal.warnings) or 'none'}")
    for w in cal.warnings:
        print(f"  [{w['code']}] {w['text']}")


def print_histogram(residuals_um, bins=15, width=50):
    counts, edges = np.histogram(residuals_um, bins=bins)
    print("Residuals (µm):")
    for count, low, high in zip(counts, edges[:-1], edges[1:]):
        bar = "#" * int(round(width * count / counts.max()))
        print(f"  {low:8.3f} .. {high:8.3f} {count:6d} {bar}")


def plot(residuals_um, path):
    fig, (along, spread) = plt.subplots(1, 2, figsize=(11, 4))
    along.plot(residuals_um, linewidth=0.5)
    along.set_xlabel("sample")
    along.set_ylabel("residual (µm)")
    along.set_title("Residuals in data order")
    spread.hist(residuals_um, bins=50)
    spread.set_xlabel("residual (µm)")
    spread.set_ylabel("samples")
    spread.set_title("Distribution")
    fig.tight_layout()
    fig.savefig(path, dpi=100)
    plt.close(fig)


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("data", nargs="?", default=str(BUNDLED), help="data file to calibrate")
    parser.add_argument("--save", metavar="CAL", help="write the calibration file")
    parser.add_argument("--plot", metavar="PNG", default="residuals.png",
                        help="where to plot the residuals (default: residuals.png)")
    args = parser.parse_args(argv)

    try:
        cal = tavric.calibrate(args.data, order=3)
    except tavric.CalibrationError as e:
        print(f"{args.data}: {e.text} ({e.code})", file=sys.stderr)
        return 1
    print_fit(cal)

    reading = [1200.0, -350.0, 80.0]
    deflection = cal.transform(reading)
    print("Deflection at " + ", ".join(f"{r:g}" for r in reading) + " counts: "
          + ", ".join(f"{d:.6f}" for d in deflection) + " mm")

    if args.save:
        cal.save(args.save)
        print(f"Written       : {args.save}")

    residuals_um = cal.residuals * UM
    if plt is None:
        print_histogram(residuals_um)
    else:
        plot(residuals_um, args.plot)
        print(f"Plotted       : {args.plot}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
