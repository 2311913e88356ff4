"""qzsim record writes what a program and its libraries exchange, and qzsim replay answers from it."""

import datetime
import json
import os
import pathlib
import pty
import re
import select
import signal
import struct
import subprocess
import tempfile
import termios
import time
import unittest

import pcapng
from programs import QZAGENT, QZSIM, run

PATIENCE = 60  # seconds
CALLS = 148  # link type USER1

ADAPTERS = """
[[adapter]]
name = "example-fc-0"
    [[adapter.port]]
    port_wwn = "10:00:00:00:c9:00:00:01"
    statistics = { tx_frames = 5 }
    statistics_per_second = { tx_frames = 100000 }
        [[adapter.port.remote]]
        port_wwn = "50:00:00:00:ab:00:00:01"
        luns = 4
"""

BOARDS = """
[diagnostics]
[[diagnostics.board]]
first_wwn = "20:00:00:00:c9:00:00:00"
second_wwn = "10:00:00:00:c9:00:00:01"
[[diagnostics.event]]
board = 0
category = 3
subcategory = 7
size = 4
"""


def cbor(data):
    """The one item that the bytes are, read without the code of the project."""
    item, rest = _item(data)
    assert not rest, rest
    return item


def _item(data):
    major, short, data = data[0] >> 5, data[0] & 31, data[1:]
    if major == 7:
        return None, data
    if short == 31:
        return _open(major, data)
    if short >= 24:
        size = 1 << (short - 24)
        short, data = int.from_bytes(data[:size], "big"), data[size:]
    if major in (0, 1):
        return (short if major == 0 else -1 - short), data
    return (data[:short] if major == 2 else data[:short].decode()), data[short:]


def _open(major, data):
    items = []
    while data[0] != 0xff:
        item, data = _item(data)
        items.append(item)
    return (items if major == 4 else dict(zip(items[::2], items[1::2]))), data[1:]


def cbor_of(value):
    """Small numbers, texts and maps."""
    if isinstance(value, dict):
        return b"\xbf" + b"".join(cbor_of(key) + cbor_of(item) for key, item in value.items()) + b"\xff"
    if isinstance(value, str):
        return b"\x78" + bytes([len(value)]) + value.encode()
    return b"\x1a" + value.to_bytes(4, "big")


def without_times(text):
    lines = (line for line in text.splitlines() if '"generated_at"' not in line)
    return [{key: value for key, value in json.loads(line).items() if key != "time"} if line.startswith('{"') else line
            for line in lines]


class Recorded(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.file = self.folder / "host.pcapng"

    def command(self, scenario, *command):
        text = self.folder / "scenario.toml"
        text.write_text(scenario, encoding="utf-8")
        return [QZSIM, "--scenario", text, "--", QZSIM, "record", "--output", self.file, "--", *command]

    def record(self, scenario, *command):
        result = run(*self.command(scenario, *command))
        self.assertEqual(result.stderr, "")
        return result

    def replay(self, *command, options=()):
        return run(QZSIM, "replay", self.file, *options, "--", *command)

    def section(self):
        found, = pcapng.sections(self.file.read_bytes())
        return found

    def packets(self):
        return [cbor(packet.data) for packet in self.section().packets]

    def calls(self, function):
        return [packet for packet in self.packets() if packet.get("call") == function]

    def assert_replays(self, *command, options=(), scenario=ADAPTERS):
        recorded = run(*self.command(scenario, *command))
        replayed = self.replay(*command, options=options)
        self.assertEqual((replayed.returncode, replayed.stderr), (recorded.returncode, recorded.stderr))
        self.assertEqual(without_times(replayed.stdout), without_times(recorded.stdout))


class Recording(Recorded):
    def test_has_an_interface_for_each_library(self):
        self.record(ADAPTERS + BOARDS, "sh", "-c", '"$0" ports; "$0" vendor', QZAGENT)
        names = {interface.name.rpartition("/")[2]: (interface.link_type, interface.description)
                 for interface in self.section().interfaces}
        self.assertEqual(names, {"hba.conf": (CALLS, "common library"), "libqzsim-hba.so": (CALLS, "HBA library"),
                                 "libvqm.so": (CALLS, "diagnostic library")})

    def test_has_arguments_answer_thread_and_duration_of_a_call(self):
        self.record(ADAPTERS, QZAGENT, "ports", "--json")
        call, = [call for call in self.calls("HBA_GetAdapterPortAttributes") if call["arguments"]["port"] == 0][:1]
        self.assertEqual((call["returns"], call["results"]["attributes"]["port_wwn"].hex()), (0, "10000000c9000001"))
        self.assertGreater(call["process"], 0)
        self.assertGreater(call["thread"], 0)
        self.assertGreaterEqual(call["duration"], 0)

    def test_has_the_lines_of_the_configuration(self):
        self.record(ADAPTERS, QZAGENT, "ports")
        texts = [packet["configuration"] for packet in self.packets() if "configuration" in packet]
        self.assertRegex(texts[0], r"^qzsim /.*/libqzsim-hba\.so\n$")

    def test_has_the_reason_why_a_library_did_not_load(self):
        run(*self.command("[diagnostics]\nlibrary = 'absent'\n", QZAGENT, "vendor"))
        failure, = {packet["error"] for packet in self.packets() if packet.get("library") == "/usr/lib/libvqm.so"}
        self.assertIn("cannot open shared object file", failure)

    def test_states_the_word_size_of_the_host(self):
        self.record(ADAPTERS, QZAGENT, "ports")
        self.assertRegex(self.section().comment, "^recording=1 word_size=(32|64)$")

    def test_has_each_process_that_the_program_starts(self):
        self.record(ADAPTERS, "sh", "-c", '"$0" ports; "$0" ports', QZAGENT)
        self.assertEqual(len({packet["process"] for packet in self.calls("HBA_GetAdapterName")}), 2)

    def test_is_refused_if_the_file_exists(self):
        self.file.write_text("mine", encoding="ascii")
        result = run(QZSIM, "record", "--output", self.file, "--", "true")
        self.assertEqual((result.returncode, result.stderr), (2, f'qzsim: cannot write "{self.file}": File exists\n'))
        self.assertEqual(self.file.read_text(encoding="ascii"), "mine")

    def test_of_a_program_without_libraries_says_so_and_leaves_no_file(self):
        result = run(QZSIM, "record", "--output", self.file, "--", "true")
        self.assertEqual((result.returncode, result.stderr),
                         (1, "qzsim: nothing was recorded: the program opened no library of HBAs and no diagnostic "
                          "library, or it did so with the rights of another user\n"))
        self.assertFalse(self.file.exists())

    def test_of_a_program_that_cannot_be_run_leaves_no_file(self):
        result = run(QZSIM, "record", "--output", self.file, "--", self.folder / "absent")
        self.assertEqual((result.returncode, self.file.exists()), (127, False), result.stderr)

    def test_has_how_many_bytes_of_an_answer_were_written(self):
        short = ADAPTERS + '[[fault]]\ncall = "HBA_SendReadCapacity"\nnth = 2\nlength = 5\n'
        run(*self.command(short, QZAGENT, "inventory", "--luns"))
        self.assertEqual([call["results"].get("response_written") for call in self.calls("HBA_SendReadCapacity")],
                         [None, 5, None, None])

    def test_ends_with_the_status_of_the_program(self):
        self.assertEqual(run(QZSIM, "record", "--output", self.file, "--", "sh", "-c", "exit 5").returncode, 5)
        self.assertEqual(run(QZSIM, "replay", self.file, "--", "true").returncode, 2)

    def test_does_not_disturb_a_process_that_outlives_the_program(self):
        ended, output = self.folder / "ended", self.folder / "output"
        script = (f'(exec >/dev/null 2>&1; while [ ! -e {ended} ]; do sleep 0.01; done; '
                  f'"$0" ports >{output}.new; mv {output}.new {output}) &')
        run(*self.command(ADAPTERS, "sh", "-c", script, QZAGENT))
        ended.touch()
        deadline = time.monotonic() + PATIENCE
        while not output.exists():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)
        self.assertIn("10:00:00:00:c9:00:00:01", output.read_text(encoding="utf-8"))

    def test_can_be_read_only_by_its_owner(self):
        self.record(ADAPTERS, QZAGENT, "ports")
        self.assertEqual(self.file.stat().st_mode & 0o777, 0o600)

    def test_splits_a_large_answer_into_packets_that_every_program_reads(self):
        large = ADAPTERS.replace("luns = 4", "luns = 3000")
        self.assert_replays(QZAGENT, "inventory", "--json", scenario=large)
        sizes = [len(packet.data) for packet in self.section().packets]
        self.assertEqual(max(sizes), 262144)


