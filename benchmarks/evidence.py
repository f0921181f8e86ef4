#!/usr/bin/env python3
"""Writes a file as large as days on a phone make it, which nobody keeps in a repository:

    evidence.py logcat|perfetto MIB > FILE

Among all else it holds a thousand requests of the library for each GiB of log, and for each 512 MiB of trace. The same
arguments give the same bytes.
"""
import random
import sys

TAGS = ["ActivityManager", "WifiHAL", "SurfaceFlinger", "CameraService", "audio_hw_primary", "BatteryStats",
        "PackageManager", "init", "Zygote64", "OpenGLRenderer", "NetworkMonitor/100", "vendor.foo@1.0-service"]
WORDS = "the of and to start stop buffer request stream done failed state update id=%d time=%d ms queue 0x%x".split()
PROCESS, CLIENT, QUEUE, WORKERS = 812, 903, 904, 90_000
SENSORS = (0, 2, 3)

# ---- Log ----

LINES_A_CYCLE = 22_000  # a power-on and a power-off in as many lines


def log_line(time, process, thread, level, tag, text):
    return "MM-DD %02d:%02d:%02d.%03d %5d %5d %s %-8s: %s\n" % (
        time // 3_600_000, time // 60_000 % 60, time // 1000 % 60, time % 1000, process, thread, level, tag, text)


def cycle_lines(time):
    """A power-on of three sensors, and their power-off."""
    def line(ms, thread, level, text):
        return log_line(time + ms, PROCESS, thread, level, "zeqcam-PowerOnOffController", text)
    on = "[PowerOnOffController::powerOn] "
    ops = "[PowerOnOffController::powerOnOps] "
    lines = [line(0, CLIENT, "D", on + "get PowerOnLock, Sensor power on")]
    lines += [line(0, CLIENT, "D", "[PowerOnOffController::operator()] sensorId(%d) state: PowerOngoing" % sensor)
              for sensor in SENSORS]
    lines += [line(0, CLIENT, "I", ops + "powerOn +")]
    lines += [line(1, WORKERS + sensor, "D", "[initSensor] powerOnSensor: %d" % sensor) for sensor in SENSORS]
    lines += [line(48, CLIENT, "I", ops + "3A notifyPowerOn"), line(48, CLIENT, "I", ops + "powerOn -"),
              line(60, CLIENT, "I", "[PowerOnOffController::powerOff] powerOff +"),
              line(74, CLIENT, "I", "[PowerOnOffController::powerOff] powerOff -")]
    return lines


def logcat_day():
    """Lines of one day, whose date is to be put in."""
    lines = []
    time = 5 * 3_600_000
    for number in range(400_000):
        time += random.randint(0, 3)
        text = " ".join(random.choices(WORDS, k=random.randint(3, 14)))
        lines.append(log_line(time, random.randint(1, 200) * 47, random.randint(1, 200) * 47,
                              random.choice("VDIWE"), random.choice(TAGS), text))
        if number % LINES_A_CYCLE == 0:
            lines += cycle_lines(time)
            time += 80
    return "".join(lines).encode()


def logcat(size, out):
    day = logcat_day()
    for number in range(size // len(day) + 1):
        dated = day.replace(b"MM-DD", b"%02d-%02d" % (number // 28 % 12 + 1, number % 28 + 1))
        out.write(dated[:size])
        size -= len(dated)
        if size <= 0:
            return


# ---- Trace ----

BUNDLES = 3000  # of a block
STEP = 3_000_000  # eight processors are drained as often, in nanoseconds
CYCLE_STEPS = 18  # a power-on and a power-off in as many


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


def event(time, rest):
    return message(2, number(1, time) + rest)


def marker(thread, text):
    return number(2, thread) + message(3, message(2, text + b"\n"))


def others_event():
    """A section's begin or end, or a waking."""
    thread = random.randint(1, 400) * 31
    kind = random.random()
    if kind < 0.4:
        return marker(thread, b"B|%d|section %d of work" % (thread // 10, random.randint(0, 50)))
    if kind < 0.8:
        return marker(thread, b"E|%d" % (thread // 10))
    return number(2, thread) + message(20, message(1, b"thread%d" % thread) + number(2, thread) + number(5, 3))


class Sched:
    """What the scheduler did on one processor, from a time that is to be put in."""
    ROWS = 200

    def __init__(self):
        threads = [random.randint(0, 400) for _ in range(self.ROWS)]
        names = sorted(set(threads))
        self.times = b"".join(varint(random.randint(1000, 20_000)) for _ in range(self.ROWS - 1))
        woken = column(8, [thread * 31 for thread in threads])
        self.rest = (column(2, random.choices([0, 1, 1, 2, 256], k=self.ROWS)) +
                     column(3, [thread * 31 for thread in threads]) + column(4, [120] * self.ROWS) +
                     b"".join(message(5, b"thread%d" % (name * 31)) for name in names) +
                     column(6, [names.index(thread) for thread in threads]) + woken)

    def at(self, time):
        times = varint(time) + self.times
        return message(4, message(1, times) + self.rest + message(7, times))


def cycle_events():
    """Our events of a power-on of three sensors and their power-off, by steps."""
    begin = lambda thread, label: marker(thread, b"B|%d|%s" % (PROCESS, label))
    end = lambda thread: marker(thread, b"E|%d" % PROCESS)
    steps = [[] for _ in range(CYCLE_STEPS)]
    steps[0] = [begin(CLIENT, b"LogicalDev powerOn")]
    for sensor in SENSORS:
        worker = WORKERS + sensor
        steps[0] += [number(2, CLIENT) + message(235, number(1, worker) + message(2, b"worker"))]
        steps[1] += [begin(worker, b"powerOnSensor: %d" % sensor)]
        steps[9 + sensor] += [begin(worker, b"init()::IPeripheralController"), end(worker), end(worker)]
    steps[13] = [begin(CLIENT, b"3A notifyPowerOn"), end(CLIENT), end(CLIENT)]
    steps[14] = [begin(CLIENT, b"LogicalDev powerOff")]
    steps[15] = [each for sensor in SENSORS for each in (begin(QUEUE, b"powerOff: %d" % sensor), end(QUEUE))]
    steps[16] = [end(CLIENT)]
    return steps


def perfetto(size, out):
    """Seconds of eight busy processors, the same work again and again at later times."""
    bundles = [([(random.randint(1000, 40_000), others_event()) for _ in range(120)], Sched())
               for _ in range(BUNDLES)]
    cycle = cycle_events()
    begin = 8_642_000_000_000
    clocks = b"".join(message(1, number(1, clock) + number(2, time))
                      for clock, time in ((6, begin), (1, begin + 1_700_000_000_000_000_000)))
    size -= out.write(message(1, number(10, 1) + number(8, begin) + message(6, clocks)))
    step = 0
    while True:
        for index, (events, sched) in enumerate(bundles):
            if index % 8 == 0:
                step += 1
            at = begin + step * STEP
            own = cycle[step % CYCLE_STEPS] if index % 8 == 0 else []
            text = sched.at(at)
            for rest in own:
                at += 50_000
                text += event(at, rest)
            texts = [text]
            for passed, rest in events:
                at += passed
                texts.append(event(at, rest))
            packet = message(1, number(10, 1) + message(1, number(1, index % 8) + b"".join(texts)))
            if len(packet) > size:
                return
            size -= out.write(packet)


if __name__ == "__main__":
    if len(sys.argv) != 3 or sys.argv[1] not in ("logcat", "perfetto") or not sys.argv[2].isdigit():
        sys.exit(__doc__)
    random.seed(1)
    {"logcat": logcat, "perfetto": perfetto}[sys.argv[1]](int(sys.argv[2]) << 20, sys.stdout.buffer)
