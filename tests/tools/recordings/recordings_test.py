"""The files that qzagent watch --output writes, also when it is killed, its disk is full or its file is moved away."""

import collections
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import struct
import subprocess
import tempfile
import time
import unittest

import libpcap
import pcapng
from programs import QZAGENT, QZSIM

FIRST, SECOND = "20:00:00:00:c9:00:00:00", "10:00:00:00:c9:00:00:01"
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8"}
IS_COUNTED = any(pathlib.Path(QZAGENT).parents[1].rglob("*.gcno"))


def scenario(*sources):
    """A scenario with one board. A source is category, size, rate and count."""
    text = f'[diagnostics]\n[[diagnostics.board]]\nfirst_wwn = "{FIRST}"\nsecond_wwn = "{SECOND}"\n'
    for category, size, rate, count in sources:
        text += (f"[[diagnostics.event]]\nboard = 0\ncategory = {category}\nsubcategory = 7\nsize = {size}\n"
                 f"rate = {rate}\ncount = {count}\n")
    return text


ONE_SOURCE = scenario((3, 8, 100000, 1000))
ENDLESS = scenario((3, 8, 1000, 1000000))
# The queue has room for 64 of these events.
LARGE = (3, 1 << 20, 100000, 70)


def record(number, category=3):
    """The encoded event of this number, with a payload of 8 bytes."""
    name = b"\x5a\0\0\0\x08"
    counting = bytes((number + i) & 0xFF for i in range(4, 8))
    return (bytes([category, 7, 0xF5]) + name + bytes.fromhex(FIRST.replace(":", "")) + name +
            bytes.fromhex(SECOND.replace(":", "")) + b"\x01" + name + struct.pack(">I", number) + counting)