class Events(Recorded):
    def storm(self, rate, count):
        return BOARDS + f"rate = {rate}\ncount = {count}\n"

    def events(self):
        return [packet for packet in self.packets() if "event" in packet]

    def test_are_recorded_with_their_payloads_and_replayed(self):
        for interface in ((), ("--plain",)):
            with self.subTest(interface):
                self.assert_replays(QZAGENT, "watch", "--json", "--count", "5", *interface,
                                    scenario=self.storm(500, 5))
                numbers = [int.from_bytes(event["data"]["payload"], "big") for event in self.events()]
                self.assertEqual((numbers, self.events()[0]["event"]), ([0, 1, 2, 3, 4], "plain" if interface else "quazor"))
                self.file.unlink()

    @staticmethod
    def received(text):
        """When the events were received, in seconds."""
        return [datetime.datetime.fromisoformat(json.loads(line)["time"][:26] + "+00:00").timestamp()
                for line in text.splitlines()]

    def test_are_replayed_in_the_rhythm_of_the_recording(self):
        self.record(self.storm(4, 3), QZAGENT, "watch", "--quiet", "--count", "3")
        recorded = [packet.time for packet in self.section().packets if "event" in cbor(packet.data)]
        start, = [packet.time for packet in self.section().packets
                  if cbor(packet.data).get("results", {}).get("registration")][:1]
        begin = time.time()
        replayed = self.received(self.replay(QZAGENT, "watch", "--json", "--count", "3").stdout)
        # They may be late, but never early.
        for event, original in zip(replayed, recorded, strict=True):
            self.assertGreaterEqual(event - begin, (original - start) / 1e9 - 0.001)

    def test_of_a_storm_are_all_recorded_in_order(self):
        count = 20000
        self.record(self.storm(100000, count), QZAGENT, "watch", "--quiet", "--output", os.devnull, "--format", "records",
                    "--count", str(count))
        numbers = [int.from_bytes(event["data"]["payload"], "big") for event in self.events()]
        self.assertTrue(numbers[:count] == list(range(count)), f"{len(numbers)} events")
        times = [packet.time for packet in self.section().packets]
        self.assertTrue(times == sorted(times))


