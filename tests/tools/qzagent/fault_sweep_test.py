"""Every verb under every failing call: the agent ends properly, its JSON is valid, and its messages name the cause."""

import concurrent.futures
import json
import pathlib
import re
import subprocess
import tempfile
import unittest

import jsonschema

import programs
from programs import QZAGENT, QZSIM

ROOT = pathlib.Path(__file__).resolve().parents[3]
SCHEMAS = ROOT / "tools" / "qzagent" / "schemas"
BOARDS = (ROOT / "simulator" / "scenarios" / "diagnostic-events.toml").read_text(encoding="utf-8")

# The HBA libraries of the adapters write LUNs in different styles.
SCENARIO = """
[[adapter]]
name = "example-fc-0"
[[adapter.port]]
port_wwn = "10:00:00:00:c9:00:00:01"
[[adapter.port.remote]]
port_wwn = "50:00:00:00:ab:00:00:01"
luns = [0, 300]
[adapter.port.statistics]
tx_frames = 1
[[adapter]]
name = "example-fc-1"
lun_style = "integer"
[[adapter.port]]
port_wwn = "10:00:00:00:c9:00:00:02"
[[adapter.port.remote]]
port_wwn = "50:00:00:00:ab:00:00:02"
luns = [0, 300]
[adapter.port.statistics]
tx_frames = 1
"""

CALLS = re.findall(r'\{"(\w+)", Call::', (ROOT / "simulator/scenario/Calls.cpp").read_text("utf-8"))
VQM_CALLS = [call for call in CALLS if not call.startswith("HBA_")]

# The statuses in the order of their numbers, from 0.
STATUSES = [f"HBA_STATUS_{name}" for name in """
    OK ERROR ERROR_NOT_SUPPORTED ERROR_INVALID_HANDLE ERROR_ARG ERROR_ILLEGAL_WWN ERROR_ILLEGAL_INDEX ERROR_MORE_DATA
    ERROR_STALE_DATA SCSI_CHECK_CONDITION ERROR_BUSY ERROR_TRY_AGAIN ERROR_UNAVAILABLE ERROR_ELS_REJECT
    ERROR_INVALID_LUN ERROR_INCOMPATIBLE ERROR_AMBIGUOUS_WWN ERROR_LOCAL_BUS ERROR_LOCAL_TARGET ERROR_LOCAL_LUN
    ERROR_LOCAL_SCSIID_BOUND ERROR_TARGET_FCID ERROR_TARGET_NODE_WWN ERROR_TARGET_PORT_WWN ERROR_TARGET_LUN
    ERROR_TARGET_LUID ERROR_NO_SUCH_BINDING ERROR_NOT_A_TARGET ERROR_UNSUPPORTED_FC4 ERROR_INCAPABLE
    ERROR_TARGET_BUSY""".split()]
RESULTS = (1, 2, 255, 0xFFFFFFFF)

INVENTORY, LUNS, LATENCY = ("inventory",), ("inventory", "--luns"), ("latency", "--count", "2")
HBA_VERBS = (("adapters",), ("ports",), INVENTORY, LUNS, ("statistics",), LATENCY)
WATCH = ("watch", "--seconds", "1", "--count", "1", "--output", "/dev/null")
VQM_VERBS = (("vendor",), WATCH, (*WATCH, "--plain"))

SECONDS = 20  # a run that takes longer hangs

# The verbs that need each call. They fail if the call returns an error.
NEED = {
    "HBA_LoadLibrary": HBA_VERBS,
    "HBA_FreeLibrary": (),
    "HBA_GetAdapterName": HBA_VERBS,
    "HBA_OpenAdapter": HBA_VERBS,
    "HBA_GetAdapterAttributes": HBA_VERBS[:5],
    "HBA_GetAdapterPortAttributes": HBA_VERBS[:5],
    "HBA_GetDiscoveredPortAttributes": (("ports",), INVENTORY, LUNS),
    "HBA_GetPortAttributesByWWN": (),
    "HBA_GetPortStatistics": (("statistics",),),
    "HBA_GetFcpTargetMapping": (("ports",), INVENTORY, LUNS, LATENCY),
    "HBA_SendReportLUNs": (INVENTORY, LUNS, LATENCY),
    "HBA_SendScsiInquiry": (LUNS,),
    "HBA_SendReadCapacity": (LUNS,),
}

HBA_CALLS = list(NEED)
OTHER_CALLS = [call for call in CALLS if call.startswith("HBA_") and call not in NEED]

# The common library returns no status of the HBA library from these calls.
WITHOUT_STATUS = ("HBA_LoadLibrary", "HBA_OpenAdapter")


