"""Prometheus scrapes a simulated host, counts its changes correctly, and answers every query of the dashboard."""

import http.client
import json
import pathlib
import re
import subprocess
import tempfile
import time
import unittest
import urllib.parse

from metrics_server import SECONDS, MetricsServer, wait_for

ROOT = pathlib.Path(__file__).resolve().parents[3]
DASHBOARD = json.loads((ROOT / "share" / "grafana" / "qzagent.json").read_text("utf-8"))

PORT = """
[[adapter.port]]
port_wwn = "10:00:00:00:c9:00:00:0{0}"
speed = "16GBIT"
[[adapter.port.remote]]
port_wwn = "50:00:00:00:ab:00:00:0{0}"
node_wwn = "50:00:00:00:ab:00:00:00"
luns = 2
[adapter.port.statistics]
tx_frames = 1000000
lip_count = 0
nos_count = 0
error_frames = 0
dumped_frames = 0
link_failure_count = 0
loss_of_sync_count = 0
loss_of_signal_count = 0
primitive_seq_protocol_err_count = 0
invalid_tx_word_count = 0
invalid_crc_count = 0
[adapter.port.statistics_per_second]
tx_frames = 1000
tx_words = 100000
rx_words = 200000
"""

HOST = '[[adapter]]\nname = "example-fc-0"\nmodel = "EX-2200"\n' + PORT.format(1) + PORT.format(2) + """
[diagnostics]
library_version = "2.1.0"
driver_version = "4.0.12"
[[diagnostics.board]]
first_wwn = "20:00:00:00:c9:00:00:00"
second_wwn = "10:00:00:00:c9:00:00:01"
[[diagnostics.event]]
board = 0
category = 3
subcategory = 7
size = 64
rate = 10
count = 10000
[[fault]]
name = "failure"
call = "HBA_GetPortStatistics"
active = false
nth = "1+"
status = "HBA_STATUS_ERROR"
"""

STATE = "adapter[0].port[0].state"
PORT_1 = 'port="0"'


class Prometheus:
    """A Prometheus that scrapes a server each second. Use it in a `with` statement."""

    def __init__(self, server):
        self.folder = tempfile.TemporaryDirectory()
        folder = pathlib.Path(self.folder.name)
        (folder / "prometheus.yml").write_text(f"""
global:
  scrape_interval: 1s
scrape_configs:
  - job_name: qzagent
    static_configs:
      - targets: ["{server.host}:{server.port}"]
""", "utf-8")
        self.log = folder / "log"
        with open(self.log, "w", encoding="utf-8") as log:
            self.process = subprocess.Popen(
                ["prometheus", "--config.file", folder / "prometheus.yml", "--storage.tsdb.path", folder / "data",
                 "--web.listen-address", "127.0.0.1:0"], stdout=log, stderr=log)
        self.port = None

    def __enter__(self):
        try:
            self.port = int(wait_for(lambda: re.search(r'"Listening on" address=127\.0\.0\.1:(\d+)\n.*ready to receive',
                                                       self.log.read_text("utf-8"), re.S), "Prometheus")[1])
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait(SECONDS)
        self.folder.cleanup()

    def ask(self, path, **parameters):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=SECONDS)
        try:
            connection.request("GET", f"/api/v1/{path}?{urllib.parse.urlencode(parameters)}")
            answer = json.load(connection.getresponse())
        finally:
            connection.close()
        assert answer["status"] == "success", f"{parameters}: {answer}"
        return answer["data"]

    def samples(self, query):
        return self.ask("query", query=query)["result"]

    def value(self, query):
        """The value of the only series; none without one."""
        values = [float(sample["value"][1]) for sample in self.samples(query)]
        assert len(values) <= 1, values
        return values[0] if values else None

    def wait(self, query, value):
        wait_for(lambda: self.value(query) == value, f"{query} == {value}")


def queries():
    """The title of each panel of the dashboard with each of its queries."""
    return [(panel["title"], target["expr"]) for panel in DASHBOARD["panels"] for target in panel.get("targets", [])]


def without_variables(query):
    for name, value in (("window", "10s"), ("__range", "10m"), ("instance", ".*"), ("adapter", ".*")):
        query = query.replace("$" + name, value)
    assert "$" not in query, query
    return query


