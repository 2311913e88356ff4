"""The sg devices of a made machine answer as the text of the machine says."""

import json
import sys
import unittest

import realstack

INQUIRY = "120000002400"
REPORT_LUNS = "a00000000000000010000000"
READ_CAPACITY_10 = "25000000000000000000"
READ_CAPACITY_16 = "9e100000000000000000000000200000"
TEST_UNIT_READY = "000000000000"


def answers(name, number, *commands, size=4096):
    """What the device /dev/sgNUMBER of the machine answers to the commands."""
    with realstack.made(name) as made:
        result = made.run(sys.executable, "-B", realstack.HERE / "send_scsi.py", f"/dev/sg{number}", str(size),
                          *commands)
    assert result.returncode == 0, result.stderr
    return json.loads(result.stdout)


class SgDevices(unittest.TestCase):
    def test_identify_the_vendor_the_product_and_the_revision(self):
        [inquiry] = answers("two-hosts", 0, INQUIRY)
        self.assertEqual(inquiry["status"], 0)
        self.assertEqual(bytes.fromhex(inquiry["data"])[8:], b"EXAMPLE ARRAY VOLUME    0042")

    def test_report_the_luns_as_scsi_writes_them(self):
        [luns] = answers("high-luns", 0, REPORT_LUNS)
        expected = [0, 1, 2, 255, 0x4100, 0x4101, 0x4102, 0x412c, 0x412d, 0x7fff]
        self.assertEqual(luns["data"], f"{len(expected) * 8:08x}00000000" +
                         "".join(f"{lun:04x}000000000000" for lun in expected))

    def test_have_the_capacity_in_blocks(self):
        small, large = answers("two-hosts", 0, READ_CAPACITY_10, READ_CAPACITY_16)
        self.assertEqual(small["data"], "013fffff00000200")  # 10 GiB
        self.assertEqual(large["data"], "00000000013fffff00000200" + 20 * "00")

    def test_have_no_capacity_of_2_tib_in_ten_bytes(self):
        small, large = answers("two-hosts", 200, READ_CAPACITY_10, READ_CAPACITY_16)
        self.assertEqual(small["data"], "ffffffff00000200")
        self.assertEqual(large["data"], "000000017fffffff00000200" + 20 * "00")  # 3 TiB

    def test_have_sense_data_in_fixed_format_with_check_condition(self):
        [inquiry] = answers("check-condition", 0, INQUIRY)
        sense = "70000200000000" + "0a" + "00000000" + "3a00" + "00000000"
        self.assertEqual(inquiry, {"status": 2, "data": "", "sense": sense})

    def test_answer_busy_without_data(self):
        [inquiry] = answers("busy", 0, INQUIRY)
        self.assertEqual(inquiry, {"status": 8, "data": "", "sense": ""})

    def test_leave_a_residue_when_they_answer_too_few_bytes(self):
        [luns] = answers("short-answers", 0, REPORT_LUNS)
        self.assertEqual(luns, {"status": 0, "data": "00000010", "sense": ""})

    def test_cut_the_answer_to_the_room_there_is(self):
        [luns] = answers("two-hosts", 0, REPORT_LUNS, size=16)
        self.assertEqual(luns["data"], f"{200 * 8:08x}" + 12 * "00")

    def test_refuse_an_unknown_command(self):
        [ready] = answers("two-hosts", 0, TEST_UNIT_READY)
        self.assertEqual((ready["status"], ready["sense"][4:6], ready["sense"][24:28]), (2, "05", "2000"))


if __name__ == "__main__":
    realstack.require_namespaces()
    unittest.main()
