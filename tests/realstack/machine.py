"""A machine as its text describes it: FC hosts, their remote ports, and the SCSI devices behind these."""

import dataclasses
import tomllib

COMMANDS = ("inquiry", "read_capacity", "report_luns")


def numbers(text):
    """The numbers of a text such as "0-2, 300"."""
    result = []
    for part in filter(None, (part.strip() for part in text.split(","))):
        first, _, last = part.partition("-")
        result += range(int(first), int(last or first) + 1)
    return result


def disk_name(index):
    """The name that Linux gives to the disk with this index: sda, ..., sdz, sdaa, ..."""
    letters = ""
    index += 1
    while index > 0:
        index, letter = divmod(index - 1, 26)
        letters = chr(ord("a") + letter) + letters
    return "sd" + letters


def scsi_lun(number):
    """The eight bytes of a LUN: peripheral addressing for the first 256 numbers, flat space addressing for others."""
    return (number if number < 256 else 0x4000 | number).to_bytes(2, "big") + bytes(6)


def linux_lun(number):
    """Linux reads the first level of the eight bytes as an integer."""
    return int.from_bytes(scsi_lun(number)[:2], "big")


@dataclasses.dataclass
class Unit:
    """A logical unit. An answer is "good", "busy", "short BYTES" or "check KEY/ASC/ASCQ" in hexadecimal."""
    lun: int
    index: int  # among all units of the machine: it is in the names of disk and sg device
    address: str  # H:C:T:L
    size: int  # in bytes
    block_size: int
    answers: dict

    @property
    def disk(self):
        return disk_name(self.index)

    @property
    def sg(self):
        return f"sg{self.index}"


@dataclasses.dataclass
class RemotePort:
    host: int
    number: int
    node_wwn: str
    port_wwn: str
    fc_id: int
    state: str
    roles: str
    max_frame_size: int
    scsi_target: int  # -1: the port is no target
    reported: list  # what REPORT LUNS answers, if the answer is good
    units: list
    vanishes_after: dict | None  # the command that this port does not survive, and the port that answers it

    @property
    def name(self):
        return f"rport-{self.host}:0-{self.number}"

    @property
    def target(self):
        return f"{self.host}:0:{self.scsi_target}"

    @property
    def first_unit(self):
        """The unit with LUN 0, if there is one: libhbalinux sends REPORT LUNS to no other."""
        return next((unit for unit in self.units if unit.lun == 0), None)


@dataclasses.dataclass
class Host:
    number: int
    interface: str
    symbolic_name: str
    pci: str
    serial: str | None  # None: the adapter has no PCI capabilities
    node_wwn: str
    port_wwn: str
    fabric_wwn: str
    fc_id: int
    type: str
    state: str
    speed: str
    supported_speeds: str
    max_frame_size: int
    statistics: dict
    remote_ports: list

    @property
    def name(self):
        return f"host{self.number}"


def _units(text, first_index, target):
    exceptions = [(numbers(table["luns"]), table) for table in text.get("unit", [])]
    units = []
    for lun in numbers(text.get("luns", "")):
        own = dict(text)
        for luns, table in exceptions:
            if lun in luns:
                own.update(table)
        units.append(Unit(lun=lun, index=first_index + len(units), address=f"{target}:{linux_lun(lun)}",
                          size=own.get("size_mib", 1024) << 20, block_size=own.get("block_size", 512),
                          answers={command: own.get(command, "good") for command in COMMANDS}))
    return units


def _remote_port(text, host, first_index):
    scsi_target = text.get("scsi_target", -1)
    return RemotePort(host=host, number=text["number"], node_wwn=text["node_wwn"], port_wwn=text["port_wwn"],
                      fc_id=text["fc_id"], state=text.get("state", "Online"),
                      roles=text.get("roles", "FCP Target"), max_frame_size=text.get("max_frame_size", 2048),
                      scsi_target=scsi_target, reported=numbers(text.get("reported", text.get("luns", ""))),
                      units=_units(text, first_index, f"{host}:0:{scsi_target}"),
                      vanishes_after=text.get("vanishes_after"))


def load(path):
    """The hosts of a machine."""
    with open(path, "rb") as file:
        text = tomllib.load(file)
    hosts = []
    index = 0
    for table in text["host"]:
        remote_ports = []
        for remote_port in table.get("remote_port", []):
            remote_ports.append(_remote_port(remote_port, table["number"], index))
            index += len(remote_ports[-1].units)
        hosts.append(Host(
            number=table["number"], interface=table["interface"], pci=table["pci"], serial=table.get("serial"),
            symbolic_name=table.get("symbolic_name", f"fcoe v0.1 over {table['interface']}"),
            node_wwn=table["node_wwn"], port_wwn=table["port_wwn"], fabric_wwn=table["fabric_wwn"],
            fc_id=table["fc_id"], type=table.get("type", "NPort (fabric via point-to-point)"),
            state=table.get("state", "Online"), speed=table["speed"], supported_speeds=table["supported_speeds"],
            max_frame_size=table.get("max_frame_size", 2048), statistics=table.get("statistics", {}),
            remote_ports=remote_ports))
    return hosts
