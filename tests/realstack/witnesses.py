"""What the usual tools print of the FC hosts of a machine. They do not use the HBA API."""

import re

SYSTOOL_ATTRIBUTES = ("node_name", "port_name", "fabric_name", "port_id", "port_type", "port_state", "speed",
                      "supported_speeds", "maxframe_size", "symbolic_name", "Device")
UNIT = re.compile(r" +(\d+)  (sd\w+) +([\d.]+ .iB) +(\d+)     (.*)")


def _output(made, *command):
    result = made.run(*command)
    assert result.returncode == 0, result.stderr
    return result.stdout


def _pairs(lines, separator):
    """From name to value of the lines that have the separator."""
    halves = (line.split(separator, 1) for line in lines if separator in line)
    return {name.strip(): value.strip().strip('"') for name, value in halves}


def lsscsi(made):
    """The columns of each unit: address, type, port, device."""
    return {tuple(line.split()) for line in _output(made, "lsscsi", "-tk").splitlines()}


def systool(made):
    """From the name of a host to its attributes."""
    blocks = _output(made, "systool", "-c", "fc_host", "-v").split("Class Device = ")[1:]
    values = {block.split('"')[1]: _pairs(block.splitlines(), " = ") for block in blocks}
    return {host: {key: value[key] for key in SYSTOOL_ATTRIBUTES} for host, value in values.items()}


def fcoeadm_adapters(made):
    """From the name of a host to the fields of its adapter and of its port."""
    output = _output(made, "fcoeadm", "-i")
    blocks = [_pairs(block.splitlines(), ":") for block in output.split("    Description:")[1:]]
    return {block["OS Device Name"]: block for block in blocks}


def fcoeadm_targets(made):
    """From the name of a target to its fields, and the columns of its units: LUN, disk, capacity, block size,
    description."""
    blocks = [(_pairs(block.splitlines(), ": "), set(UNIT.findall(block)))
              for block in re.split(r"(?=^    Interface:)", _output(made, "fcoeadm", "-t"), flags=re.M)[1:]]
    return {fields["OS Device Name"]: (fields, units) for fields, units in blocks}


def capacity(size):
    """A size in bytes as fcoeadm writes it."""
    for unit, bits in (("PiB", 50), ("TiB", 40), ("GiB", 30)):
        if size >= 1 << bits:
            return f"{size / (1 << bits):.2f} {unit}"
    return f"{size / (1 << 20):.2f} MiB"


def capacity_by_sectors(size, block_size):
    """fcoeadm multiplies what Linux counts in sectors of 512 bytes by the block size."""
    return capacity(size // 512 * block_size)