class Recordings(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.path = self.folder / "events.pcapng"

    def command(self, scenario_text, *arguments, output=None):
        file = self.folder / "scenario.toml"
        file.write_text(scenario_text, encoding="ascii")
        return [QZSIM, "--scenario", file, "--", QZAGENT, "watch", "--output", output or self.path, *arguments]

    def watch(self, scenario_text, *arguments, **keywords):
        return subprocess.run(self.command(scenario_text, *arguments, **keywords), capture_output=True, text=True,
                              check=False, timeout=60, env=ENVIRONMENT)

    def start(self, scenario_text, *arguments, stderr=subprocess.PIPE, **keywords):
        """Starts a recording that the test ends, and waits until it has begun."""
        agent = subprocess.Popen(self.command(scenario_text, *arguments, **keywords), stdout=subprocess.PIPE,
                                 stderr=stderr, text=True, env=ENVIRONMENT)
        self.addCleanup(self.end, agent)
        self.await_condition(lambda: any(path.stat().st_size for path in self.folder.glob("*.pcapng")))
        return agent

    @staticmethod
    def end(agent):
        if agent.poll() is None:
            agent.send_signal(signal.SIGTERM)
        output, errors = agent.communicate(timeout=60) if not agent.stdout.closed else ("", "")
        return agent.returncode, output, errors

    def await_condition(self, condition):
        end = time.monotonic() + 20
        while not condition():
            self.assertLess(time.monotonic(), end, "nothing happened in 20 seconds")
            time.sleep(0.01)

    def sections(self, path=None):
        return pcapng.sections((path or self.path).read_bytes())

    def files(self):
        return sorted(path.name for path in self.folder.glob("*.pcapng*"))


class File(Recordings):
    def test_each_event_is_a_packet_with_its_record_unchanged(self):
        result = self.watch(ONE_SOURCE, "--count", "1000")
        self.assertEqual(result.returncode, 0, result.stderr)
        section, = self.sections()
        self.assertEqual([packet.data for packet in section.packets], [record(number) for number in range(1000)])
        self.assertEqual([packet.id for packet in section.packets], list(range(1, 1001)))
        self.assertEqual({packet.drops for packet in section.packets}, {0})

    def test_the_section_names_host_system_tool_and_versions(self):
        self.watch(ONE_SOURCE, "--count", "1")
        section, = self.sections()
        self.assertEqual(section.hardware, os.uname().nodename)
        self.assertEqual(section.system, "{0.sysname} {0.release} {0.version} {0.machine}".format(os.uname()))
        version = subprocess.run([QZAGENT, "--version"], capture_output=True, text=True, check=True).stdout
        self.assertEqual(section.application + "\n", version)
        boot = pathlib.Path("/proc/sys/kernel/random/boot_id").read_text("ascii").strip()
        self.assertRegex(section.comment, "^uuid=[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12} boot_id=" + boot +
                         " diagnostic_library=1.0.0 driver=1.0.0$")

    def test_each_board_is_an_interface(self):
        self.watch(scenario((3, 8, 1000, 5)).replace("[[diagnostics.event]]", '[[diagnostics.board]]\nfirst_wwn = '
                   '"20:00:00:00:c9:00:00:10"\nsecond_wwn = "10:00:00:00:c9:00:00:11"\n[[diagnostics.event]]', 1) +
                   "[[fault]]\ncall = \"VQM_GetLinkInfo\"\nboard = 1\nnth = 1\nresult = 5\n", "--count", "5")
        section, = self.sections()
        self.assertEqual([(each.name, each.description, each.link_type, each.resolution, len(each.packets))
                          for each in section.interfaces],
                         [("board 0", f"{FIRST} {SECOND}", 147, 9, 5), ("board 1", "", 147, 9, 0)])

    def test_times_are_those_of_reception_and_never_go_back(self):
        before = time.time_ns()
        self.watch(ONE_SOURCE, "--count", "1000")
        section, = self.sections()
        times = [packet.time for packet in section.packets] + [section.interfaces[0].statistics[-1].time]
        self.assertEqual(times, sorted(times))
        self.assertGreaterEqual(times[0], before)
        self.assertLessEqual(times[-1], time.time_ns())

    def test_statistics_at_the_end_and_every_ten_seconds_have_the_counts(self):
        self.watch(ENDLESS, "--seconds", "11")
        section, = self.sections()
        first, last = section.interfaces[0].statistics
        self.assertEqual((last.received, last.dropped), (len(section.packets), 0))
        self.assertAlmostEqual(first.received, 10000, delta=2000)

    def test_only_the_owner_can_read_it(self):
        self.watch(ONE_SOURCE, "--count", "1")
        self.assertEqual(self.path.stat().st_mode & 0o777, 0o600)

    def test_an_event_reaches_the_file_at_once(self):
        agent = self.start(scenario((3, 8, 1, 1000)))
        self.await_condition(lambda: len(self.sections()[0].packets) > 1)
        age = time.time_ns() - self.sections()[0].packets[-1].time
        self.assertLess(age, 0.5e9, "the event was received long before it was written")
        self.end(agent)

    @unittest.skipUnless(shutil.which("tshark") and shutil.which("capinfos"), "tshark is not installed")
    def test_other_programs_read_it(self):
        self.watch(ONE_SOURCE, "--count", "1000")
        self.watch(ONE_SOURCE, "--count", "10")
        fields = subprocess.run(["tshark", "-r", self.path, "-T", "fields", "-e", "frame.interface_name", "-e",
                                 "frame.len"], capture_output=True, text=True, check=False)
        self.assertEqual(fields.returncode, 0, fields.stderr)
        self.assertEqual(collections.Counter(fields.stdout.splitlines()), {"board 0\t43": 1010})
        infos = subprocess.run(["capinfos", self.path], capture_output=True, text=True, check=False)
        self.assertEqual(infos.returncode, 0, infos.stderr)
        self.assertIn("Number of packets:   1010\n", infos.stdout)
        self.assertIn("Strict time order:   True\n", infos.stdout)
        self.assertRegex(infos.stdout, "Capture hardware: +" + os.uname().nodename)
        self.assertRegex(infos.stdout, f"Description = {FIRST} {SECOND}")

    @unittest.skipUnless(libpcap.IS_AVAILABLE, "libpcap is not installed")
    def test_libpcap_reads_both_byte_orders(self):
        self.watch(ONE_SOURCE, "--count", "100")
        self.watch(ONE_SOURCE, "--count", "10")
        sections = self.sections()
        expected = [(packet.time, packet.data) for section in sections for packet in section.packets]
        for order in None, pcapng.LITTLE, pcapng.BIG:
            with self.subTest(order):
                if order:
                    self.path.write_bytes(b"".join(pcapng.rewritten(section, order) for section in sections))
                self.assertEqual(libpcap.packets(self.path), (pcapng.SCOPE_DATA, expected))

    @unittest.skipUnless(shutil.which("mergecap"), "mergecap is not installed")
    def test_mergecap_merges_both_byte_orders(self):
        self.watch(ONE_SOURCE, "--count", "100")
        section, = self.sections()
        copies = [self.folder / "little", self.folder / "big"]
        for path, order in zip(copies, (pcapng.LITTLE, pcapng.BIG)):
            path.write_bytes(pcapng.rewritten(section, order))
        merged = self.folder / "merged"
        subprocess.run(["mergecap", "-w", merged, self.path, *copies], check=True, timeout=60)
        # The lines have no host, which mergecap does not keep.
        shown = [subprocess.run([QZAGENT, "show", path], check=True, capture_output=True, timeout=60).stdout.splitlines()
                 for path in (self.path, merged)]
        self.assertTrue(sorted(shown[1]) == sorted(shown[0] * 3), shown[1][0])

    @unittest.skipUnless(shutil.which("tshark") and shutil.which("capinfos"), "tshark is not installed")
    def test_wireshark_stops_at_a_record_over_256_kib_and_the_agent_does_not(self):
        limit = 262144
        self.watch(scenario((3, limit - 35, 1000, 1)), "--count", "1")
        self.watch(scenario((3, limit - 34, 1000, 2)), "--count", "2")
        fields = subprocess.run(["tshark", "-r", self.path, "-T", "fields", "-e", "frame.len"], capture_output=True,
                                text=True, check=False)
        self.assertEqual(fields.stdout, f"{limit}\n")
        infos = subprocess.run(["capinfos", "-c", self.path], capture_output=True, text=True, check=False)
        for result in fields, infos:
            self.assertIn(f"cap_len {limit + 1} is larger than {limit}", result.stderr)
            self.assertNotEqual(result.returncode, 0)
        shown = subprocess.run([QZAGENT, "show", "--summary", self.path], capture_output=True, text=True, check=False)
        self.assertRegex(shown.stdout, "(?m)^events +3$")
        self.assertEqual((shown.stderr, shown.returncode), ("", 0))


class Appending(Recordings):
    def test_a_new_section_follows_the_previous_ones(self):
        self.watch(ONE_SOURCE, "--count", "2")
        before = self.path.read_bytes()
        self.watch(ONE_SOURCE, "--count", "3")
        self.assertTrue(self.path.read_bytes().startswith(before))
        self.assertEqual([[packet.id for packet in section.packets] for section in self.sections()],
                         [[1, 2], [1, 2, 3]])
        self.assertEqual(len({section.comment.split()[0] for section in self.sections()}), 2, "each has its UUID")

    def test_a_cut_block_is_removed_with_a_note(self):
        self.watch(ONE_SOURCE, "--count", "5")
        whole = self.path.read_bytes()
        end = len(whole) - 76  # the statistics
        self.path.write_bytes(whole[:end + 40])
        result = self.watch(ONE_SOURCE, "--count", "1")
        self.assertIn(f"qzagent: note: {self.path}: removed its last 40 bytes, a block that was cut\n", result.stderr)
        self.assertTrue(self.path.read_bytes().startswith(whole[:end] + b"\n\r\r\n"))
        self.assertEqual([len(section.packets) for section in self.sections()], [5, 1])

    def test_whole_blocks_behind_damage_are_kept_with_a_note(self):
        self.watch(ONE_SOURCE, "--count", "5")
        whole = bytearray(self.path.read_bytes())
        packet = whole.index(record(0)) - 28
        whole[packet + 6] ^= 1  # a byte of its length
        self.path.write_bytes(whole)
        result = self.watch(ONE_SOURCE, "--count", "1")
        self.assertIn(f"qzagent: note: {self.path}: damaged before its last blocks; qzagent repair copies what is whole\n",
                      result.stderr)
        self.assertTrue(self.path.read_bytes().startswith(whole + b"\n\r\r\n"))
        shown = subprocess.run([QZAGENT, "show", self.path], capture_output=True, text=True, check=False)
        self.assertEqual(shown.stdout.count("\n"), 4 + 1)

    def test_a_file_of_the_other_byte_order_is_continued(self):
        other = ">" if struct.pack("=I", 1) == struct.pack("<I", 1) else "<"
        header = struct.pack(other + "IIIHHqI", pcapng.SECTION, 28, pcapng.MAGIC, 1, 0, -1, 28)
        self.path.write_bytes(header)
        self.watch(ONE_SOURCE, "--count", "4")
        data = self.path.read_bytes()
        self.assertTrue(data.startswith(header))
        self.assertEqual(sum(kind == pcapng.PACKET for _, kind, _ in pcapng.blocks(data)), 4)

    def test_a_first_block_that_was_cut_is_removed(self):
        for size in (1, 3, 4, 20):
            self.path.write_bytes(b"\n\r\r\n\x1c\0\0\0M<+\x1a\1\0\0\0\xff\xff\xff\xff"[:size])
            self.watch(ONE_SOURCE, "--count", "1")
            self.assertEqual(len(self.sections()[0].packets), 1)

    def test_a_damaged_file_is_refused_and_left_unchanged(self):
        damaged = b"\n\r\r\n" + bytes(10000)
        self.path.write_bytes(damaged)
        result = self.watch(ONE_SOURCE, "--count", "1")
        self.assertEqual(result.stderr, f"qzagent: cannot write {self.path}: it does not end with pcapng blocks\n")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(self.path.read_bytes(), damaged)

    def test_an_empty_file_takes_either_form(self):
        self.path.touch()
        self.watch(ONE_SOURCE, "--count", "1")
        self.assertEqual(len(self.sections()), 1)
        self.path.write_bytes(b"")
        self.watch(ONE_SOURCE, "--count", "1", "--format", "records")
        self.assertEqual(self.path.read_bytes(), record(0))

    def test_another_form_than_that_of_the_file_is_refused(self):
        self.watch(ONE_SOURCE, "--count", "1")
        before = self.path.read_bytes()
        result = self.watch(ONE_SOURCE, "--count", "1", "--format", "records")
        self.assertEqual(result.stderr,
                         f"qzagent: cannot write {self.path}: it is a pcapng file, which --format excludes\n")
        self.assertEqual(self.path.read_bytes(), before)

    def test_a_second_recorder_is_refused(self):
        agent = self.start(ENDLESS)
        result = self.watch(ONE_SOURCE, "--count", "1")
        self.assertEqual(result.stderr, f"qzagent: cannot write {self.path}: another process is writing to it\n")
        self.end(agent)


class Interruption(Recordings):
    def test_a_kill_leaves_whole_blocks_and_every_packet_before_them(self):
        for delay in range(10):
            agent = self.start(scenario((3, 64, 50000, 1000000), (4, 20000, 5000, 1000000)))
            time.sleep(delay / 100)
            agent.kill()
            agent.communicate()
            whole = pcapng.whole_part(self.path.read_bytes())
            section, = pcapng.sections(whole)
            self.assertEqual([packet.id for packet in section.packets], list(range(1, len(section.packets) + 1)))
            self.path.unlink()

    def test_a_full_disk_leaves_whole_blocks(self):
        if IS_COUNTED:
            self.skipTest("the limit also applies to the coverage data that the agent writes")
        command = self.command(ONE_SOURCE, "--count", "1000")
        result = subprocess.run(["sh", "-c", 'ulimit -f 40; exec "$@"', "sh", *command], capture_output=True, text=True,
                                check=False, timeout=60, env=ENVIRONMENT)
        data = self.path.read_bytes()
        self.assertLessEqual(len(data), 20480)
        self.assertGreater(len(data), 20480 - 200)
        packets = len(pcapng.sections(data)[0].packets)
        self.assertIn(f"qzagent: cannot write {self.path}: File too large; its first {len(data)} bytes are whole "
                      "blocks\n", result.stderr)
        self.assertRegex(result.stderr, f"received [0-9]+ events, wrote {packets}, dropped")
        self.assertEqual(result.returncode, 1)

    def test_a_full_device_is_reported(self):
        result = self.watch(ONE_SOURCE, "--count", "1", output="/dev/full")
        self.assertIn("qzagent: cannot write /dev/full: No space left on device; its first 0 bytes are whole blocks\n",
                      result.stderr)
        self.assertEqual(result.returncode, 1)

    def test_each_write_can_be_synchronised(self):
        self.assertEqual(self.watch(ONE_SOURCE, "--count", "10", "--sync", "0").returncode, 0)
        self.assertEqual(len(self.sections()[0].packets), 10)
        self.assertEqual(self.watch(ENDLESS, "--seconds", "2", "--sync", "1").returncode, 0)

    def test_a_device_takes_the_capture(self):
        self.assertEqual(self.watch(ENDLESS, "--seconds", "2", "--sync", "1", output="/dev/null").returncode, 0)


class Files(Recordings):
    def test_the_next_file_begins_after_a_size_and_the_oldest_are_removed(self):
        result = self.watch(ENDLESS, "--rotate", "20K", "--keep", "3", "--count", "1500")
        self.assertEqual(result.returncode, 0, result.stderr)
        names = self.files()
        self.assertEqual(len(names), 3)
        last = int(names[-1][7:12])
        self.assertEqual(names, [f"events-{number:05}.pcapng" for number in range(last - 2, last + 1)])
        self.assertGreater(last, 5)
        packets = []
        for name in names:
            section, = self.sections(self.folder / name)
            self.assertEqual([packet.id for packet in section.packets], list(range(1, len(section.packets) + 1)))
            self.assertEqual(section.interfaces[0].statistics[-1].received, len(section.packets))
            packets += [packet.data for packet in section.packets]
        self.assertEqual(packets, [record(number) for number in range(1500 - len(packets), 1500)])

    def test_all_files_can_be_followed_from_the_first_one(self):
        agent = self.start(ENDLESS, "--rotate", "20K", "--count", "3000")
        follower = subprocess.Popen([QZAGENT, "show", "--follow", "--json", self.folder / "events-00001.pcapng"],
                                    stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=ENVIRONMENT)
        self.addCleanup(self.end, follower)
        lines = [follower.stdout.readline() for _ in range(3000)]
        self.assertEqual(agent.wait(timeout=60), 0)
        follower.send_signal(signal.SIGINT)
        self.assertEqual(follower.communicate(timeout=60), ("", ""))
        self.assertEqual(follower.returncode, 0)
        self.assertGreater(len(self.files()), 5)
        self.assertEqual([json.loads(line)["payload"] for line in lines],
                         [record(number)[-8:].hex() for number in range(3000)])

    def test_numbers_continue_after_the_existing_files(self):
        for name in ("events-00041.pcapng", "events-123456.pcapng", "events-7.pcapng", "events-99999999.log",
                     "other-00050.pcapng"):
            (self.folder / name).touch()
        self.watch(ONE_SOURCE, "--rotate", "1G", "--keep", "1", "--count", "5")
        self.assertEqual(self.files(), ["events-123457.pcapng", "events-7.pcapng", "other-00050.pcapng"])

    def test_the_files_are_kept_up_to_a_size(self):
        self.watch(ENDLESS, "--rotate", "20K", "--keep", "100K", "--count", "1500", output=self.folder / "events")
        sizes = [(self.folder / name).stat().st_size for name in self.files()]
        self.assertLessEqual(sum(sizes), 102400 + 20480)
        self.assertGreater(len(sizes), 3)

    def test_the_next_file_begins_after_a_time(self):
        self.watch(ENDLESS, "--rotate", "1s", "--seconds", "3")
        self.assertIn(len(self.files()), (3, 4))

    def test_a_hangup_begins_the_next_file(self):
        agent = self.start(ENDLESS, "--rotate", "1h")
        agent.send_signal(signal.SIGHUP)
        self.await_condition(lambda: len(self.files()) == 2)
        status, _, errors = self.end(agent)
        self.assertEqual(status, 0, errors)
        packets = [packet.data for name in self.files() for packet in self.sections(self.folder / name)[0].packets]
        self.assertEqual(packets, [record(number) for number in range(len(packets))])

    def test_a_hangup_opens_the_file_again(self):
        agent = self.start(ENDLESS)
        former = self.folder / "events.pcapng.1"
        self.path.rename(former)
        agent.send_signal(signal.SIGHUP)
        self.await_condition(self.path.exists)
        agent.send_signal(signal.SIGHUP)
        self.await_condition(lambda: len(self.sections()) == 2)
        status, _, errors = self.end(agent)
        self.assertEqual(status, 0, errors)
        packets = [packet.data for section in self.sections(former) + self.sections() for packet in section.packets]
        self.assertEqual(packets, [record(number) for number in range(len(packets))])

    def test_a_deleted_or_replaced_file_is_noticed_within_a_second(self):
        agent = self.start(ENDLESS)
        self.path.unlink()
        start = time.monotonic()
        self.await_condition(lambda: self.path.exists() and self.path.stat().st_size > 0)
        self.assertLess(time.monotonic() - start, 2)
        (self.folder / "other").touch()
        (self.folder / "other").rename(self.path)
        self.await_condition(lambda: self.path.stat().st_size > 0)
        status, _, errors = self.end(agent)
        self.assertEqual(status, 0, errors)
        self.assertEqual(errors.count(f"qzagent: note: {self.path} was deleted or replaced; the recording continues in "
                                      "a new file\n"), 2)

    def test_a_file_that_cannot_be_continued_ends_the_recording(self):
        folder = self.folder / "gone.pcapng"
        folder.mkdir()
        path = folder / "events"
        agent = self.start(ENDLESS, output=path)
        self.await_condition(lambda: path.exists() and path.stat().st_size > 0)
        shutil.rmtree(folder)
        agent.wait(timeout=20)
        _, errors = agent.communicate()
        self.assertIn(f"qzagent: cannot write {path}: No such file or directory\n", errors)
        self.assertEqual(agent.returncode, 1)

    def test_a_file_of_somebody_else_is_never_changed(self):
        whole = self.folder / "whole"
        self.watch(ONE_SOURCE, "--count", "1", output=whole)
        contents = (b"a short text\n", b"a long text\n" * 1000, record(0) + record(1), whole.read_bytes(),
                    whole.read_bytes()[:20])
        agent = self.start(ENDLESS)
        for number, content in enumerate(contents, 1):
            current = self.path if number == 1 else self.folder / f"events-{number}.pcapng"
            self.await_condition(lambda file=current: file.exists() and file.stat().st_size > 0)
            foreign = self.folder / "foreign"
            foreign.write_bytes(content)
            foreign.rename(current)
        last = self.folder / f"events-{len(contents) + 1}.pcapng"
        self.await_condition(lambda: last.exists() and last.stat().st_size > 0)
        status, _, errors = self.end(agent)
        self.assertEqual(status, 0, errors)
        for number, content in enumerate(contents, 1):
            current = self.path if number == 1 else self.folder / f"events-{number}.pcapng"
            self.assertEqual(current.read_bytes(), content)
            self.assertIn(f"{current} was deleted or replaced; the recording continues in "
                          f"{self.folder}/events-{number + 1}.pcapng\n", errors)
        self.assertTrue(self.sections(last)[0].packets)
        self.assertEqual(last.stat().st_mode & 0o777, 0o600)

    def test_a_file_that_is_emptied_while_recording_begins_with_a_section(self):
        agent = self.start(ENDLESS)
        self.await_condition(lambda: self.path.stat().st_size > 1000)
        os.truncate(self.path, 0)
        self.await_condition(lambda: self.path.stat().st_size > 1000)
        status, _, errors = self.end(agent)
        self.assertEqual(status, 0, errors)
        self.assertIn(f"qzagent: note: {self.path} was truncated; a new section begins\n", errors)
        section, = self.sections()
        self.assertTrue(section.packets)

    def test_a_file_that_only_begins_like_a_capture_is_refused(self):
        for content in (b"\n\r\r\n" + b"text" * 75, b"\n\r\r\n\0\0\1\0text", b"text"):
            self.path.write_bytes(content)
            result = self.watch(ONE_SOURCE, "--count", "1")
            self.assertEqual(result.returncode, 1, content)
            self.assertEqual(self.path.read_bytes(), content)


class Drops(Recordings):
    def start_stuck(self, sources, *arguments):
        """Starts a recording and keeps it from taking events: standard error, where it reports its beginning, is full.
        Returns after the last event of the first source, the only one that ends."""
        self.errors, full = os.pipe()
        self.addCleanup(os.close, self.errors)
        os.set_blocking(full, False)
        filling = 0
        for piece in bytes(4096), bytes(1):
            with contextlib.suppress(BlockingIOError):
                while True:
                    filling += os.write(full, piece)
        os.set_blocking(full, True)
        agent = self.start(scenario(*sources), *arguments, "--sync", "0", stderr=full)
        os.close(full)
        process = pathlib.Path(f"/proc/{agent.pid}")

        def has_full_queue():
            maps = (process / "smaps").read_text(encoding="utf-8")
            return any(int(size) >= 64 << 10 for size in re.findall("(?m)^Rss: +([0-9]+) kB$", maps))

        # Each source has a thread, which ends after the last event.
        self.await_condition(lambda: has_full_queue() and len(list((process / "task").iterdir())) == len(sources))
        while filling:
            filling -= len(os.read(self.errors, filling))
        return agent

    def test_dropped_events_are_counted_in_packets_and_statistics_and_reported(self):
        agent = self.start_stuck([LARGE, (4, 0, 100, 1000000)], "--print", "--json")
        with open(self.errors, encoding="ascii", closefd=False) as lines:
            errors = lines.readline() + lines.readline()
            self.assertTrue(errors.endswith("\nqzagent: note: dropped events: 6 of board 0\n"), errors)
            size = self.path.stat().st_size
            self.await_condition(lambda: self.path.stat().st_size > size)
            agent.send_signal(signal.SIGTERM)
            output, _ = agent.communicate(timeout=60)
            errors = lines.read()
        self.assertEqual(agent.returncode, 1, errors)
        self.assertRegex(errors, "qzagent: note: received [0-9]+ events, wrote [0-9]+, dropped 6\n"
                                 "(?s:.*)qzagent: 6 of [0-9]+ events were dropped: 6 of board 0\n$")
        section, = self.sections()
        self.assertEqual(sum(packet.drops for packet in section.packets), 6)
        last = section.interfaces[0].statistics[-1]
        self.assertEqual((last.received, last.dropped), (len(section.packets) + 6, 6))
        self.assertEqual([packet.id for packet in section.packets], list(range(1, len(section.packets) + 1)))
        drops = [each for each in map(json.loads, output.splitlines()) if "dropped" in each]
        self.assertEqual([(*each, each["board"], each["dropped"]) for each in drops],
                         [("time", "host", "board", "dropped", 0, 6)])

    def test_a_watch_for_a_count_ends_although_events_are_dropped(self):
        agent = self.start_stuck([LARGE], "--count", "70")
        with open(self.errors, encoding="ascii", closefd=False) as lines:
            self.assertIn("note: received 70 events, wrote 64, dropped 6\n", lines.read())
        self.assertEqual(agent.wait(timeout=60), 1)


class StuckReader(Recordings):
    """Nobody reads what the agent prints."""

    def end_of(self, *arguments, signals=0):
        agent = self.start(scenario((3, 8, 10000, 1000000)), "--print", *arguments)
        if signals:
            self.await_condition(lambda: self.path.stat().st_size > 1000000)
            agent.send_signal(signal.SIGINT)
        agent.wait(timeout=40)
        errors = agent.stderr.read()
        received, wrote, dropped = map(int, re.search("received ([0-9]+) events, wrote ([0-9]+), dropped ([0-9]+)\n",
                                                      errors).groups())
        self.assertEqual(received, wrote + dropped)
        section, = self.sections()
        self.assertEqual(len(section.packets), wrote)
        self.assertRegex(errors, "[0-9]+ events were not printed because the reader of standard output did not read")
        return received

    def test_a_count_is_recorded_and_ends(self):
        self.assertEqual(self.end_of("--count", "20000"), 20000)

    def test_a_time_is_recorded_and_ends(self):
        self.assertGreater(self.end_of("--seconds", "3"), 0)

    def test_one_signal_ends_the_recording(self):
        self.assertGreater(self.end_of(signals=1), 0)


class Printing(Recordings):
    def test_events_are_printed_and_recorded_at_once(self):
        result = self.watch(ONE_SOURCE, "--print", "--count", "200")
        lines = result.stdout.splitlines()
        self.assertEqual(len(lines), 200)
        packets = self.sections()[0].packets
        self.assertEqual([line.split()[-1] for line in lines], [packet.data[-8:].hex() for packet in packets])
        self.assertEqual(result.stderr,
                         "qzagent: note: watching 1 board, all categories, all subcategories; recording in "
                         f"{self.path}\nqzagent: note: received 200 events, wrote 200, dropped 0\n")

    def test_quiet_shows_no_notes(self):
        result = self.watch(ONE_SOURCE, "--quiet", "--count", "10")
        self.assertEqual(result.stderr, "")
        self.assertEqual(result.returncode, 0)

    def test_a_terminal_shows_a_status_line_which_is_erased_at_the_end(self):
        command = self.command(ENDLESS, "--seconds", "3")
        result = subprocess.run(["script", "--quiet", "--return", "--command",
                                 " ".join(f"'{word}'" for word in command), "/dev/null"], capture_output=True, text=True,
                                check=False, timeout=60, env={**ENVIRONMENT, "TERM": "xterm"})
        self.assertRegex(result.stdout, r"\n\x1b\[K\x1b\[\?7l[0-9]+ events, [0-9]+/s, 0 dropped, 0\.[0-9] MiB"
                                        r"\x1b\[\?7h")
        self.assertRegex(result.stdout, r"\n\x1b\[Kqzagent: note: received [0-9]+ events")

    def test_options_without_their_condition_are_refused(self):
        for arguments, complaint in (
                (["--print"], "--format, --rotate, --sync and --print require --output; see qzagent watch --help"),
                (["--output", "x", "--keep", "3"], "--keep requires --rotate; see qzagent watch --help"),
                (["--output", "x", "--format", "records", "--sync", "1"],
                 "--rotate and --sync require the form pcapng; see qzagent watch --help"),
                (["--output", "x", "--format", "pcap"],
                 "--format: 'pcap' is not pcapng or records; see qzagent watch --help"),
                (["--output", "x", "--rotate", "10"],
                 "--rotate: '10' is not a size such as 100M or a time such as 1h; see qzagent watch --help")):
            result = subprocess.run([QZAGENT, "watch", *arguments], capture_output=True, text=True, check=False)
            self.assertEqual((result.returncode, result.stderr), (2, f"qzagent: {complaint}\n"))


if __name__ == "__main__":
    unittest.main()