def validators():
    """The validator of each verb's document, which needs the file of its schema only."""
    found = {}
    for path in SCHEMAS.glob("*.schema.json"):
        schema = json.loads(path.read_text(encoding="utf-8"))
        found[path.name.split(".")[0]] = jsonschema.Draft202012Validator(schema)
    return found


VALIDATORS = validators()


NOTHING_TO_WATCH = "nothing to watch: no board is registered"


# Programs with sanitizers start slowly, so only a part of the sweep runs on them. The step is prime, so that it meets
# every call, every answer and every verb.
IS_SANITIZED = b"__asan_init" in pathlib.Path(QZAGENT).read_bytes()
SANITIZED_STEP = 7


def boards_not_found(number):
    """A pattern for each line about boards that were not found; equal failures are counted after the third."""
    def failure(board):
        return (rf"board {board}: QZCNotFoundEx: Failed to find information of an adapter \(code 8\): "
                rf"a result other than 0 in call {board + 1}, VQM_GetLinkInfo")
    counted = [f"the same failure {number - 3} more times, the last: " + failure(number - 1)] * (number > 3)
    return [failure(board) for board in range(min(number, 3))] + counted


def expected_vqm_errors(call, result, verb):
    """A pattern for each error, in order. The results of the other calls are ignored, or no verb calls them."""
    watches = verb[0] == "watch"
    is_plain = "--plain" in verb
    register, unregister = (("RegisterForEvent", "unRegisterForEvent") if is_plain else
                            ("VQM_QZ_RegisterForEvent", "VQM_QZ_unRegisterForEvent"))
    if call == "VQM_InitDiagEnv" and result == 0xFFFFFFFF:
        return [r"implausible number of boards: 4294967295 \(at most 4096\)"]
    if call == "VQM_InitDiagEnv":  # the result is the number of boards, and none of them was found
        version = [] if watches else ["VQM_InitDiagEnv wrote no version of the driver"]
        end = NOTHING_TO_WATCH if is_plain else "VQM_GetDrvInfo of board 0 failed with result 1"
        return version + boards_not_found(result) + [end]
    if call == "VQM_GetLibVer" and not watches:
        return ["VQM_GetLibVer wrote no version of the library"]
    if call == "VQM_GetDrvInfo" and not is_plain:  # plain registrations need no support of Quazor events
        return [f"VQM_GetDrvInfo of board 0 failed with result {result}"]
    if call == "VQM_GetLinkInfo":
        return boards_not_found(2) + [NOTHING_TO_WATCH] * watches
    if call == register and watches:
        return [rf"board {board}: the registration was refused with result {result}" for board in (0, 1)] + \
            [NOTHING_TO_WATCH]
    if call == unregister and watches:
        return [rf"board {board}: the unregistration was refused with result {result}" for board in (0, 1)]
    return []


def fault(call, answer):
    key = "result" if call in VQM_CALLS else "status"
    return f'\n[[fault]]\ncall = "{call}"\nnth = "1+"\n{key} = {json.dumps(answer)}\n'


def run(scenario, verb, *options):
    with tempfile.NamedTemporaryFile("w", suffix=".toml") as file:
        file.write(scenario)
        file.flush()
        command = [QZSIM, "--scenario", file.name, "--", QZAGENT, *options, *verb]
        return subprocess.run(command, capture_output=True, check=False, timeout=SECONDS)


def faulty(call, answer):
    return (BOARDS if call in VQM_CALLS else SCENARIO) + fault(call, answer)


def check(call, answer, verb):
    """Runs a verb while each call of a kind fails.

    Returns what is wrong with the run, one text each."""
    try:
        result = run(faulty(call, answer), verb, "--json")
    except subprocess.TimeoutExpired:
        return [f"took longer than {SECONDS} seconds"]
    found = list(problems_of_document(verb, result))
    if not found and call in HBA_CALLS:
        found = list(problems_of_causes(call, answer, verb, result))
    return found or list(problems_of_text(call, answer, verb, result))


def check_text(call, answer, verb):
    """The same for a run that writes text."""
    try:
        result = run(faulty(call, answer), verb)
    except subprocess.TimeoutExpired:
        return [f"took longer than {SECONDS} seconds"]
    if result.returncode not in (0, 1):
        return [f"ended with {result.returncode}"]
    return list(problems_of_text(call, answer, verb, result))


def problems_of_document(verb, result):
    if result.returncode not in (0, 1):
        yield f"ended with {result.returncode}: {result.stderr.decode('utf-8', 'replace')[-300:]}"
        return
    try:
        document = json.loads(result.stdout)
    except ValueError as error:
        yield f"wrote no JSON: {error}"
        return
    for error in VALIDATORS[verb[0]].iter_errors(document):
        yield f"the document breaks its schema at {list(error.absolute_path)}: {error.message[:200]}"
    if document["exit_status"] != result.returncode:
        yield f"ended with {result.returncode}, and the document says {document['exit_status']}"