class Killed(Recorded):
    def start(self, scenario, *command):
        process = subprocess.Popen(self.command(scenario, *command), stdout=subprocess.PIPE, start_new_session=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait, PATIENCE)
        self.assertTrue(process.stdout.readline())
        return process

    def watch(self):
        return self.start(BOARDS + "rate = 1000\ncount = 1000000\n", QZAGENT, "watch", "--json")

    def test_program_leaves_everything_that_it_recorded(self):
        process = self.watch()
        agent = int(subprocess.run(["pgrep", "-P", str(process.pid)], capture_output=True, check=True).stdout)
        os.kill(agent, signal.SIGKILL)
        self.assertEqual(process.wait(PATIENCE), -signal.SIGKILL)
        self.assertGreater(len(self.packets()), 0)

    def test_recorder_leaves_whole_blocks_and_the_program_runs_on(self):
        process = self.watch()
        agent = int(subprocess.run(["pgrep", "-P", str(process.pid)], capture_output=True, check=True).stdout)
        deadline = time.monotonic() + PATIENCE
        while self.file.stat().st_size < 10000:
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)
        process.kill()
        process.wait(PATIENCE)
        self.assertGreater(len(pcapng.sections(pcapng.whole_part(self.file.read_bytes()))[0].packets), 0)
        for _ in range(5000):
            self.assertTrue(process.stdout.readline())
        os.kill(agent, signal.SIGKILL)


class Replay(Recorded):
    def test_gives_the_same_answers_without_the_libraries(self):
        for command in (("inventory", "--luns"), ("ports",), ("adapters",)):
            with self.subTest(command):
                self.assert_replays(QZAGENT, *command, "--json")
                self.file.unlink()

    def test_gives_the_answers_of_a_call_in_their_order(self):
        command = (QZAGENT, "statistics", "--interval", "1", "--count", "2", "--json")
        growths = [[json.loads(line)["adapters"][0]["ports"][0]["differences"] for line in text.splitlines()]
                   for text in (self.record(ADAPTERS, *command).stdout, self.replay(*command).stdout)]
        self.assertEqual(growths[0], growths[1])

    def test_repeats_the_last_answer_with_a_note(self):
        self.record(ADAPTERS, QZAGENT, "ports", "--json")
        result = self.replay("sh", "-c", '"$0" ports >/dev/null; "$0" ports --json', QZAGENT)
        self.assertIn('"port_wwn": "10:00:00:00:c9:00:00:01"', result.stdout)
        self.assertRegex(result.stderr, r"(?m)^qzsim: note: HBA_OpenAdapter\(name \"example-fc-0\"\) of /.*/libqzsim-hba.so "
                                        r"was recorded 1 and called 2 times; the last answer was repeated$")

    def test_refuses_a_call_that_was_never_recorded(self):
        self.record(ADAPTERS, QZAGENT, "ports")
        result = self.replay(QZAGENT, "statistics", "--json")
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, r"(?m)^qzsim: refused: HBA_GetPortStatistics\(handle \d+, port 0\) of /.*: "
                                        "the recording has no such call$")
        self.assertIn("HBA_GetPortStatistics", json.dumps(json.loads(result.stdout)["messages"]))

    def test_takes_the_time_of_the_recording_divided_by_the_speed(self):
        slow = ADAPTERS + '[[fault]]\ncall = "HBA_SendReportLUNs"\nnth = "1+"\ndelay_ms = 40\n'
        command = (QZAGENT, "latency", "--count", "2", "--json")
        self.record(slow, *command)
        recorded = min(call["duration"] for call in self.calls("HBA_SendReportLUNs")) / 1000
        self.assertGreaterEqual(recorded, 40000)
        for speed in (1, 2, 4):
            target, = json.loads(self.replay(*command, options=("--speed", str(speed))).stdout)["adapters"][0]["target_ports"]
            self.assertGreaterEqual(target["latencies"]["latency_us"]["minimum"], recorded / speed)

    def test_in_strict_order_accepts_the_recorded_program(self):
        self.assert_replays(QZAGENT, "inventory", "--luns", "--json", options=("--strict",))

    def test_in_strict_order_refuses_a_call_out_of_order(self):
        self.record(ADAPTERS, QZAGENT, "inventory")
        result = self.replay(QZAGENT, "ports", options=("--strict", "--speed", "0"))
        self.assertRegex(result.stderr, "(?m)^qzsim: refused: HBA_.*: the next call of the recording is HBA_")

    def test_of_a_host_without_the_diagnostic_library_has_none(self):
        for library in ("absent", "broken"):
            with self.subTest(library):
                result = run(*self.command(f"[diagnostics]\nlibrary = '{library}'\n", QZAGENT, "vendor", "--json"))
                replayed = self.replay(QZAGENT, "vendor", "--json")
                self.assertEqual(replayed.stderr, result.stderr)
                self.assertEqual(without_times(replayed.stdout), without_times(result.stdout))
                self.file.unlink()

    def test_of_a_damaged_recording_uses_the_rest(self):
        recorded = self.record(ADAPTERS, QZAGENT, "ports", "--json")
        data = self.file.read_bytes()
        self.file.write_bytes(data + data[-20:])
        result = self.replay(QZAGENT, "ports", "--json")
        self.assertEqual(result.stderr, f'qzsim: note: 1 packets or pieces of "{self.file}" are damaged\n')
        self.assertEqual(without_times(result.stdout), without_times(recorded.stdout))

    def test_does_not_wait_for_durations_that_are_longer_than_the_recording(self):
        recorded = self.record(ADAPTERS, QZAGENT, "ports", "--json")
        calls = sum("duration" in packet for packet in self.packets())
        self.file.write_bytes(with_durations(self.file.read_bytes(), (1 << 64) - 1))
        result = self.replay("timeout", str(PATIENCE), QZAGENT, "ports", "--json")
        self.assertEqual(result.stderr, f'qzsim: note: {calls} packets or pieces of "{self.file}" are damaged\n')
        self.assertEqual(without_times(result.stdout), without_times(recorded.stdout))

    def test_does_not_wait_for_a_duration_of_years(self):
        recorded = self.record(ADAPTERS, QZAGENT, "ports", "--json")
        self.file.write_bytes(with_durations(self.file.read_bytes(), 1 << 61, later=1 << 62))
        result = self.replay("timeout", str(PATIENCE), QZAGENT, "ports", "--json")
        self.assertIn("packets or pieces of", result.stderr)
        self.assertEqual(without_times(result.stdout), without_times(recorded.stdout))

    def test_needs_a_file_that_each_process_can_read(self):
        self.record(ADAPTERS, QZAGENT, "ports")
        result = run("sh", "-c", f'cat {self.file} | "$0" replay /dev/stdin -- true', QZSIM)
        self.assertEqual((result.returncode, result.stderr),
                         (2, 'qzsim: cannot read "/dev/stdin": it is not a regular file, and each process of the program '
                          'reads the recording\n'))

    def test_says_why_a_file_cannot_be_found(self):
        loop = self.folder / "loop\x1b"
        loop.symlink_to(loop)
        result = run(QZSIM, "replay", loop, "--", "true")
        self.assertEqual((result.returncode, result.stderr),
                         (2, f'qzsim: cannot read "{self.folder}/loop\\u001B": Too many levels of symbolic links\n'))

    def test_of_a_big_endian_recording_gives_the_same_answers(self):
        recorded = self.record(ADAPTERS, QZAGENT, "inventory", "--luns", "--json")
        self.file.write_bytes(swapped(self.file.read_bytes()))
        result = self.replay(QZAGENT, "inventory", "--luns", "--json")
        self.assertEqual(result.stderr, "")
        self.assertEqual(without_times(result.stdout), without_times(recorded.stdout))

    def test_refuses_what_is_no_recording(self):
        for content, reason in ((b"", "it is no recording"), (b"text", "it is no recording"), (None, "No such file")):
            with self.subTest(content):
                self.file.unlink(missing_ok=True)
                if content is not None:
                    self.file.write_bytes(content)
                result = self.replay("true")
                self.assertEqual(result.returncode, 2)
                self.assertTrue(result.stderr.startswith(f'qzsim: cannot read "{self.file}": {reason}'), result.stderr)

    def test_refuses_a_wrong_command_line(self):
        for arguments in (["replay"], ["replay", "f"], ["replay", "f", "--speed", "-1", "true"],
                          ["replay", "f", "--speed", "nan", "true"], ["record", "true"],
                          ["replay", "f", "--speed", "1e-300", "true"], ["replay", "f", "--speed", "2e9", "true"],
                          ["record", "--output", "f"], ["replay", "--bogus", "f", "true"]):
            with self.subTest(arguments):
                result = run(QZSIM, *arguments)
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assertRegex(result.stderr, "^qzsim: .*; see qzsim (record|replay) --help\n$")


