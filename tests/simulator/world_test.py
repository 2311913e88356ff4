"""qzsimctl changes the simulation of a running qzagent, and timelines do so on their own."""

import json
import os
import pathlib
import pty
import select
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import programs
from programs import QZAGENT, QZSIM, QZSIMCTL

PATIENCE = 60  # seconds

SCENARIO = """
[[adapter]]
name = "example-fc-0"
    [[adapter.port]]
    port_wwn = "10:00:00:00:c9:00:00:01"
    statistics_per_second = { tx_frames = 100000 }
[[diagnostics.board]]
first_wwn = "20:00:00:00:c9:00:00:00"
second_wwn = "10:00:00:00:c9:00:00:01"
"""

PORT = "adapter[example-fc-0].port[10:00:00:00:c9:00:00:01]"


class Simulation:
    """A program that runs in a simulation with a control socket."""

    def __init__(self, test, *command, scenario=SCENARIO, options=()):
        folder = tempfile.TemporaryDirectory()
        test.addCleanup(folder.cleanup)
        self.test = test
        self.socket = pathlib.Path(folder.name) / "sim"
        file = pathlib.Path(folder.name) / "world.toml"
        file.write_text(scenario, encoding="ascii")
        self.errors = open(pathlib.Path(folder.name) / "errors", "w+", encoding="utf-8")
        test.addCleanup(self.errors.close)
        self.process = subprocess.Popen(
            [QZSIM, "--control", self.socket, "--scenario", file, *options, "--", *command],
            stdout=subprocess.PIPE, stderr=self.errors, start_new_session=True)
        test.addCleanup(self.process.stdout.close)
        test.addCleanup(self.process.wait, PATIENCE)
        test.addCleanup(self.kill)
        self.wait_for(self.socket.exists)

    def wait_for(self, condition):
        deadline = time.monotonic() + PATIENCE
        while not condition():
            self.test.assertLess(time.monotonic(), deadline, "nothing happens: " + self.all_errors())
            time.sleep(0.01)

    def all_errors(self):
        self.errors.seek(0)
        return self.errors.read()

    def kill(self):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGKILL)

    def interrupt(self):
        """Ends the program as Ctrl-C does, and returns the exit status of qzsim."""
        os.killpg(self.process.pid, signal.SIGINT)
        return self.process.wait(PATIENCE)

    def control(self, *command, status=0):
        """Returns what qzsimctl prints."""
        result = programs.run(QZSIMCTL, *command[:command[:1] == ("--json",)], self.socket,
                              *command[command[:1] == ("--json",):])
        self.test.assertEqual(result.returncode, status, result.stderr)
        return result.stdout + result.stderr

    def has_line(self, seconds):
        return bool(select.select([self.process.stdout], [], [], seconds)[0])

    def line(self):
        self.test.assertTrue(self.has_line(PATIENCE), "no output: " + self.all_errors())
        return self.process.stdout.readline().decode()


class WatchingAgent(unittest.TestCase):
    def setUp(self):
        self.simulation = Simulation(self, QZAGENT, "watch")
        self.simulation.wait_for(lambda: "watching" in self.simulation.all_errors())

    def send(self, payload):
        self.simulation.control("event", f'{{board = 0, category = 3, subcategory = 7, payload = "{payload}"}}')

    def test_the_agent_receives_each_event_that_is_sent(self):
        for payload in ("01", "02"):
            self.send(payload)
            self.assertTrue(self.simulation.line().endswith(f"category 3 subcategory 7 length 1 {payload}\n"))

    def test_the_agent_receives_a_series_of_events(self):
        self.simulation.control("event", "board = 0, category = 3, subcategory = 7, size = 4, count = 3, rate = 50")
        numbers = [self.simulation.line().split()[-4:] for _ in range(3)]
        self.assertEqual([line[-1] for line in numbers], ["00000000", "00000001", "00000002"])

    def test_no_event_arrives_during_a_pause(self):
        self.simulation.control("pause")
        self.send("01")
        self.assertFalse(self.simulation.has_line(0.3))
        self.simulation.control("resume")
        self.assertTrue(self.simulation.line().endswith(" 01\n"))

    def test_the_socket_disappears_with_the_agent(self):
        self.simulation.interrupt()
        self.assertFalse(self.simulation.socket.exists())

    def test_the_socket_disappears_when_the_agent_is_killed(self):
        child = int(subprocess.run(["pgrep", "-P", str(self.simulation.process.pid)], capture_output=True,
                                   check=True).stdout)
        os.kill(child, signal.SIGKILL)
        self.assertEqual(self.simulation.process.wait(PATIENCE), -signal.SIGKILL)
        self.assertFalse(self.simulation.socket.exists())


