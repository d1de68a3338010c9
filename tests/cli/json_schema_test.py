"""Every JSON object the tool prints, on success and on failure of every
subcommand, follows docs/cli-output.schema.json; and the schema refuses
objects that break the contract (so this check can fail).

usage: json_schema_test.py TAVRIC SOURCE_DIR
Exits 77 (skipped) when python3-jsonschema is missing, unless CI=true.
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError:
    if os.environ.get("CI") == "true":
        print("missing prerequisite, required when CI=true: python3-jsonschema")
        sys.exit(1)
    print("skipped: python3-jsonschema is not installed")
    sys.exit(77)

tool, source = sys.argv[1], pathlib.Path(sys.argv[2])
schema = json.loads((source / "docs" / "cli-output.schema.json").read_text())
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
example = str(source / "examples" / "sphere-scan-marked.txt")
failures = []
checked = 0


def run(args, status, stdin=None):
    """Runs tavric with --json; every line or object printed must be valid."""
    global checked
    done = subprocess.run([tool, *args, "--json"], capture_output=True, stdin=stdin)
    label = " ".join(args)
    if done.returncode != status:
        failures.append(f"{label}: status {done.returncode}, expected {status}: {done.stderr!r}")
        return []
    text = done.stdout.decode("utf-8")
    objects = []
    try:
        objects = [json.loads(text)]
    except json.JSONDecodeError:
        objects = [json.loads(line) for line in text.splitlines() if line]
    for obj in objects:
        checked += 1
        for error in validator.iter_errors(obj):
            failures.append(f"{label}: {error.message} at /{'/'.join(map(str, error.path))}")
    if not objects:
        failures.append(f"{label}: no JSON printed")
    return objects


with tempfile.TemporaryDirectory() as tmp:
    d = pathlib.Path(tmp)
    data, truth, cal = str(d / "s.txt"), str(d / "t.json"), str(d / "s.cal")
    (d / "notes.txt").write_text("nothing to calibrate here\n")
    (d / "readings.txt").write_text("1 2 3\nnot a reading\n")
    notes = str(d / "notes.txt")
    # Successes.
    run(["simulate", "-o", data, "--truth", truth], 0)
    run(["simulate", "-o", str(d / "g.txt"), "--layout", "generic"], 0)
    run(["calibrate", data, "-o", cal], 0)
    run(["calibrate", data, "-o", str(d / "w.cal"), "--max-normal-uncertainty", "0"], 0)
    run(["calibrate", data, example, "--output-dir", str(d / "many")], 0)
    run(["check", data], 0)
    run(["show", cal], 0)
    run(["transform", cal, "1", "2", "3"], 0)
    run(["transform", cal, "--data", data], 0)
    run(["verify", cal, "--truth", truth], 0)
    run(["verify", cal, "--truth", truth, "--data", data], 0)
    # Failures.
    run(["simulate", "-o", str(d / "no" / "x.txt")], 1)
    run(["calibrate", notes, "-o", str(d / "n.cal")], 1)
    run(["calibrate", data, "-o", str(d / "no" / "x.cal")], 1)
    run(["calibrate", data, notes, "--output-dir", str(d / "mixed")], 1)
    run(["check", notes], 1)
    run(["show", data], 1)
    run(["show", notes], 1)
    run(["transform", data, "1", "2", "3"], 1)
    run(["transform", cal, "-i", str(d / "readings.txt")], 1)
    run(["transform", cal, "--data", notes], 1)
    run(["verify", data, "--truth", truth], 1)
    run(["verify", cal, "--truth", notes], 1)
    # A file name that is not UTF-8.
    raw = os.fsencode(str(d)) + b"/scan-\xff.txt"
    done = subprocess.run([os.fsencode(tool), b"simulate", b"-o", raw, b"--json"],
                          capture_output=True)
    obj = json.loads(done.stdout.decode("utf-8"))
    checked += 1
    failures += [f"non-UTF-8 name: {e.message}" for e in validator.iter_errors(obj)]

    # The schema refuses what breaks the contract.
    good = run(["show", cal], 0)[0]
    broken = [
        dict(good, schema=2),
        {k: v for k, v in good.items() if k != "settings"},
        dict(good, output=""),
        dict(good, tool="tavric"),
        dict(good, result=""),
        dict(good, terms=[]),
    ]
    for obj in broken:
        if validator.is_valid(obj):
            failures.append(f"the schema accepts a broken object: {json.dumps(obj)[:120]}")

for failure in failures:
    print("FAIL:", failure)
print(f"{checked} objects checked against the schema, {len(failures)} faults")
sys.exit(1 if failures else 0)
