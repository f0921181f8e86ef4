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


def resampled_medians(samples, random):
    times = 4000
    return numpy.median(random.choice(samples, (times, samples.size)), axis=1)


def check_difference(paths):
    before, after, compared = (load(path) for path in paths)
    random = numpy.random.default_rng(1)
    widest = 0
    for difference in compared["requests"]:
        key = [difference[name] for name in ("client", "request", "nth")]
        samples = [
            samples_of(each)
            for result in (before, after)
            for each in result["requests"]
            if [each[name] for name in ("client", "request", "nth")] == key
        ]
        drawn = resampled_medians(samples[1], random) - resampled_medians(samples[0], random)
        low, high = numpy.percentile(drawn, (2.5, 97.5))
        # Two bootstraps differ by chance, by some hundredths of their width.
        room = EXACT + 0.15 * (high - low)
        if abs(difference["low_ms"] - low) > room or abs(difference["high_ms"] - high) > room:
            sys.exit(f"{key}: {difference['low_ms']} to {difference['high_ms']}, numpy has {low} to {high}")
        widest = max(widest, high - low)
    if widest == 0:
        sys.exit("no request has an interval of any width: nothing was checked")
    print(f"{len(compared['requests'])} intervals are numpy's, the widest of {widest:.1f} ms")


if __name__ == "__main__":
    {"quantiles": check_quantiles, "difference": check_difference}[sys.argv[1]](sys.argv[2:])
