"""A server of metrics answers whatever its clients and the HBA library do."""

import json
import os
import pathlib
import re
import signal
import socket
import unittest

try:
    from prometheus_client.openmetrics import parser as openmetrics
except ImportError:
    openmetrics = None

from metrics_server import MetricsServer, wait_for

ROOT = pathlib.Path(__file__).resolve().parents[3]
BOARDS = (ROOT / "simulator" / "scenarios" / "diagnostic-events.toml").read_text("utf-8")

HOST = """
[[adapter]]
name = "example-fc-0"
model = "EX-2200"
[[adapter.port]]
port_wwn = "10:00:00:00:c9:00:00:01"
[adapter.port.statistics]
tx_words = 7
[[adapter.port.remote]]
port_wwn = "50:00:00:00:ab:00:00:01"
luns = 2
"""
HANGING = HOST + '[[fault]]\ncall = "HBA_GetPortStatistics"\nnth = "1+"\nhangs = true\n'
FAILING = HOST + '[[fault]]\ncall = "HBA_GetPortStatistics"\nnth = "1+"\nstatus = "HBA_STATUS_ERROR"\n'
OPEN_METRICS = "application/openmetrics-text;version=1.0.0,text/plain;version=0.0.4;q=0.5,*/*;q=0.1"
MOST_CONNECTIONS = 64


def has_ipv6_loopback():
    try:
        with socket.socket(socket.AF_INET6) as test:
            test.bind(("::1", 0))
        return True
    except OSError:
        return False


