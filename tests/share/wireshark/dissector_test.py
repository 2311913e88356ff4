"""tshark shows scope data by the dissector, and accepts exactly the records that the agent accepts."""

import datetime
import itertools
import json
import pathlib
import subprocess
import tempfile
import unittest

import pcapng
from programs import QZAGENT

ROOT = pathlib.Path(__file__).resolve().parents[3]
DISSECTOR = ROOT / "share" / "wireshark" / "qz_scope_data.lua"

CALLS = 148  # link type USER1

FIRST = bytes.fromhex("10000000c9000001")
SECOND = bytes.fromhex("20000000c9000002")
NAME_HEAD = bytes.fromhex("5a00000008")

PLAIN = bytes.fromhex("0307f400")
WITH_PAYLOAD = bytes.fromhex("0307f4015a00000003aabbcc")
WITH_NAMES = b"\x03\x18\xc8\xf5" + NAME_HEAD + FIRST + NAME_HEAD + SECOND + b"\x00"
COMPLETE = WITH_NAMES[:-1] + bytes.fromhex("015a000000030102ff")

# Every head that holds the value of a number or of a length.
LONG_HEADS = bytes.fromhex("1a00000003" "1900c8" "f4" "1b0000000000000001" "43" "010203")
REFUSED = [
    bytes.fromhex(text)
    for text in (
        "190100" "07f400",  # category 256
        "03190100" "f400",  # subcategory 256
        "0307f600",  # neither true nor false
        "030705",  # a number where a boolean belongs
        "2307f400",  # a negative number
        "1c07f400",  # a reserved head
        "1f07f400",  # indefinite
        "0307f41b0000000100000000",  # a number above 32 bits
        "0307f40163616263",  # a text where bytes belong
        "0307f4015f",  # bytes of indefinite length
        "0307f4015bffffffffffffffff",  # a length above 32 bits
        "0307f5" "47" "10000000c90000",  # a name of 7 bytes
        "0307f5" "49" "10000000c900000102",  # a name of 9 bytes
    )
]


def tshark(path, *arguments):
    result = subprocess.run(["tshark", "-n", "-X", f"lua_script:{DISSECTOR}", "-r", path, *arguments],
                            capture_output=True, text=True, check=False, timeout=60)
    messages = [line for line in result.stderr.splitlines() if not line.startswith("Running as user")]
    if result.returncode != 0 or messages:
        raise AssertionError(f"tshark ended with {result.returncode}: {messages}")
    return result.stdout.splitlines()


def fields(path, names, *arguments):
    """The fields of each packet, as a list of lists of texts."""
    options = [option for name in names for option in ("-e", name)]
    return [line.split("\t") for line in tshark(path, "-T", "fields", *options, *arguments)]


def epoch(time):
    """The seconds since 1970 of a time in UTC with nanoseconds, with nine digits behind the point."""
    date, nanoseconds = time.removesuffix("Z").split(".")
    second = datetime.datetime.fromisoformat(date).replace(tzinfo=datetime.timezone.utc)
    return f"{int(second.timestamp())}.{nanoseconds}"


def accepts(record):
    """Whether the agent takes the bytes for one complete record."""
    result = subprocess.run([QZAGENT, "show", "--json", "-"], input=record, capture_output=True, check=False, timeout=60)
    return result.returncode == 0 and len(result.stdout.splitlines()) == 1


class DissectorTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name) / "events.pcapng"

    def write(self, records, order=pcapng.LITTLE, times=None):
        content = pcapng.section(order) + pcapng.interface(order, b"board 0") + pcapng.interface(order, b"board 1")
        for index, (record, time) in enumerate(zip(records, times or itertools.count(0, 10**9))):
            content += pcapng.packet(order, record, time=time, number=index % 2)
        self.path.write_bytes(content)
        return self.path

    def test_shows_every_form_in_both_byte_orders(self):
        names = ["qz_scope.category", "qz_scope.subcategory", "qz_scope.has_names", "qz_scope.first_wwn",
                 "qz_scope.second_wwn", "qz_scope.has_payload", "qz_scope.length", "qz_scope.payload"]
        first, second = "10:00:00:00:c9:00:00:01", "20:00:00:00:c9:00:00:02"
        expected = [
            ["3", "7", "0", "", "", "0", "", ""],
            ["3", "7", "0", "", "", "1", "3", "aabbcc"],
            ["3", "200", "1", first, second, "0", "", ""],
            ["3", "200", "1", first, second, "1", "3", "0102ff"],
            ["3", "200", "0", "", "", "1", "3", "010203"],
        ]
        for order in (pcapng.LITTLE, pcapng.BIG):
            with self.subTest(order=order):
                path = self.write([PLAIN, WITH_PAYLOAD, WITH_NAMES, COMPLETE, LONG_HEADS], order)
                self.assertEqual(expected, fields(path, names))

    def test_shows_a_record_as_one_line(self):
        self.write([COMPLETE])
        self.assertEqual(
            [["QZ-SCOPE", "Category 3, subcategory 200, "
              "names 10:00:00:00:c9:00:00:01 and 20:00:00:00:c9:00:00:02, 3 bytes"]],
            fields(self.path, ["_ws.col.Protocol", "_ws.col.Info"]))

    def test_filters_by_category_name_and_board(self):
        self.write([PLAIN, COMPLETE, b"\x09" + PLAIN[1:]])
        for text, expected in (("qz_scope.category == 9", ["3"]),
                               ("qz_scope.second_wwn == 20:00:00:00:c9:00:00:02", ["2"]),
                               ('frame.interface_name == "board 0"', ["1", "3"]),
                               ("qz_scope.payload contains 02:ff", ["2"])):
            with self.subTest(filter=text):
                self.assertEqual([[number] for number in expected], fields(self.path, ["frame.number"], "-Y", text))

    def test_gives_expert_information_for_what_the_agent_refuses_and_for_nothing_else(self):
        whole = [PLAIN, WITH_PAYLOAD, WITH_NAMES, COMPLETE, LONG_HEADS]
        records = [record[:size] for record in whole for size in range(1, len(record))] + REFUSED + whole
        self.write(records)
        shown = fields(self.path, ["qz_scope.malformed"])
        self.assertEqual(len(records), len(shown))
        for record, [malformed] in zip(records, shown):
            with self.subTest(record=record.hex()):
                self.assertEqual(accepts(record), malformed == "")

    def test_agrees_with_the_agent_on_the_time_the_board_and_the_record_of_each_event(self):
        names = ["frame.time_epoch", "frame.interface_name", "qz_scope.category", "qz_scope.subcategory",
                 "qz_scope.payload"]
        times = [1795337632000000001, 1795337632999999999, 4102444800123456789]  # the last one is in 2100
        for order in (pcapng.LITTLE, pcapng.BIG):
            with self.subTest(order=order):
                self.write([PLAIN, WITH_PAYLOAD, COMPLETE], order, times)
                shown = subprocess.run([QZAGENT, "show", "--json", self.path], capture_output=True, check=True, timeout=60)
                events = map(json.loads, shown.stdout.splitlines())
                self.assertEqual([[epoch(event["time"]), f"board {event['board']}", str(event["category"]),
                                   str(event["subcategory"]), event["payload"]] for event in events],
                                 fields(self.path, names))

    def test_says_what_it_expected_and_where(self):
        self.write([bytes.fromhex("0307f600")])
        self.assertEqual([["At byte 2: expected whether names follow, found 0xf6"]],
                         fields(self.path, ["_ws.expert.message"]))

    def test_warns_about_bytes_after_a_record(self):
        self.write([PLAIN + b"\x00\x01"])
        self.assertEqual([["2 bytes after the record"]], fields(self.path, ["_ws.expert.message"]))

    def test_shows_documents_as_json(self):
        for order in (pcapng.LITTLE, pcapng.BIG):
            with self.subTest(order=order):
                self.path.write_bytes(pcapng.section(order) + pcapng.interface(order, b"ports", link_type=149) +
                                      pcapng.packet(order, b'{"command": "ports"}'))
                self.assertEqual([["command", "ports"]], fields(self.path, ["json.key", "json.value.string"]))

    def test_shows_an_empty_packet_as_malformed(self):
        self.write([b""])
        self.assertEqual([["At byte 0: expected a category, found the end"]], fields(self.path, ["_ws.expert.message"]))


class Calls(unittest.TestCase):
    """What qzsim records. A packet is a CBOR map."""

    CALL = bytes.fromhex("bf") + b"\x64call\x6fHBA_OpenAdapter\x67process\x05\x66thread\x06\x69arguments\xbf\x64name\x62fc\xff" \
        b"\x68duration\x19\x03\xe8\x67returns\x01\xff"
    EVENT = b"\xbf\x65event\x65plain\x6cregistration\x07\x64data\xbf\x67payload\x42\x01\xff\xff\xff"

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name) / "host.pcapng"

    def write(self, *packets):
        head = pcapng.section(pcapng.LITTLE, b"host") + pcapng.interface(pcapng.LITTLE, b"library", b"", CALLS)
        self.path.write_bytes(head + b"".join(pcapng.packet(pcapng.LITTLE, packet) for packet in packets))

    def test_show_name_arguments_and_answer(self):
        self.write(self.CALL, self.EVENT)
        self.assertEqual(fields(self.path, ["_ws.col.Info"]),
                         [['HBA_OpenAdapter("name": "fc") = 1'], ['event plain {"payload": 01ff}']])

    def test_have_fields_for_filters(self):
        self.write(self.CALL, self.EVENT)
        names = [f"qz_call.{name}" for name in ("kind", "name", "process", "thread", "duration", "returns")]
        self.assertEqual(fields(self.path, names, "-Y", "qz_call.duration >= 1000"),
                         [["call", "HBA_OpenAdapter", "5", "6", "1000", "1"]])
        self.assertEqual(fields(self.path, ["qz_call.registration"], "-Y", "qz_call.kind == event"), [["7"]])

    def test_that_are_malformed_are_marked(self):
        self.write(self.CALL[:-1], b"\xbf\x64call", b"\xff", b"\x9f" * 50, b"\x5f")
        self.assertEqual(len(fields(self.path, ["frame.number"], "-Y", "qz_call.malformed")), 5)

    def test_that_continue_in_the_next_packet_are_not_malformed(self):
        self.write(self.CALL[:-1] + b"\x64data\x5a\x00\x10\x00\x00" + bytes(262144 - len(self.CALL) - 9))
        self.assertEqual(fields(self.path, ["_ws.col.Info"], "-Y", "qz_call.continued && !qz_call.malformed"),
                         [['HBA_OpenAdapter("name": "fc") = 1 [continued]']])


if __name__ == "__main__":
    unittest.main()