class Scraped(unittest.TestCase):
    """The cases share one host, whose first port goes down, up and down while its counters start again."""

    @classmethod
    def setUpClass(cls):
        server = cls.enterClassContext(MetricsServer(HOST, "--interval", "1", "--latency", "--per-lun", "--events"))
        server.metrics()
        cls.prometheus = cls.enterClassContext(Prometheus(server))
        online = f'qzagent_port_state{{{PORT_1},state="ONLINE"}}'
        cls.prometheus.wait(online, 1)
        # Two samples of a counter before its reset, and two after it.
        frames = f"qzagent_port_transmitted_frames_total{{{PORT_1}}}"
        cls.prometheus.wait(f"changes({frames}[10m]) >= bool 1", 1)
        server.control("change", '{set = {"adapter[0].port[0].state" = "LINKDOWN", '
                                 '"adapter[0].port[0].statistics.tx_frames" = 5}}')
        cls.prometheus.wait(online, 0)
        server.control("set", STATE, "ONLINE")
        cls.prometheus.wait(online, 1)
        server.control("change", '{set = {"adapter[0].port[0].state" = "LINKDOWN"}, fault_start = "failure"}')
        cls.prometheus.wait(online, 0)
        cls.prometheus.wait('increase(qzagent_look_failures_total{call="HBA_GetPortStatistics"}[10m]) > bool 0', 1)
        server.control("fault", "end", "failure")

    def test_changes_of_the_state_are_counted(self):
        for state, number in (("ONLINE", 3), ("LINKDOWN", 3), ("ERROR", 0)):
            query = f'changes(qzagent_port_state{{{PORT_1},state="{state}"}}[10m])'
            self.assertEqual(self.prometheus.value(query), number, query)
        self.assertEqual(self.prometheus.value('changes(qzagent_port_state{port="1",state="ONLINE"}[10m])'), 0)

    def test_a_reset_of_counters_is_no_negative_rate(self):
        frames = f"qzagent_port_transmitted_frames_total{{{PORT_1}}}"
        self.assertEqual(self.prometheus.value(f"resets({frames}[10m])"), 1)
        self.assertGreater(self.prometheus.value(f"delta({frames}[10m]) < bool 0"), 0)
        end = time.time()
        series = self.prometheus.ask("query_range", query=f"rate({frames}[10s])", start=end - 600, end=end, step=1)["result"]
        rates = [float(value) for _, value in series[0]["values"]]
        self.assertTrue(rates)
        self.assertGreaterEqual(min(rates), 0)

    def test_a_port_that_is_down_keeps_its_state_and_has_no_speed(self):
        self.assertEqual(self.prometheus.value(f'sum(qzagent_port_state{{{PORT_1}}})'), 1)

    def test_latencies_and_failures_are_counted_over_all_looks(self):
        count = "qzagent_target_latency_seconds_count"
        self.assertEqual(self.prometheus.value(f"max(resets({count}[10m]))"), 0)
        self.assertGreater(self.prometheus.value(f"min(increase({count}[10m]))"), 0)
        failures = 'qzagent_look_failures_total{call="HBA_GetPortStatistics"}'
        self.assertEqual(self.prometheus.value(f"max_over_time({failures}[10m]) - {failures}"), 0)

    def test_scrapes_negotiate_open_metrics(self):
        metadata = self.prometheus.ask("metadata", metric="qzagent_port_transmitted_bytes")
        self.assertEqual(metadata["qzagent_port_transmitted_bytes"][0]["unit"], "bytes")

    def test_every_query_of_the_dashboard_has_a_result(self):
        self.assertGreater(len(queries()), 20)
        for title, query in queries():
            with self.subTest(panel=title, query=query):
                end = time.time()
                series = self.prometheus.ask("query_range", query=without_variables(query), start=end - 600, end=end,
                                             step=1)["result"]
                self.assertTrue(series)

    def test_every_variable_of_the_dashboard_has_values(self):
        for variable in DASHBOARD["templating"]["list"]:
            if variable["type"] == "query":
                series, label = re.fullmatch(r"label_values\((.*), (\w+)\)", variable["definition"]).groups()
                found = self.prometheus.samples(without_variables(series))
                self.assertTrue([sample["metric"][label] for sample in found])

    def test_rates_have_a_window_of_four_looks_of_the_timer(self):
        window = next(variable for variable in DASHBOARD["templating"]["list"] if variable["name"] == "window")
        self.assertIn("OnCalendar=minutely", (ROOT / "share" / "systemd" / "qzagent-metrics.timer").read_text("utf-8"))
        minutes = [int(text.removesuffix("m")) for text in (window["auto_min"], *window["query"].split(",")) if "m" in text]
        self.assertGreaterEqual(min(minutes), 4)
        windows = {found for _, query in queries() for found in re.findall(r"\[(.*?)\]", query)}
        self.assertEqual(windows, {"$window", "$__range"})

    def test_panels_have_unique_identities_and_places(self):
        panels = DASHBOARD["panels"]
        self.assertEqual(len({panel["id"] for panel in panels}), len(panels))
        taken = [(x, y) for panel in panels for place in (panel["gridPos"],)
                 for x in range(place["x"], place["x"] + place["w"]) for y in range(place["y"], place["y"] + place["h"])]
        self.assertEqual(len(set(taken)), len(taken))
        self.assertLess(max(x for x, _ in taken), 24)


if __name__ == "__main__":
    unittest.main()
