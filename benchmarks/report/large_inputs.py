#!/usr/bin/env python3
"""Writes the inputs of a large report to a folder: a scenario with 4,000 LUNs, and a capture of 1,000,000 events.

  PYTHONPATH=tests/support benchmarks/report/large_inputs.py FOLDER [EVENTS]
"""
import pathlib
import random
import sys

import pcapng

BOARDS = 4
NANOSECONDS = 10**9


def scenario():
    lines = []
    for adapter in range(2):
        lines.append(f'[[adapter]]\nname = "example-fc-{adapter}"\nmodel = "EX-2200"')
        for port in range(2):
            number = 2 * adapter + port + 1
            lines.append(f'[[adapter.port]]\nport_wwn = "10:00:00:00:c9:00:00:0{number}"\n'
                         f'fabric_name = "10:00:00:60:69:00:00:0{port + 1}"\n'
                         f'[adapter.port.statistics]\ntx_frames = {number * 1000000}\nerror_frames = {number}')
            for target in range(2):
                lines.append(f'[[adapter.port.remote]]\nport_wwn = "50:00:00:00:ab:00:00:{number}{target}"\n'
                             f'node_wwn = "50:00:00:00:ab:00:0{target}:00"\nluns = 500')
    return "\n".join(lines) + "\n"


def events(count):
    """One event each two milliseconds on average, with bursts, and payloads of 16 to 240 bytes."""
    numbers = random.Random(1)
    time = 1767225600 * NANOSECONDS
    payload = bytes(range(256))
    for i in range(count):
        rate = 5000 if i % 50000 < 5000 else 500
        time += int(numbers.expovariate(rate) * NANOSECONDS)
        board = numbers.randrange(BOARDS)
        category = numbers.choice((2, 2, 2, 3, 3, 5))
        size = numbers.randrange(24, 240)
        record = bytes((category, numbers.randrange(8), 0xf4, 1, 0x58, size)) + payload[:size]
        yield pcapng.packet("<", record, time, board)


def main():
    folder = pathlib.Path(sys.argv[1])
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 1_000_000
    (folder / "large.toml").write_text(scenario(), encoding="utf-8")
    with open(folder / "events.pcapng", "wb") as file:
        file.write(pcapng.section("<", b"large"))
        for board in range(BOARDS):
            file.write(pcapng.interface("<", b"board %d" % board))
        for event in events(count):
            file.write(event)


if __name__ == "__main__":
    main()