class Answers(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = cls.enterClassContext(MetricsServer(HOST, "--latency", "--per-lun", "--interval", "1"))
        cls.server.metrics()

    def client(self, data=b""):
        client = socket.create_connection((self.server.host, self.server.port), timeout=60)
        self.addCleanup(client.close)
        client.sendall(data)
        return client

    def test_both_forms_have_the_same_series(self):
        texts = []
        for accept, media_type in (("*/*", "text/plain; version=0.0.4; charset=utf-8"),
                                   (OPEN_METRICS, "application/openmetrics-text; version=1.0.0; charset=utf-8")):
            status, found, text = self.server.get(Accept=accept)
            self.assertEqual((status, found), (200, media_type))
            texts.append(text)
        self.assertTrue(texts[1].endswith("\n# EOF\n"))
        series = [[line.rsplit(" ", 1)[0] for line in text.splitlines() if not line.startswith("#")] for text in texts]
        self.assertEqual(*series)
        self.assertIn('qzagent_port_transmitted_bytes_total{adapter="example-fc-0",port="0",'
                      'port_wwn="10:00:00:00:c9:00:00:01"} 28\n', texts[1])

    @unittest.skipUnless(openmetrics, "prometheus_client is not installed; Debian's python3-prometheus-client has it")
    def test_the_reference_parser_reads_open_metrics(self):
        families = list(openmetrics.text_string_to_metric_families(self.server.get(Accept=OPEN_METRICS)[2]))
        units = {family.name: (family.type, family.unit) for family in families}
        self.assertEqual(units["qzagent_port_transmitted_bytes"], ("counter", "bytes"))
        self.assertEqual(units["qzagent_target_latency_seconds"], ("histogram", "seconds"))
        self.assertEqual(units["qzagent_adapter"], ("info", ""))

    def test_only_known_paths_and_methods_are_served(self):
        self.assertIn('<a href="/metrics">', self.server.get("/")[2])
        self.assertEqual(self.server.get("/metrics?a=b")[0], 200)
        self.assertEqual(self.server.get("/other")[0], 404)
        self.assertEqual(self.server.get("/metrics", "HEAD")[2], "")
        self.assertEqual(self.server.get("/metrics", "DELETE")[0], 405)

    def test_slow_and_hostile_clients_stop_no_scrape(self):
        request = b"GET /metrics HTTP/1.1\r\n"
        for number in range(3 * MOST_CONNECTIONS):
            self.client([b"", b"G", request, request + b"a: b\r\n"][number % 4])
        self.assertEqual(self.server.get()[0], 200)
        files = os.listdir(f"/proc/{self.server.process}/fd")
        self.assertLess(len(files), MOST_CONNECTIONS + 20)
        half_closed = self.client(request + b"\r\n")
        half_closed.shutdown(socket.SHUT_WR)
        self.assertTrue(half_closed.recv(4096).startswith(b"HTTP/1.1 200 OK\r\n"))
        for garbage in (bytes(range(256)) * 40, request + b"a: " + b"x" * 100000, b"\r\n" * 10000):
            client = self.client()
            try:
                client.sendall(garbage)
            except OSError:
                pass  # the server has closed the connection
            self.assertEqual(self.server.get()[0], 200)

    def test_looks_are_repeated(self):
        first = self.server.value("qzagent_looks_total")
        wait_for(lambda: self.server.value("qzagent_looks_total") >= first + 2, "two looks")


class Looks(unittest.TestCase):
    def test_a_hanging_call_delays_no_answer_and_no_second_look_starts(self):
        with MetricsServer(HANGING, "--interval", "1", "--part-timeout", "2") as server:
            wait_for(server.children, "the first look")
            self.assertEqual(server.get()[0], 503)
            while server.get()[0] == 503:
                self.assertLessEqual(len(server.children()), 1)
            self.assertGreaterEqual(server.value(
                'qzagent_look_failures_total{verb="statistics",call="HBA_GetPortStatistics"}'), 1)
            self.assertEqual(server.value('qzagent_look_success{verb="ports"}'), 1)
            self.assertEqual(server.stop(signal.SIGINT), 0)

    def test_metrics_of_a_lost_look_are_absent(self):
        with MetricsServer(HANGING, "--interval", "1") as server:
            os.kill(wait_for(server.children, "the first look")[0], signal.SIGKILL)
            self.assertEqual(server.value("qzagent_lost_looks_total"), 1)
            self.assertNotIn("qzagent_adapters", server.metrics())
            self.assertNotIn("qzagent_look_timestamp_seconds", server.metrics())
            self.assertIn("qzagent: note: a look at the host was lost: was killed by signal 9 (Killed)\n",
                          server.errors())

            def is_another_lost():
                server.kill_children()
                return server.value("qzagent_lost_looks_total") > 1

            wait_for(is_another_lost, "another lost look")
            self.assertEqual(server.errors().count("a look at the host was lost"), 1)

    def test_failures_and_latencies_are_counted_over_all_looks(self):
        failures = 'qzagent_look_failures_total{verb="statistics",call="HBA_GetPortStatistics"}'
        commands = 'qzagent_target_latency_seconds_count{adapter="example-fc-0",target_port="50:00:00:00:ab:00:00:01"}'
        with MetricsServer(FAILING, "--interval", "1", "--latency") as server:
            wait_for(lambda: server.value("qzagent_looks_total") >= 3, "three looks")
            metrics = server.metrics()
            looks, failed, sent, bucket = (
                float(re.search(f"^{re.escape(series)} (.*)$", metrics, re.M)[1])
                for series in ("qzagent_looks_total", failures, commands,
                               commands.replace("_count", "_bucket").replace("}", ',le="+Inf"}')))
            self.assertEqual((failed, sent, bucket), (looks, 10 * looks, 10 * looks))

    def test_the_state_of_a_port_stays_if_its_adapter_fails_or_is_gone(self):
        state = 'qzagent_port_state{adapter="example-fc-0",port="0",port_wwn="10:00:00:00:c9:00:00:01",state="%s"}'
        with MetricsServer(HOST, "--interval", "1") as server:
            self.assertEqual(server.value(state % "ONLINE"), 1)
            for call in ("HBA_OpenAdapter", "HBA_GetNumberOfAdapters"):
                answer = "count = 0" if call == "HBA_GetNumberOfAdapters" else 'status = "HBA_STATUS_ERROR"'
                server.control("fault", "start", f'{{name = "{call}", call = "{call}", nth = "1+", {answer}}}')
                wait_for(lambda: server.value(state % "UNKNOWN") == 1, call)
                self.assertEqual(server.value(state % "ONLINE"), 0)
                server.control("fault", "end", call)
                wait_for(lambda: server.value(state % "ONLINE") == 1, "a success")

    def test_totals_survive_a_lost_look(self):
        success = 'qzagent_last_success_timestamp_seconds{verb="ports"}'
        with MetricsServer(HOST, "--interval", "1", "--latency") as server:
            self.assertIsNotNone(server.value(success))
            server.control("fault", "start", '{name = "hanging", call = "HBA_GetPortStatistics", nth = "1+", hangs = true}')

            def is_a_look_lost():
                server.kill_children()
                return server.value("qzagent_lost_looks_total") > 0

            wait_for(is_a_look_lost, "a lost look")
            metrics = server.metrics()
            self.assertIn(f"\n{success} ", metrics)
            self.assertIn("\nqzagent_target_latency_seconds_count{", metrics)
            self.assertNotIn("qzagent_adapters", metrics)

    def test_a_failure_of_each_look_is_written_once_and_a_new_one_again(self):
        with MetricsServer(FAILING.replace("[[fault]]", '[[fault]]\nname = "one"'), "--interval", "1") as server:
            wait_for(lambda: server.value("qzagent_looks_total") >= 2, "two looks")
            server.control("fault", "end", "one")
            wait_for(lambda: server.value('qzagent_look_success{verb="statistics"}') == 1, "a success")
            self.assertEqual(server.errors().count("the metrics of statistics are incomplete"), 1)
            server.control("fault", "start", "one")
            wait_for(lambda: server.value('qzagent_look_success{verb="statistics"}') == 0, "a failure")
            self.assertEqual(server.errors().count("the metrics of statistics are incomplete"), 2)

    def test_the_document_has_the_last_metrics(self):
        with MetricsServer(HOST, "--json") as server:
            server.metrics()
            self.assertEqual(server.stop(), 0)
            self.assertIn("\nqzagent_look_success{", json.loads(server.output())["metrics"])

    def test_other_hosts_are_served_on_request(self):
        with MetricsServer(HOST, "--allow-remote", address="0.0.0.0:0") as server:
            self.assertIn("/metrics without encryption or authentication\n", server.errors())
            server.metrics()


@unittest.skipUnless(has_ipv6_loopback(), "the host has no address ::1")
class Version6(unittest.TestCase):
    def test_loopback_is_served(self):
        with MetricsServer(HOST, address="[::1]:0") as server:
            self.assertEqual(server.host, "::1")
            self.assertIn("\nqzagent_looks_total ", server.metrics())


class Events(unittest.TestCase):
    COUNT = 'qzagent_events_total{board="0",category="3"}'

    def test_of_all_processes_are_counted_together(self):
        with MetricsServer(BOARDS, "--interval", "1", "--events") as server:
            wait_for(lambda: server.value(self.COUNT) == 100, "all events")
            self.assertEqual(server.value("qzagent_events_watched"), 1)
            self.assertEqual(server.value('qzagent_dropped_events_total{board="1"}'), 0)
            watching = [child for child in server.children() if pathlib.Path(f"/proc/{child}/fd").is_dir()]
            for child in watching:
                os.kill(child, signal.SIGKILL)
            # The process that replaces it opens the environment again, and the events are sent again.
            wait_for(lambda: server.value(self.COUNT) == 200, "the events of the second process")
            self.assertIn("the process that counts events was killed by signal 9 (Killed)\n", server.errors())
            self.assertEqual(server.stop(), 0)

    def test_are_first_0_so_that_a_burst_is_an_increase(self):
        with MetricsServer(BOARDS, "--interval", "1", "--events") as server:
            values = []
            series = re.compile(f"^{re.escape(self.COUNT)} (.*)$", re.M)

            def are_all_counted():
                found = series.search(server.get()[2])  # the first response that has the series counts
                values.append(float(found[1]) if found else None)
                return values[-1] == 100

            wait_for(are_all_counted, "all events")
            values = [value for value in values if value is not None]
            self.assertEqual(values[0], 0)
            self.assertEqual(values, sorted(values))

    def test_are_shown_while_a_look_hangs(self):
        with MetricsServer(BOARDS, "--interval", "1", "--events") as server:
            server.metrics()
            server.control("fault", "start", '{name = "hanging", call = "HBA_GetNumberOfAdapters", nth = "1+", hangs = true}')
            looks = server.value("qzagent_looks_total")
            wait_for(lambda: server.value(self.COUNT) == 100, "all events")
            self.assertLessEqual(server.value("qzagent_looks_total"), looks + 1)

    def test_are_not_watched_without_boards(self):
        with MetricsServer(HOST, "--interval", "1", "--events") as server:
            wait_for(lambda: server.value("qzagent_looks_total") >= 3, "three looks")
            self.assertEqual(server.value("qzagent_events_watched"), 0)
            self.assertEqual(server.errors().count("no boards to watch\n"), 1)


if __name__ == "__main__":
    unittest.main(verbosity=2)  # shows why a test is skipped
