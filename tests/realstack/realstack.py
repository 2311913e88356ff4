"""Runs commands in a made machine."""

import contextlib
import os
import pathlib
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
SG_DEVICES = os.environ["SG_DEVICES"]
FORBIDDEN = 77

# A machine has thousands of small files, which take long on a disk.
MEMORY = pathlib.Path("/dev/shm")


def require_namespaces():
    """Ends a test program where the kernel permits no made machine; ctest then counts the test as skipped."""
    check = subprocess.run([HERE / "in_machine", "--check"], check=False)
    if check.returncode != 0:
        sys.exit(FORBIDDEN)


def text_of(name):
    return HERE / "machines" / f"{name}.toml"


class Machine:
    def __init__(self, folder):
        self._folder = folder
        self.sys = pathlib.Path(folder) / "sys"
        self.sg = pathlib.Path(folder) / "sg"

    def append_configuration(self, line):
        """Adds a line to /etc/hba.conf."""
        with open(pathlib.Path(self._folder) / "hba.conf", "a", encoding="ascii") as file:
            file.write(line + "\n")

    def _arguments(self, command):
        """The sanitizers accept a preloaded library, and do not report what libhbalinux leaks."""
        options = os.environ.get("ASAN_OPTIONS", "")
        environment = os.environ | {"SG_PRELOAD": SG_DEVICES, "ASAN_OPTIONS": f"{options}:detect_leaks=0"}
        return {"args": [HERE / "in_machine", self._folder, "--", *command], "env": environment, "text": True}

    def run(self, *command):
        return subprocess.run(**self._arguments(command), capture_output=True, check=False, timeout=60)

    def start(self, *command):
        """The running command, whose standard output is a pipe."""
        return subprocess.Popen(**self._arguments(command), stdout=subprocess.PIPE)


def made(name):
    """The machine of this name, made for one use: what vanishes from it does not come back."""
    return made_of(text_of(name))


@contextlib.contextmanager
def made_of(path):
    """The machine of the text in this file."""
    with tempfile.TemporaryDirectory(dir=MEMORY if MEMORY.is_dir() else None) as folder:
        subprocess.run([sys.executable, "-B", HERE / "make_machine.py", path, folder], check=True)
        yield Machine(folder)