class StatisticsOfTheAgent(unittest.TestCase):
    def setUp(self):
        self.simulation = Simulation(self, QZAGENT, "--json", "statistics", "--interval", "1")
        self.next()

    def next(self):
        return json.loads(self.simulation.line())

    def frames(self, interval):
        return interval["adapters"][0]["ports"][0]["differences"]["tx_frames"]

    def wait_until(self, condition):
        for _ in range(PATIENCE):
            interval = self.next()
            if condition(interval):
                return interval
        return self.fail("the statistics do not follow the simulation")

    def test_the_agent_sees_counters_stop_and_continue(self):
        self.assertGreater(self.frames(self.next()), 0)
        self.simulation.control("set", PORT + ".statistics_per_second.tx_frames", "0")
        self.wait_until(lambda interval: self.frames(interval) == 0)
        self.simulation.control("set", PORT + ".statistics_per_second.tx_frames", "50")
        self.wait_until(lambda interval: 0 < self.frames(interval) < 1000)

    def test_the_agent_sees_ports_come_and_go(self):
        self.simulation.control("set", "adapter[0].port[+]", '{port_wwn = "10:00:00:00:c9:00:00:02", '
                                "statistics = {tx_frames = 5}}")
        self.assertIn("c9:00:00:02", json.dumps(self.wait_until(lambda interval: interval["new_ports"])["new_ports"]))
        self.simulation.control("remove", "adapter[0].port[10:00:00:00:c9:00:00:02]")
        self.assertIn("c9:00:00:02", json.dumps(self.wait_until(lambda interval: interval["gone_ports"])["gone_ports"]))


class Terminal(unittest.TestCase):
    COUNTER = """
import signal, time
signal.signal(signal.SIGINT, lambda *_: print("caught", flush=True))
print("ready", flush=True)
deadline = time.monotonic() + 1
while time.monotonic() < deadline:
    time.sleep(0.05)
print("end", flush=True)
"""

    def test_the_program_receives_ctrl_c_once(self):
        process, terminal = pty.fork()
        if process == 0:
            os.execl(QZSIM, "qzsim", "--verify", "--scenario", os.devnull, "--", sys.executable, "-c", self.COUNTER)
        output = b""
        while not output.endswith(b"end\r\n"):
            self.assertTrue(select.select([terminal], [], [], PATIENCE)[0], output)
            output += os.read(terminal, 1000)
            if output == b"ready\r\n":
                os.write(terminal, b"\x03")
        self.assertEqual(os.waitpid(process, 0)[1], 0)
        os.close(terminal)
        self.assertEqual(output.count(b"caught"), 1, output)


class Control(unittest.TestCase):
    def simulation(self, **options):
        return Simulation(self, "sleep", "60", **options)

    def test_get_prints_a_value_as_toml_or_json(self):
        simulation = self.simulation()
        self.assertEqual(simulation.control("get", "adapter[0].name"), '"example-fc-0"\n')
        board = simulation.control("--json", "get", "diagnostics.board[0]")
        self.assertEqual(json.loads(board)["second_wwn"], "10:00:00:00:c9:00:00:01")
        self.assertEqual(simulation.control("get", "--json", "diagnostics.board[0]"), board)

    def test_a_refused_command_has_status_1_and_a_message(self):
        self.assertIn("expected one of UNKNOWN, ONLINE",
                      self.simulation().control("set", PORT + ".state", "DOWN", status=1))

    def test_verify_has_status_3_while_something_has_not_happened(self):
        fault = '[[fault]]\nname = "f"\ncall = "HBA_OpenAdapter"\nnth = 1\nstatus = 1\n'
        self.assertIn("struck 0 of 1 times", self.simulation(scenario=SCENARIO + fault).control("verify", status=3))
        self.assertEqual(self.simulation().control("verify"), "")

    def test_a_second_simulation_cannot_take_the_socket(self):
        simulation = self.simulation()
        result = programs.run(QZSIM, "--control", simulation.socket, "--scenario", os.devnull, "--", "true")
        self.assertEqual(result.returncode, 2)
        self.assertIn("another process uses it", result.stderr)
        simulation.control("verify")

    def test_the_socket_of_a_killed_simulation_is_replaced(self):
        simulation = self.simulation()
        os.kill(simulation.process.pid, signal.SIGKILL)
        simulation.process.wait(PATIENCE)
        self.assertTrue(simulation.socket.exists())
        result = programs.run(QZSIM, "--control", simulation.socket, "--scenario", os.devnull, "--", QZSIMCTL,
                              simulation.socket, "verify")
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_a_wrong_command_line_has_status_2(self):
        for arguments in ([], ["sock"], ["sock", "bogus"], ["--bogus"], ["--json", "sock", "verify"],
                          ["sock", "set", "a\nb"], ["/nonexistent", "verify"], ["x" * 200, "verify"]):
            with self.subTest(arguments):
                result = programs.run(QZSIMCTL, *arguments)
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assertTrue(result.stderr.startswith("qzsimctl: "), result.stderr)

    def test_a_wrong_number_of_arguments_has_status_2_and_names_the_argument(self):
        for arguments, message in ((["get"], "get: PATH is required"),
                                   (["set"], "set: PATH is required"),
                                   (["set", "adapter"], "set: VALUE is required"),
                                   (["remove"], "remove: PATH is required"),
                                   (["change"], "change: TABLE is required"),
                                   (["event"], "event: TABLE is required"),
                                   (["fault"], "fault: expected start or end"),
                                   (["fault", "stop", "x"], 'fault: expected start or end, found "stop"'),
                                   (["fault", "end"], "fault end: NAME is required"),
                                   (["verify", "x"], 'verify: takes no arguments, found "x"'),
                                   (["pause", "now"], 'pause: takes no arguments, found "now"')):
            with self.subTest(arguments):
                result = programs.run(QZSIMCTL, "/nonexistent", *arguments)
                self.assertEqual((result.returncode, result.stderr),
                                 (2, f"qzsimctl: {message}; see qzsimctl --help\n"))

    def test_the_program_continues_when_the_simulation_is_killed_in_a_pause(self):
        simulation = Simulation(self, QZAGENT, "--json", "statistics", "--interval", "1")
        self.addCleanup(os.killpg, simulation.process.pid, signal.SIGKILL)
        simulation.line()
        simulation.control("pause")
        os.kill(simulation.process.pid, signal.SIGKILL)
        simulation.process.wait(PATIENCE)
        for _ in range(3):  # one line may have been on its way
            simulation.line()

    def test_errors_escape_control_characters(self):
        for arguments in (["/\x1b[2J\x9b", "verify"], ["sock", "\x1b[2J\x9b"]):
            with self.subTest(arguments):
                self.assertIn("\\u001B[2J\\u009B", programs.run(QZSIMCTL, *arguments).stderr)

    def test_output_that_cannot_be_written_is_an_error(self):
        for argument in ("--help", "--version"):
            with self.subTest(argument), open("/dev/full", "w") as full:
                result = subprocess.run([QZSIMCTL, argument], stdout=full, stderr=subprocess.PIPE, text=True)
                self.assertEqual((result.returncode, result.stderr),
                                 (2, "qzsimctl: cannot write standard output: No space left on device\n"))


