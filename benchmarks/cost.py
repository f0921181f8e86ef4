#!/usr/bin/env python3
"""What a command costs: cost.py OUTPUT COMMAND..., the best of three runs that write to OUTPUT.

Prints the seconds of processor, user and system, and the most memory in MiB.
"""
import os
import sys


def run(output, command):
    file = os.open(output, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600)
    child = os.posix_spawnp(command[0], command, os.environ, file_actions=[(os.POSIX_SPAWN_DUP2, file, 1)])
    os.close(file)
    _, status, usage = os.wait4(child, 0)
    if os.waitstatus_to_exitcode(status) not in (0, 1):
        sys.exit(f"{command[0]}: ended with status {os.waitstatus_to_exitcode(status)}")
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss // 1024


if len(sys.argv) < 3:
    sys.exit(__doc__)
costs = [run(sys.argv[1], sys.argv[2:]) for _ in range(3)]
print(f"{min(seconds for seconds, _ in costs):.3f} {max(memory for _, memory in costs)}")
