"""Part of check-statistics: compares figures in the tool's JSON with numpy's of the samples beside them.

quantiles FILE...           each a result of many runs
difference BEFORE AFTER FILE   two of them, and what compare --json made of them
"""

import json
import sys

import numpy

SUBJECTS = ("requests", "sensors", "services", "expectations")
# Results are told to a microsecond.
EXACT = 0.000501


def load(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


def samples_of(measured):
    return numpy.array([ms for ms in measured["samples_ms"] if ms is not None])


def check_quantiles(paths):
    checked = 0
    for path in paths:
        result = load(path)
        for kind in SUBJECTS:
            for measured in result[kind]:
                samples = samples_of(measured)
                if not samples.size:
                    continue
                for key, share in (("shortest", 0), ("median", 50), ("p90", 90), ("p99", 99), ("longest", 100)):
                    theirs = numpy.percentile(samples, share)
                    ours = measured[key + "_ms"]
                    if abs(ours - theirs) > EXACT:
                        sys.exit(f"{path}: {measured}: {key} is {ours}, numpy has {theirs}")
                    checked += 1
    print(f"{checked} quantiles are numpy's")


if __name__ == "__main__":
    check_quantiles(sys.argv[2:])