def errors_in(result):
    return [message for message in json.loads(result.stdout)["messages"] if message["severity"] == "error"]


def status_of(call, answer):
    """The status that the agent sees."""
    return 1 if call in WITHOUT_STATUS and answer != "HBA_STATUS_OK" else STATUSES.index(answer)


def problems_of_text(call, answer, verb, result):
    """The messages name the cause, and there is one if the exit code is 1."""
    # The common library of the HBA API writes lines of its own.
    lines = [line for line in result.stderr.decode("utf-8").splitlines()
             if line.startswith("qzagent: ") and not line.startswith("qzagent: note: ")]
    if (result.returncode != 0) != bool(lines):
        yield f"ended with {result.returncode} and the errors {lines[:3]}"
    if call in HBA_CALLS:
        patterns = [rf".* \({status_of(call, answer)}\).* in call \d+, {call}"] * len(lines)
    else:
        patterns = [f"qzagent: {pattern}" for pattern in expected_vqm_errors(call, answer, verb)]
    if len(patterns) != len(lines) or not all(map(re.fullmatch, patterns, lines)):
        yield f"the errors do not name the cause: {lines[:3]}"


def problems_of_causes(call, answer, verb, result):
    """The errors name the call and its answer as their causes."""
    status = status_of(call, answer)
    causes = [(error["cause"]["function"], error["cause"]["status"]) if "cause" in error else error["text"]
              for error in errors_in(result)]
    if any(cause != (call, status) for cause in causes):
        yield f"the causes are not status {status} of {call}: {causes}"
    if answer == "HBA_STATUS_ERROR" and bool(causes) != (verb in NEED[call]):
        yield f"has {len(causes)} errors"


class FaultSweep(unittest.TestCase):
    def sweep(self, calls, answers, verbs):
        runs = [(call, answer, verb) for call in calls for answer in answers for verb in verbs]
        self.run_all(check, runs[::SANITIZED_STEP] if IS_SANITIZED else runs)

    def run_all(self, checked, runs):
        self.assertGreater(len(runs), 0)
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            for (call, answer, verb), found in zip(runs, pool.map(lambda one: checked(*one), runs)):
                with self.subTest(call=call, answer=answer, verb=" ".join(verb)):
                    self.assertEqual([], found)

    def test_no_verb_fails_without_a_fault(self):
        for scenario, verbs in ((SCENARIO, HBA_VERBS), (BOARDS, VQM_VERBS)):
            for verb in verbs:
                with self.subTest(verb=" ".join(verb)):
                    self.assertEqual(0, run(scenario, verb).returncode)

    def test_both_styles_of_luns_give_the_same_luns(self):
        document = json.loads(run(SCENARIO, INVENTORY, "--json").stdout)
        luns = [adapter["ports"][0]["remote_ports"][0]["mapped_luns"] for adapter in document["adapters"]]
        self.assertEqual(luns, [[0, 300]] * 2)

    def test_knows_every_status_of_the_simulator(self):
        source = (ROOT / "simulator/scenario/Statuses.cpp").read_text("utf-8")
        self.assertEqual(set(STATUSES), set(re.findall(r'\{"(HBA_STATUS_[A-Z0-9_]+)"', source)))

    def test_no_verb_makes_another_call(self):
        for index, call in enumerate(OTHER_CALLS):
            verb = HBA_VERBS[index % len(HBA_VERBS)]
            with self.subTest(call=call, verb=" ".join(verb)):
                self.assertEqual(0, run(faulty(call, "HBA_STATUS_ERROR"), verb).returncode)

    def test_every_status_of_every_hba_call_in_every_verb(self):
        self.sweep(HBA_CALLS, STATUSES, HBA_VERBS)

    def test_every_result_of_every_diagnostic_call_in_every_verb(self):
        self.sweep(VQM_CALLS, RESULTS, VQM_VERBS)

    def test_an_answer_of_every_call_in_every_verb_that_writes_text(self):
        for calls, answers, verbs in ((HBA_CALLS, STATUSES, HBA_VERBS), (VQM_CALLS, RESULTS, VQM_VERBS)):
            pairs = [(call, verb) for call in calls for verb in verbs]
            # Each pair has another answer, so that all answers occur.
            self.run_all(check_text, [(call, answers[index % len(answers)], verb)
                                      for index, (call, verb) in enumerate(pairs)])


if __name__ == "__main__":
    unittest.main()