def spellings(name):
    """A name as bytes and as text in each usual form, in either byte order."""
    for value in (bytes.fromhex(name.replace(":", "")), bytes.fromhex(name.replace(":", ""))[::-1]):
        yield value
        for text in (value.hex(), value.hex(":"), value.hex("-"), value.hex(".")):
            yield text.encode()
            yield text.encode("utf-16-le")


class Anonymised(Recorded):
    NAMES = ("10:00:00:00:c9:2a:3b:4c", "20:00:00:00:c9:2a:3b:4c", "50:06:01:60:c1:23:45:67", "10:00:00:60:69:51:23:45",
             "21:00:00:e0:8b:12:34:56")
    TEXTS = ("BK0815XYZ", "web01", "bank.example", "sdqz", "host77", "db02.other.example")
    SCENARIO = """
[[adapter]]
name = "example-fc-0"
serial_number = "BK0815XYZ"
node_wwn = "20:00:00:00:c9:2a:3b:4c"
node_symbolic_name = "EX-2200 SN:bk0815xyz HN:WEB01.bank.example"
model_description = "of web01, 10000000C92A3B4C"
    [[adapter.port]]
    port_wwn = "10:00:00:00:c9:2a:3b:4c"
    fc_id = 0x0abcde
    fabric_name = "10:00:00:60:69:51:23:45"
    os_device_name = "/sys/class/fc_host/host77"
        [[adapter.port.remote]]
        port_wwn = "50:06:01:60:c1:23:45:67"
        fc_id = 0x0abcdf
        symbolic_name = "array of db02.other.example"
        luns = 3
            [[adapter.port.remote.lun]]
            lun = 0
            os_device = "/dev/sdqz"
            inquiry_product = "BK0815XYZ"
            inquiry_revision = "HN77"
[diagnostics]
[[diagnostics.board]]
first_wwn = "20:00:00:00:c9:2a:3b:4c"
second_wwn = "10:00:00:00:c9:2a:3b:4c"
[[diagnostics.board]]
first_wwn = "20:00:00:00:c9:2a:3b:4c"
second_wwn = "21:00:00:e0:8b:12:34:56"
[[diagnostics.event]]
board = 0
category = 3
subcategory = 7
payload = "01 10 00 00 00 c9 2a 3b 4c 57 45 42 30 31 00"
count = 3
"""

    def setUp(self):
        super().setUp()
        self.key = self.folder / "key"
        self.key.write_text("a secret of some length", encoding="ascii")
        self.key.chmod(0o600)

    def command(self, scenario, *command):
        plain = super().command(scenario, *command)
        place = plain.index("record") + 1
        return plain[:place] + ["--anonymise", self.key] + plain[place:]

    def assert_has_no_original(self, texts=TEXTS):
        content = self.file.read_bytes()
        for name in self.NAMES:
            for spelling in spellings(name):
                self.assertNotIn(spelling.lower(), content.lower(), name)
        for text in texts:
            self.assertNotIn(text.lower().encode(), content.lower())
            self.assertNotIn(text.lower().encode("utf-16-le"), content.lower())

    def test_recording_has_no_original(self):
        script = '"$0" inventory --luns; "$0" latency --count 1; "$0" vendor; "$0" watch --quiet --count 3'
        self.record(self.SCENARIO, "sh", "-c", script, QZAGENT)
        self.assert_has_no_original((*self.TEXTS, os.uname().nodename) if len(os.uname().nodename) > 3 else self.TEXTS)
        self.assertRegex(self.section().hardware, "^host-[0-9a-f]{12}$")

    def test_recording_has_the_pseudonyms_of_bundles(self):
        bundle = self.folder / "bundle.pcapng"
        text = self.folder / "bundle.toml"
        text.write_text(self.SCENARIO, encoding="ascii")
        made = run(QZSIM, "--scenario", text, "--", QZAGENT, "bundle", "--seconds", "0", "--anonymise", self.key,
                   "--output", bundle)
        self.assertEqual(made.returncode, 0, made.stderr)
        self.record(self.SCENARIO, QZAGENT, "inventory", "--luns")
        expected = json.loads(run(QZAGENT, "show", "--document", "inventory", bundle).stdout)
        replayed = self.replay(QZAGENT, "inventory", "--luns", "--json")
        self.assertEqual(replayed.stderr, "")
        self.assertEqual(self.without_texts(json.loads(replayed.stdout)), self.without_texts(expected))

    @staticmethod
    def without_texts(document):
        """Texts in areas of a fixed size have pseudonyms of the same size."""
        for adapter in document["adapters"]:
            adapter["attributes"].pop("model_description")
            for port in adapter["ports"]:
                for remote in port["remote_ports"]:
                    for unit in remote.get("luns", []):
                        for key in ("product", "revision"):
                            unit.pop(key, None)
        return document["adapters"]

    def test_recording_of_a_killed_program_has_no_original(self):
        process = subprocess.Popen(self.command(self.SCENARIO, QZAGENT, "watch", "--json"), stdout=subprocess.PIPE,
                                   start_new_session=True)
        self.addCleanup(process.stdout.close)
        self.assertTrue(process.stdout.readline())
        agent = int(subprocess.run(["pgrep", "-P", str(process.pid)], capture_output=True, check=True).stdout)
        os.kill(agent, signal.SIGKILL)
        self.assertEqual(process.wait(PATIENCE), -signal.SIGKILL)
        self.assertGreater(len(self.calls("VQM_GetLinkInfo")), 0)
        self.assert_has_no_original(texts=())

    def test_recording_is_empty_until_the_program_ends(self):
        process = subprocess.Popen(self.command(self.SCENARIO, QZAGENT, "watch", "--json"), stdout=subprocess.PIPE,
                                   start_new_session=True)
        self.addCleanup(process.stdout.close)
        self.assertTrue(process.stdout.readline())
        agent = int(subprocess.run(["pgrep", "-P", str(process.pid)], capture_output=True, check=True).stdout)
        process.kill()
        process.wait(PATIENCE)
        os.kill(agent, signal.SIGKILL)
        self.assertEqual(self.section().packets, [])

    def start_on_terminal(self, *command):
        """Returns the process and the other side of the terminal that has its standard error."""
        terminal, theirs = (open(side, "r+b", buffering=0) for side in pty.openpty())
        self.addCleanup(terminal.close)
        self.addCleanup(theirs.close)
        termios.tcflow(theirs, termios.TCOOFF)  # who writes must wait
        process = subprocess.Popen(self.command(self.SCENARIO, *command), stdout=subprocess.DEVNULL, stderr=theirs)
        self.addCleanup(process.wait, PATIENCE)
        self.addCleanup(process.kill)
        return process, terminal, theirs

    def test_terminal_shows_the_progress_of_the_replacement_and_erases_it(self):
        process, terminal, theirs = self.start_on_terminal(QZAGENT, "ports")
        termios.tcflow(theirs, termios.TCOON)
        self.assertEqual(process.wait(PATIENCE), 0)
        shown = b""
        while not shown.endswith(b"%\r\x1b[K") and select.select([terminal], [], [], PATIENCE)[0]:
            shown += terminal.read(4096)
        self.assertRegex(shown.decode(), r"^\r\x1b\[Kqzsim: replacing names: 0 %.*\r\x1b\[K$")

    def test_recording_is_whole_if_the_terminal_goes_away(self):
        threads = self.folder / "threads"
        process, terminal, _ = self.start_on_terminal("sh", "-c", f'ls /proc/$PPID/task > {threads}; exec "$0" ports',
                                                      QZAGENT)
        folder = pathlib.Path("/proc", str(process.pid))
        deadline = time.monotonic() + PATIENCE
        # The thread that writes the recording has ended, and the other one waits for the terminal.
        while not (threads.exists()
                   and set(os.listdir(folder / "task")) < set(threads.read_text(encoding="ascii").split())
                   and ") S " in (folder / "stat").read_text(encoding="ascii")):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)
        terminal.close()
        self.assertEqual(process.wait(PATIENCE), 0)
        self.assertGreater(len(self.calls("HBA_GetAdapterPortAttributes")), 0)

    def test_replacement_can_be_interrupted(self):
        ended = self.folder / "ended"
        process, _, _ = self.start_on_terminal("sh", "-c", f'"$0" ports; touch {ended}', QZAGENT)
        deadline = time.monotonic() + PATIENCE
        while process.poll() is None:
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.05)
            if ended.exists():
                process.send_signal(signal.SIGINT)
        self.assertEqual(process.returncode, -signal.SIGINT)

    def test_recording_gives_a_scenario_with_the_same_pseudonyms(self):
        self.record(self.SCENARIO, QZAGENT, "inventory", "--luns")
        replayed = self.replay(QZAGENT, "inventory", "--luns", "--json")
        made = self.folder / "made.toml"
        made.write_text(run(QZSIM, "convert", self.file).stdout, encoding="ascii")
        simulated = run(QZSIM, "--scenario", made, "--", QZAGENT, "inventory", "--luns", "--json")
        self.assertEqual(without_times(simulated.stdout), without_times(replayed.stdout))

    def test_recording_needs_a_private_key(self):
        self.key.chmod(0o644)
        result = run(*self.command(ADAPTERS, "true"))
        self.assertEqual((result.returncode, self.file.exists()), (2, False))
        self.assertRegex(result.stderr, "^qzsim: .*key is open to other users: a key file must be private")


