"""Runs qzagent metrics --listen on a simulated host, and reads what it serves."""

import contextlib
import http.client
import os
import pathlib
import re
import signal
import subprocess
import tempfile
import time

import programs
from programs import QZAGENT, QZSIM, QZSIMCTL

SECONDS = 60  # what takes longer hangs


def wait_for(question, what="a condition"):
    """Asks until the answer is true, and returns it."""
    end = time.monotonic() + SECONDS
    while time.monotonic() < end:
        answer = question()
        if answer:
            return answer
        time.sleep(0.02)
    raise AssertionError(f"waited in vain for {what}")


class MetricsServer:
    """A server for one scenario. Use it in a `with` statement."""

    def __init__(self, scenario, *options, address="127.0.0.1:0"):
        self.folder = tempfile.TemporaryDirectory()
        folder = pathlib.Path(self.folder.name)
        (folder / "scenario.toml").write_text(scenario, "utf-8")
        self.socket = folder / "control"
        self.errors_path = folder / "errors"
        self.output_path = folder / "output"
        with open(self.errors_path, "w", encoding="utf-8") as errors, \
                open(self.output_path, "w", encoding="utf-8") as output:
            self.simulator = subprocess.Popen(
                [QZSIM, "--control", str(self.socket), "--scenario", folder / "scenario.toml", "--",
                 "sh", "-c", 'echo "process $$" >&2; exec "$@"', "sh",
                 QZAGENT, "metrics", "--listen", address, *options], stdout=output, stderr=errors)
        self.process, self.host, self.port = None, None, None

    def __enter__(self):
        try:
            found = wait_for(lambda: re.search(r"process (\d+)\n(?:.*\n)*?.*serving http://(.*):(\d+)/metrics", self.errors()),
                             "the address of the server")
        except BaseException:
            self.simulator.kill()
            raise
        self.process, self.host, self.port = int(found[1]), found[2].strip("[]"), int(found[3])
        return self

    def __exit__(self, *_):
        if self.simulator.poll() is None:
            os.kill(self.process, signal.SIGKILL)
            self.simulator.wait(SECONDS)
        self.folder.cleanup()

    def errors(self):
        return self.errors_path.read_text("utf-8")

    def output(self):
        return self.output_path.read_text("utf-8")

    def control(self, *command):
        result = programs.run(QZSIMCTL, str(self.socket), *command)
        assert result.returncode == 0, result.stderr
        return result.stdout

    def get(self, path="/metrics", method="GET", **fields):
        """Sends a request. Returns status, type and body of the response."""
        connection = http.client.HTTPConnection(self.host, self.port, timeout=SECONDS)
        try:
            connection.request(method, path, headers=fields)
            response = connection.getresponse()
            return response.status, response.getheader("Content-Type"), response.read().decode("ascii")
        finally:
            connection.close()

    def metrics(self):
        """The metrics after the first look."""
        wait_for(lambda: self.get()[0] == 200, "the first look")
        return self.get()[2]

    def value(self, series):
        """The value of a series; none if it is absent."""
        found = re.search(f"^{re.escape(series)} (.*)$", self.metrics(), re.M)
        return float(found[1]) if found else None

    def children(self):
        return [int(child) for child in
                pathlib.Path(f"/proc/{self.process}/task/{self.process}/children").read_text("ascii").split()]

    def kill_children(self):
        for child in self.children():
            with contextlib.suppress(ProcessLookupError):  # it has just ended
                os.kill(child, signal.SIGKILL)

    def stop(self, number=signal.SIGTERM):
        """Returns the exit status."""
        os.kill(self.process, number)
        return self.simulator.wait(SECONDS)
