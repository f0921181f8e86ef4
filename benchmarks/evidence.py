#!/usr/bin/env python3
"""Writes a file as large as a day on a phone makes it, which nobody keeps in a repository:

    evidence.py logcat|perfetto MIB > FILE

One line of a log in a thousand is the library's. The same arguments give the same bytes.
"""
import random
import sys

TAGS = ["ActivityManager", "WifiHAL", "SurfaceFlinger", "CameraService", "audio_hw_primary", "BatteryStats",
        "PackageManager", "init", "Zygote64", "OpenGLRenderer", "NetworkMonitor/100", "vendor.foo@1.0-service"]
WORDS = "the of and to start stop buffer request stream done failed state update id=%d time=%d ms queue 0x%x".split()


def logcat_day():
    """Lines of one day, whose date is to be put in."""
    lines = []
    time = 5 * 3_600_000
    for number in range(400_000):
        time += random.randint(0, 3)
        tag, text = random.choice(TAGS), " ".join(random.choices(WORDS, k=random.randint(3, 14)))
        if number % 1000 == 0:
            tag, text = "zeqcam-PowerOnOffController", "[PowerOnOffController::powerOn] +"
        lines.append("MM-DD %02d:%02d:%02d.%03d %5d %5d %s %-8s: %s\n" % (
            time // 3_600_000, time // 60_000 % 60, time // 1000 % 60, time % 1000, random.randint(1, 200) * 47,
            random.randint(1, 200) * 47, random.choice("VDIWE"), tag, text))
    return "".join(lines).encode()


def logcat(size, out):
    day = logcat_day()
    for number in range(size // len(day) + 1):
        dated = day.replace(b"MM-DD", b"%02d-%02d" % (number // 28 % 12 + 1, number % 28 + 1))
        out.write(dated[:size])
        size -= len(dated)
        if size <= 0:
            return


def varint(value):
    out = bytearray()
    while value > 127:
        out.append(value & 127 | 128)
        value >>= 7
    out.append(value)
    return bytes(out)


def number(field, value):
    return varint(field << 3) + varint(value)


def message(field, content):
    return varint(field << 3 | 2) + varint(len(content)) + content


def column(field, values):
    return message(field, b"".join(map(varint, values)))


def ftrace_event(time):
    """A section's begin or end, or a waking."""
    thread = random.randint(1, 400) * 31
    kind = random.random()
    if kind < 0.4:
        what = message(3, message(2, b"B|%d|section %d of work\n" % (thread // 10, random.randint(0, 50))))
    elif kind < 0.8:
        what = message(3, message(2, b"E|%d\n" % (thread // 10)))
    else:
        what = message(20, message(1, b"thread%d" % thread) + number(2, thread) + number(3, 120) + number(5, 3))
    return message(2, number(1, time) + number(2, thread) + what)


def compact_sched(time, rows=200):
    threads = [random.randint(0, 400) for _ in range(rows)]
    names = sorted(set(threads))
    times = [time] + [random.randint(1000, 20_000) for _ in range(rows - 1)]
    return message(4, column(1, times) + column(2, random.choices([0, 1, 1, 2, 256], k=rows)) +
                   column(3, [thread * 31 for thread in threads]) + column(4, [120] * rows) +
                   b"".join(message(5, b"thread%d" % (name * 31)) for name in names) +
                   column(6, [names.index(thread) for thread in threads]) +
                   column(7, times) + column(8, [thread * 31 for thread in threads]))


def perfetto(size, out):
    """Some seconds of eight busy processors, again and again."""
    packets = []
    time = 8_642_000_000_000
    for bundle in range(3000):
        events = b""
        at = time
        for _ in range(120):
            at += random.randint(1000, 40_000)
            events += ftrace_event(at)
        packets.append(message(1, number(10, 1) + message(1, number(1, bundle % 8) + events + compact_sched(time))))
        if bundle % 8 == 7:
            time += 3_000_000
    block = b"".join(packets)
    for _ in range(size // len(block)):
        out.write(block)


if __name__ == "__main__":
    if len(sys.argv) != 3 or sys.argv[1] not in ("logcat", "perfetto") or not sys.argv[2].isdigit():
        sys.exit(__doc__)
    random.seed(1)
    {"logcat": logcat, "perfetto": perfetto}[sys.argv[1]](int(sys.argv[2]) << 20, sys.stdout.buffer)