class Conversion(Recorded):
    FAULTS = (
        'call = "HBA_GetAdapterName"; adapter = "example-fc-0"; nth = 1; status = 10',
        'call = "HBA_OpenAdapter"; adapter = "example-fc-1"; nth = "1-9"; status = 1',
        'call = "HBA_GetAdapterPortAttributes"; adapter = "example-fc-0"; nth = 1; status = 1',
        'call = "HBA_GetAdapterPortAttributes"; adapter = "example-fc-0"; nth = 2; status = 1',
        'call = "HBA_GetDiscoveredPortAttributes"; adapter = "example-fc-0"; nth = 1; status = 9',
        'call = "HBA_SendReportLUNs"; adapter = "example-fc-0"; nth = "1-9"; status = 1',
        'call = "HBA_SendReportLUNs"; adapter = "example-fc-0"; nth = "1-9"; status = 7',
        'call = "HBA_GetAdapterAttributes"; adapter = "example-fc-0"; nth = "1-9"; status = 7',
        'call = "HBA_GetAdapterPortAttributes"; adapter = "example-fc-0"; nth = 2; status = 7',
        'call = "HBA_GetDiscoveredPortAttributes"; adapter = "example-fc-0"; nth = 1; status = 7',
        'call = "VQM_GetLinkInfo"; board = 0; nth = 1; result = 4',
    )
    UNREADABLE = """
[[adapter]]
name = "example-fc-0"
    [[adapter.port]]
    port_wwn = "10:00:00:00:c9:00:00:01"
        [[adapter.port.remote]]
        port_wwn = "50:00:00:00:ab:00:00:01"
        luns = 2
        [[adapter.port.remote]]
        port_wwn = "50:00:00:00:ab:00:00:02"
        luns = 2
    [[adapter.port]]
    port_wwn = "10:00:00:00:c9:00:00:02"
[[adapter]]
name = "example-fc-1"
    [[adapter.port]]
    port_wwn = "10:00:00:00:c9:00:00:11"
[diagnostics]
missing_functions = ["VQM_GetLibVer"]
[[diagnostics.board]]
first_wwn = "20:00:00:00:c9:00:00:00"
second_wwn = "10:00:00:00:c9:00:00:01"
[[diagnostics.board]]
first_wwn = "20:00:00:00:c9:00:00:00"
second_wwn = "10:00:00:00:c9:00:00:02"
"""
    SHIPPED = pathlib.Path(__file__).resolve().parents[2] / "simulator" / "scenarios"

    def assert_same_output(self, scenario, *command):
        self.file.unlink(missing_ok=True)
        original = run(*self.command(scenario, *command))
        text = run(QZSIM, "convert", self.file)
        self.assertEqual((text.returncode, text.stderr), (0, ""))
        (self.folder / "made.toml").write_text(text.stdout, encoding="utf-8")
        made = run(QZSIM, "--scenario", self.folder / "made.toml", "--", *command)
        self.assertEqual((made.returncode, made.stderr), (original.returncode, original.stderr))
        self.assertEqual(without_times(made.stdout), without_times(original.stdout))

    def test_gives_the_same_inventory(self):
        for name in ("two-adapters", "second-version", "unsupported-adapter", "no-adapters", "failing-name"):
            with self.subTest(name):
                self.assert_same_output((self.SHIPPED / f"{name}.toml").read_text(encoding="ascii"),
                                        QZAGENT, "inventory", "--luns", "--json")

    def test_keeps_texts_that_are_not_ascii(self):
        texts = 'manufacturer = "Müller \\"&\\\\ €"\nserial_number = "😀"\n'
        self.assert_same_output(ADAPTERS.replace("example-fc-0\"\n", "Näme-0\"\n" + texts), QZAGENT, "adapters", "--json")
        self.assertIn("Müller", run(QZSIM, "convert", self.file).stdout)

    def test_has_a_question_mark_for_a_byte_that_is_not_utf_8(self):
        self.record(ADAPTERS.replace("example-fc-0", "Näme-0"), QZAGENT, "adapters")
        self.file.write_bytes(self.file.read_bytes().replace("ä".encode(), b"\xe4\x01"))
        self.assertIn('name = "N??me-0"\n', run(QZSIM, "convert", self.file).stdout)

    def test_names_an_adapter_whose_name_is_empty(self):
        self.record(ADAPTERS, QZAGENT, "adapters")
        content = self.file.read_bytes()
        named = b"\x64name\x6cexample-fc-0"
        self.assertIn(named, content)
        self.file.write_bytes(content.replace(named, b"\x64name\x60\x65other\x65other"))
        text = self.folder / "made.toml"
        text.write_text(run(QZSIM, "convert", self.file).stdout, encoding="utf-8")
        checked = run(QZSIM, "--scenario", text, "--check")
        self.assertEqual((checked.returncode, checked.stderr), (0, ""))
        self.assertIn("unnamed", checked.stdout)

    def test_gives_the_same_failures(self):
        for fault in self.FAULTS:
            with self.subTest(fault):
                scenario = self.UNREADABLE + "".join(f"{line}\n" for line in ("[[fault]]", *fault.split("; ")))
                command = ("vendor",) if "VQM" in fault else ("inventory", "--luns")
                self.assert_same_output(scenario, QZAGENT, *command, "--json")

    def test_gives_the_same_boards_and_events(self):
        self.assert_same_output(BOARDS, QZAGENT, "vendor", "--json")
        # Each event has its own source, so two that are close together may change places.
        self.assert_same_output(BOARDS + "count = 5\n", "sh", "-c", '"$0" watch --quiet --count 5 | cut -d " " -f 2- | sort',
                                QZAGENT)

    def test_gives_the_same_statistics(self):
        self.assert_same_output(ADAPTERS.replace("statistics_per_second = { tx_frames = 100000 }", ""),
                                QZAGENT, "statistics", "--json")

    def test_gives_the_same_luns_of_a_target_behind_two_ports(self):
        port = ADAPTERS.partition("    [[adapter.port]]")[2]
        for first, second in ((1, 1), (3, 2), (0, 2), (2, 0)):
            with self.subTest(luns=(first, second)):
                other = port.replace("c9:00:00:01", "c9:00:00:02").replace("luns = 4", f"luns = {second}")
                self.assert_same_output(ADAPTERS.replace("luns = 4", f"luns = {first}") + "    [[adapter.port]]" + other,
                                        QZAGENT, "inventory", "--luns", "--json")

    def test_gives_the_same_addressing_of_luns(self):
        for key in ('lun_addressing = "flat"', "luns = [1, 300]"):
            scenario = ADAPTERS.replace("luns = 4", key if "luns" in key else f"luns = 4\n{key}")
            for style in ("scsi", "integer"):
                with self.subTest(key, style=style):
                    self.assert_same_output(scenario.replace("-0\"", f"-0\"\nlun_style = '{style}'"),
                                            QZAGENT, "inventory", "--luns", "--json")

    def test_gives_the_same_answers_that_are_not_whole(self):
        for call in ("HBA_SendReportLUNs", "HBA_SendScsiInquiry", "HBA_SendReadCapacity"):
            for shape in ("untouched = true", "length = 0", "length = 3", "length = 5"):
                with self.subTest(call, shape=shape):
                    self.assert_same_output(ADAPTERS + f'[[fault]]\ncall = "{call}"\nnth = 1\n{shape}\n',
                                            QZAGENT, "inventory", "--luns", "--json")

    def test_gives_the_same_answers_to_inquiry_that_end_with_null_bytes(self):
        for length in (0, 3, 4):
            with self.subTest(length):
                shape = f"length = {length}\nzeros = true\n"
                self.assert_same_output(ADAPTERS + f'[[fault]]\ncall = "HBA_SendScsiInquiry"\nnth = "2-3"\n{shape}',
                                        QZAGENT, "inventory", "--luns", "--json")
                self.assertIn('nth = "2-3"\n' + shape, run(QZSIM, "convert", self.file).stdout)

    def test_gives_the_same_luns_that_are_not_reported(self):
        for missing in (1, 3, 4):
            with self.subTest(missing):
                fault = f'[[fault]]\ncall = "HBA_SendReportLUNs"\nnth = 1\nmissing = {missing}\n'
                self.assert_same_output(ADAPTERS.replace("luns = 4", "luns = [7, 3, 300, 0]") + fault,
                                        QZAGENT, "inventory", "--luns", "--json")

    def test_gives_the_same_luns_of_a_report_that_was_not_written_whole(self):
        for length in (8, 20, 24, 39):
            with self.subTest(length):
                fault = f'call = "HBA_SendReportLUNs"\nadapter = "example-fc-0"\n' \
                        f'port_wwn = "50:00:00:00:ab:00:00:01"\nnth = 1\nlength = {length}\n'
                self.assert_same_output(f"{ADAPTERS}[[fault]]\n{fault}", QZAGENT, "inventory", "--luns", "--json")
                self.assertIn(fault, run(QZSIM, "convert", self.file).stdout)

    def test_gives_the_same_luns_if_the_first_room_for_them_is_too_small(self):
        self.assert_same_output(ADAPTERS.replace("luns = 4", "luns = 513"), QZAGENT, "inventory", "--luns", "--json")
        self.assertEqual([call["arguments"]["response"] for call in self.calls("HBA_SendReportLUNs")], [4104, 4112])
        self.assertNotIn("fault", run(QZSIM, "convert", self.file).stdout)

    def test_gives_the_same_luns_that_are_not_mapped(self):
        unmapped = "".join(f"        [[adapter.port.remote.lun]]\n        lun = {lun}\n        mapped = false\n"
                           for lun in (2, 301))
        scenario = ADAPTERS.replace("luns = 4\n", "luns = 4\n" + unmapped)
        fault = '[[fault]]\ncall = "HBA_SendReportLUNs"\nnth = 1\nmissing = 1\n'
        self.assert_same_output(scenario, QZAGENT, "inventory", "--luns", "--json")
        self.assertEqual(run(QZSIM, "convert", self.file).stdout.count("mapped = false\n"), 2)
        self.assert_same_output(scenario + fault, QZAGENT, "inventory", "--luns", "--json")
        other = ADAPTERS.partition("    [[adapter.port]]")[2].replace("c9:00:00:01", "c9:00:00:02")
        self.assert_same_output(scenario + "    [[adapter.port]]" + other, QZAGENT, "inventory", "--luns", "--json")
        self.assertEqual(run(QZSIM, "convert", self.file).stdout.count("mapped = false\n"), 2)

    def note_of(self, scenario):
        """What the conversion says about a recording of an inventory."""
        self.file.unlink(missing_ok=True)
        run(*self.command(scenario, QZAGENT, "inventory", "--luns"))
        result = run(QZSIM, "convert", self.file)
        self.assertEqual(result.returncode, 0)
        return result.stderr

    def test_says_which_answers_a_scenario_does_not_have(self):
        for fault, note in (('call = "HBA_SendReportLUNs"; nth = 1; list_length = 40',
                             r"1 of 1 calls of HBA_SendReportLUNs have other answers than in the recording; the first is "
                             r"HBA_SendReportLUNs\(.*target 50000000ab000001\), which has another response"),
                            ('call = "HBA_GetFcpTargetMapping"; nth = 1; count = 6; entries = 3',
                             r"1 of \d calls of HBA_GetFcpTargetMapping .*, which has other mappings")):
            with self.subTest(fault):
                self.assertRegex(self.note_of(ADAPTERS + "\n".join(("[[fault]]", *fault.split("; "))) + "\n"),
                                 f"^qzsim: note: {note}\n")

    def test_says_that_large_sizes_are_not_in_a_scenario(self):
        self.assertEqual(self.note_of(ADAPTERS.replace("luns = 4", "luns = 4\nblocks = 0x200000000")),
                         "qzsim: note: the sizes of 4 LUNs are not in the recording, because READ CAPACITY shows only that "
                         "they have 2^32 or more blocks\n")

    def test_says_that_a_library_did_not_load(self):
        run(*self.command("[diagnostics]\nlibrary = 'broken'\n", QZAGENT, "vendor"))
        self.assertRegex(run(QZSIM, "convert", self.file).stderr,
                         '^qzsim: note: the scenario does not have the reason why "/usr/lib/libvqm.so" did not load: .+\n$')

    def test_is_refused_if_the_recording_leaves_out_very_many_ports(self):
        self.record(ADAPTERS, QZAGENT, "ports")
        content = self.file.read_bytes()
        section, = pcapng.sections(content)
        library = next(number for number, interface in enumerate(section.interfaces) if "hba.so" in interface.name)
        handle = self.calls("HBA_GetAdapterPortAttributes")[0]["arguments"]["handle"]
        order = next(pcapng.blocks(content))[0]
        begin = section.packets[-1].time
        for port in range(5):
            call = cbor_of({"call": "HBA_GetDiscoveredPortAttributes", "returns": 1, "results": {}, "arguments":
                            {"handle": handle, "port": port, "discovered_port": 16383}})
            content += pcapng.block(order, pcapng.PACKET, struct.pack(
                order + "IIIII", library, begin >> 32, begin & 0xffffffff, len(call), len(call)) + call +
                bytes(-len(call) % 4))
        self.file.write_bytes(content)
        result = run(QZSIM, "convert", self.file)
        self.assertEqual((result.returncode, result.stdout), (2, ""))
        self.assertRegex(result.stderr, "^qzsim: .*leave out [0-9]+ ports, more than 65536\n$")

    def test_of_what_a_scenario_cannot_have_says_what_to_edit(self):
        port = '    [[adapter.port]]\n    port_wwn = "10:00:00:00:c9:00:00:02"\n'
        self.record(ADAPTERS + port, QZAGENT, "ports")
        same, other = (b"\x48" + bytes.fromhex(f"10000000c900000{number}") for number in (1, 2))
        self.file.write_bytes(self.file.read_bytes().replace(other, same))
        result = run(QZSIM, "convert", self.file)
        text = self.folder / "made.toml"
        text.write_text(result.stdout, encoding="utf-8")
        checked = run(QZSIM, "--scenario", text, "--check")
        self.assertEqual(checked.returncode, 2)
        reason = checked.stderr.partition("made.toml")[2]
        self.assertIn("a port_wwn that no other port of an adapter has", reason)
        self.assertEqual((result.returncode, result.stderr),
                         (1, f"qzsim: note: the scenario must be edited before it can be used: scenario{reason}"))

    def test_refuses_what_is_no_recording(self):
        self.file.write_text("text", encoding="ascii")
        self.assertEqual(run(QZSIM, "convert", self.file).returncode, 2)