class Timeline(unittest.TestCase):
    def run_agent(self, timeline, *arguments, options=()):
        return programs.simulate(SCENARIO + timeline, *options, "--", QZAGENT, *arguments)

    def test_a_change_happens_at_its_time(self):
        timeline = f'[[timeline]]\nat_ms = 0\nset = {{ "{PORT}.state" = "LINKDOWN" }}\n'
        self.assertIn("LINKDOWN", self.run_agent(timeline, "ports").stdout)

    def test_a_change_follows_a_call(self):
        timeline = ('[[timeline]]\nafter_call = "HBA_OpenAdapter"\n'
                    f'set = {{ "{PORT}.state" = "BYPASSED" }}\n')
        self.assertIn("BYPASSED", self.run_agent(timeline, "ports").stdout)

    def test_a_change_follows_a_call_of_another_process(self):
        timeline = ('[[timeline]]\nafter_call = "HBA_LoadLibrary"\nnth = 2\n'
                    f'set = {{ "{PORT}.state" = "BYPASSED" }}\n')
        ports = programs.simulate(SCENARIO + timeline, "--", "sh", "-c", '"$0" ports; echo -; "$0" ports', QZAGENT)
        first, second = ports.stdout.split("-\n", 1)
        self.assertNotIn("BYPASSED", first)
        self.assertIn("BYPASSED", second)

    def test_an_event_follows_a_registration(self):
        timeline = ('[[timeline]]\nafter_call = "VQM_QZ_RegisterForEvent"\n'
                    'event = { board = 0, category = 9, subcategory = 8, payload = "aa" }\n')
        self.assertIn("category 9 subcategory 8 length 1 aa\n", self.run_agent(timeline, "watch", "--count", "1").stdout)

    def test_a_fault_starts_and_ends(self):
        fault = '[[fault]]\nname = "f"\ncall = "HBA_GetAdapterPortAttributes"\nnth = "1+"\nstatus = 1\n'
        end = '[[timeline]]\nat_ms = 0\nfault_end = "f"\n'
        self.assertNotEqual(self.run_agent(fault, "ports").returncode, 0)
        self.assertEqual(self.run_agent(fault + end, "ports").returncode, 0)

    def test_verify_reports_a_change_that_did_not_happen(self):
        timeline = '[[timeline]]\nafter_call = "HBA_FreeLibrary"\nnth = 9\nset = { number_of_adapters = 1 }\n'
        result = self.run_agent(timeline, "ports", options=["--verify"])
        self.assertEqual(result.returncode, 3)
        self.assertIn("the change did not happen: after call 9 of HBA_FreeLibrary: set number_of_adapters = 1\n",
                      result.stderr)


if __name__ == "__main__":
    unittest.main()