def with_durations(data, duration, later=0):
    """The same file with this duration of each call, and with later times of the calls."""
    output = b""
    number = b"\x68duration\x1b" + duration.to_bytes(8, "big")
    for order, kind, body in pcapng.blocks(data):
        if kind == pcapng.PACKET:
            high, low, size = struct.unpack_from(order + "III", body, 4)
            content = re.sub(rb"\x68duration(\x18.|\x19..|\x1a....|[\x00-\x17])", number, body[20:20 + size],
                             flags=re.DOTALL)
            time_of_call = (high << 32 | low) + (later if number in content else 0)
            body = (body[:4] + struct.pack(order + "IIII", time_of_call >> 32, time_of_call & 0xffffffff, len(content),
                                           len(content)) + content + bytes(-len(content) % 4))
        output += pcapng.block(order, kind, body)
    return output


def swapped(data):
    """The same file as a host of the other byte order writes it."""
    output = b""
    for order, kind, body in pcapng.blocks(data):
        other = pcapng.BIG if order == pcapng.LITTLE else pcapng.LITTLE

        def numbers(form, position, order=order, other=other, body=body):
            return struct.pack(other + form, *struct.unpack_from(order + form, body, position))

        if kind == pcapng.SECTION:
            body = numbers("IHHq", 0) + swapped_options(order, other, body[16:])
        elif kind == pcapng.INTERFACE:
            body = numbers("HHI", 0) + swapped_options(order, other, body[8:])
        elif kind == pcapng.PACKET:
            size = struct.unpack_from(order + "I", body, 12)[0]
            body = numbers("IIIII", 0) + body[20:20 + size + -size % 4]
        output += pcapng.block(other, kind, body)
    return output


def swapped_options(order, other, data):
    return b"".join(pcapng.option(other, code, value) for code, value in pcapng.options(order, data).items())


if __name__ == "__main__":
    unittest.main()
