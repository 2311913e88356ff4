"""Every verb under every failing call: the agent ends properly, its JSON is valid, and its messages name the cause."""

import concurrent.futures
import json
import pathlib
import re
import subprocess
import tempfile
import threading
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
INTERVALS = (*LATENCY, "--interval", "3600")
HBA_VERBS = (("adapters",), ("ports",), INVENTORY, LUNS, ("statistics",), LATENCY, INTERVALS)
COUNTING = ("statistics", "--interval", "1", "--count", "1")
WATCH = ("watch", "--seconds", "1", "--count", "1", "--output", "/dev/null")
VQM_VERBS = (("vendor",), WATCH, (*WATCH, "--plain"))
BUNDLE = ("bundle", "--seconds", "1", "--output")

SECONDS = 60  # a run that takes longer hangs

# The verbs that make each call. They fail if it returns an error, except when the library is freed.
READING, MEASURING = HBA_VERBS[:5], HBA_VERBS[5:]
CALLERS = {
    "HBA_LoadLibrary": HBA_VERBS,
    "HBA_FreeLibrary": HBA_VERBS,
    "HBA_GetAdapterName": HBA_VERBS,
    "HBA_OpenAdapter": HBA_VERBS,
    "HBA_GetAdapterAttributes": READING,
    "HBA_GetAdapterPortAttributes": READING,
    "HBA_GetDiscoveredPortAttributes": (("ports",), INVENTORY, LUNS),
    "HBA_GetPortStatistics": (("statistics",),),
    "HBA_GetFcpTargetMapping": (("ports",), INVENTORY, LUNS, *MEASURING),
    "HBA_SendReportLUNs": (INVENTORY, LUNS, *MEASURING),
    "HBA_SendScsiInquiry": (LUNS,),
    "HBA_SendReadCapacity": (LUNS,),
}
HARMLESS = "HBA_FreeLibrary"

# Answers that are wrong although their status is right: the call, the keys of the fault, and a pattern for each error. No
# pattern where the answer is credible.
WITHOUT_DATA = r"HBA_STATUS_OK \(0\) without data in call \d+, {}"
UNCHANGED = r"no answer, the HBA library left the buffer unchanged \(code 802\): HBA_STATUS_OK \(0\) in call \d+, {}"
IMPLAUSIBLE = r"implausible number of {}: 4294967295 \(at most \d+\)"
MORE_DATA = 'status = "HBA_STATUS_ERROR_MORE_DATA"\ncount = '
WRONG_ANSWERS = (
    *((call, "untouched = true", WITHOUT_DATA.format(call))
      for call in ("HBA_GetAdapterAttributes", "HBA_GetAdapterPortAttributes", "HBA_GetDiscoveredPortAttributes",
                   "HBA_GetFcpTargetMapping", "HBA_GetPortStatistics")),
    *((call, "untouched = true", UNCHANGED.format(call))
      for call in ("HBA_SendReportLUNs", "HBA_SendScsiInquiry", "HBA_SendReadCapacity")),
    ("HBA_GetAdapterAttributes", "count = 4294967295", IMPLAUSIBLE.format("ports")),
    ("HBA_GetAdapterAttributes", "count = 3", r"HBA_STATUS_ERROR_ILLEGAL_INDEX \(6\)"),
    ("HBA_GetAdapterAttributes", "count = 0", r"ZERO Ports on the Adapter"),
    ("HBA_GetAdapterPortAttributes", "count = 0", None),
    *(("HBA_GetFcpTargetMapping", MORE_DATA + str(count), f"asked for an implausible number of mappings, {count} after room for ")
      for count in (0, 1, 256, 1000000, 4294967295)),
    *(("HBA_GetFcpTargetMapping", f"count = {count}", None) for count in (0, 1)),
    ("HBA_GetFcpTargetMapping", "count = 4294967295", "254 of 256 target mappings name no port"),
    ("HBA_GetFcpTargetMapping", "entries = 1", "1 of 2 target mappings name no port"),
    ("HBA_GetFcpTargetMapping", "garbage = true", None),
    ("HBA_SendReportLUNs", "list_length = 4294967295", r"implausible list of 4294967295 bytes"),
    ("HBA_SendReportLUNs", "list_length = 7", r"malformed list of 7 bytes"),
    ("HBA_SendReportLUNs", "missing = 1", None),
    ("HBA_SendReportLUNs", "length = 3", r"short answer, 3 of 4 bytes"),
    ("HBA_SendReportLUNs", "length = 12", r"short answer, 12 of 24 bytes"),
    ("HBA_SendScsiInquiry", "length = 5", r"short answer, 5 of 36 bytes"),
    ("HBA_SendReadCapacity", "length = 5", r"short answer, 5 of 8 bytes"),
)

HBA_CALLS = list(CALLERS)

# The common library returns no status of the HBA library from these calls.
WITHOUT_STATUS = ("HBA_LoadLibrary", "HBA_OpenAdapter")


def validators():
    """The validator of each document, which needs the file of its schema only."""
    found = {}
    for path in SCHEMAS.glob("*.schema.json"):
        schema = json.loads(path.read_text(encoding="utf-8"))
        found[path.name.split(".")[0]] = jsonschema.Draft202012Validator(schema)
    return found


VALIDATORS = validators()

# A validator resolves the references of a schema with a state of its own, so one thread at a time may use it.
VALIDATING = threading.Lock()


NOTHING_TO_WATCH = "nothing to watch: no board is registered"


# Programs with sanitizers start slowly, so only a part of the sweep runs on them. The step is prime, so that it meets
# every call, every answer and every verb.
IS_SANITIZED = b"__asan_init" in pathlib.Path(QZAGENT).read_bytes()
SANITIZED_STEP = 11

# How many runs wait at the same time.
WAITING = 8


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
        return [r"VQM_InitDiagEnv failed \(-1\)"]
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
        return [rf"board {board}: {register} refused the registration with result {result}" for board in (0, 1)] + \
            [NOTHING_TO_WATCH]
    if call == unregister and watches:
        return [rf"board {board}: {unregister} refused the unregistration with result {result}" for board in (0, 1)]
    return []


def simulated():
    """The environment in which qzsim starts programs, so that the sweep starts it only once."""
    with tempfile.NamedTemporaryFile("w", suffix=".toml") as file:
        result = subprocess.run([QZSIM, "--scenario", file.name, "--", "env", "-0"], capture_output=True, text=True,
                                check=True, timeout=SECONDS)
    return dict(line.split("=", 1) for line in result.stdout.split("\0") if line)


ENVIRONMENT = simulated()


def fault(call, answer):
    key = "result" if call in VQM_CALLS else "status"
    return fault_with(call, f"{key} = {json.dumps(answer)}")


def fault_with(call, keys):
    return f'\n[[fault]]\ncall = "{call}"\nnth = "1+"\n{keys}\n'


def run(scenario, verb, *options):
    with tempfile.NamedTemporaryFile("w", suffix=".toml") as file:
        file.write(scenario)
        file.flush()
        return subprocess.run([QZAGENT, *options, *verb], env=ENVIRONMENT | {"QZSIM_SCENARIO": file.name},
                              capture_output=True, check=False, timeout=SECONDS)


def base_of(call):
    return BOARDS if call in VQM_CALLS else SCENARIO


def faulty(call, answer):
    return base_of(call) + fault(call, answer)


def schema_of(verb):
    return f"{verb[0]}-interval" if "--interval" in verb else verb[0]


def check(call, answer, verb):
    """Runs a verb while each call of a kind fails.

    Returns what is wrong with the run, one text each."""
    result = run(faulty(call, answer), verb, "--json")
    found = list(problems_of_document(verb, result))
    if not found and call in HBA_CALLS and "--interval" not in verb:
        found = list(problems_of_causes(call, answer, verb, result))
    return found or list(problems_of_text(call, answer, verb, result))


def check_text(call, answer, verb):
    """The same for a run that writes text."""
    result = run(faulty(call, answer), verb)
    if result.returncode not in (0, 1):
        return [f"ended with {result.returncode}"]
    return list(problems_of_text(call, answer, verb, result))


def check_wrong_answer(call, keys, pattern, verb):
    """The same for a call that succeeds with a wrong answer."""
    result = run(SCENARIO + fault_with(call, keys), verb, "--json")
    found = list(problems_of_document(verb, result))
    lines = error_lines(result)
    if bool(lines) != (pattern is not None) or result.returncode != bool(lines):
        found.append(f"ended with {result.returncode} and the errors {lines[:3]}")
    if pattern is not None and not all(re.search(pattern, line) for line in lines):
        found.append(f"the errors do not name the cause: {lines[:3]}")
    return found


def check_bundle(call, answer):
    """A bundle, whose verbs run in their own processes, has the errors of all of them."""
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "visit.pcapng"
        result = run(faulty(call, answer), (*BUNDLE, path), "--json")
        found = list(problems_of_document(("bundle",), result))
        if not path.exists():
            found.append("wrote no file")
    if bool(result.returncode) != bool(error_lines(result)):
        found.append(f"ended with {result.returncode} and the errors {error_lines(result)[:3]}")
    return found


def check_metrics(call, answer):
    """The verbs of metrics run in their own processes. The metrics name the call that failed, and have the other verbs."""
    verb = ("metrics", "--latency", "--per-lun")
    result = run(faulty(call, answer), verb, "--json")
    found = list(problems_of_document(verb, result))
    if bool(result.returncode) != bool(error_lines(result)):
        found.append(f"ended with {result.returncode} and the errors {error_lines(result)[:3]}")
    if not found:
        metrics = json.loads(result.stdout)["metrics"]
        failed = set(re.findall(r'^qzagent_look_success{verb="(\w+)"} 0$', metrics, re.M))
        expected = {caller[0] for caller in CALLERS[call]} if call != HARMLESS else set()
        if failed != expected or metrics.count("\nqzagent_look_success{") != 5:
            found.append(f"the verbs {failed} failed, not {expected}")
        failures = rf'^qzagent_look_failures_total{{verb="\w+",call="{call}"}} [1-9]\d*$'
        if len(re.findall(failures, metrics, re.M)) != len(failed):
            found.append("the metrics do not name the call")
    return found


def problems_of_document(verb, result):
    if result.returncode not in (0, 1):
        yield f"ended with {result.returncode}: {result.stderr.decode('utf-8', 'replace')[-300:]}"
        return
    is_whole = "--interval" not in verb
    try:
        texts = [result.stdout] if is_whole else result.stdout.splitlines()
        documents = list(map(json.loads, texts))
    except ValueError as error:
        yield f"wrote no JSON: {error}"
        return
    for document in documents:
        with VALIDATING:
            errors = list(VALIDATORS[schema_of(verb)].iter_errors(document))
        for error in errors:
            yield f"the document breaks its schema at {list(error.absolute_path)}: {error.message[:200]}"
        if is_whole and document["exit_status"] != result.returncode:
            yield f"ended with {result.returncode}, and the document says {document['exit_status']}"


def errors_in(result):
    return [message for message in json.loads(result.stdout)["messages"] if message["severity"] == "error"]


def error_lines(result):
    """The common library of the HBA API writes lines of its own."""
    return [line for line in result.stderr.decode("utf-8").splitlines()
            if line.startswith("qzagent: ") and not line.startswith("qzagent: note: ")]


def status_of(call, answer):
    """The status that the agent sees."""
    return 1 if call in WITHOUT_STATUS and answer != "HBA_STATUS_OK" else STATUSES.index(answer)


def problems_of_text(call, answer, verb, result):
    """The messages name the cause, and there is one if the exit code is 1."""
    lines = error_lines(result)
    if (result.returncode != 0) != bool(lines):
        yield f"ended with {result.returncode} and the errors {lines[:3]}"
    if call in HBA_CALLS:
        patterns = [rf".* \({status_of(call, answer)}\).* in call \d+, {call}"] * len(lines)
        if answer == "HBA_STATUS_ERROR" and bool(lines) != (call != HARMLESS):
            yield f"has {len(lines)} errors"
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


class FaultSweep(unittest.TestCase):
    def run_all(self, checked, runs, workers=2):
        self.assertGreater(len(runs), 0)
        with concurrent.futures.ThreadPoolExecutor(workers) as pool:
            for arguments, found in zip(runs, pool.map(lambda one: checked(*one), runs)):
                with self.subTest(run=" ".join(map(str, arguments))):
                    self.assertEqual([], found)

    def sweep(self, runs):
        # The runs that wait for a busy adapter come first, beside others.
        runs = sorted(runs, key=lambda run: run[1] != "HBA_STATUS_ERROR_BUSY")
        self.run_all(check, runs[::SANITIZED_STEP] if IS_SANITIZED else runs, WAITING)

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
        """An error of a call that the verb does not make changes nothing, so one status is enough."""
        for verb in HBA_VERBS:
            scenario = SCENARIO + "".join(fault(call, "HBA_STATUS_ERROR") for call in CALLS
                                          if call.startswith("HBA_") and verb not in CALLERS.get(call, ()))
            with self.subTest(verb=" ".join(verb)):
                self.assertEqual(0, run(scenario, verb).returncode)

    def test_every_status_of_every_hba_call_in_every_verb_that_makes_it(self):
        self.sweep([(call, answer, verb) for call, verbs in CALLERS.items() for answer in STATUSES for verb in verbs])

    def test_every_result_of_every_diagnostic_call_in_every_verb(self):
        self.sweep([(call, answer, verb) for call in VQM_CALLS for answer in RESULTS for verb in VQM_VERBS])

    def test_an_answer_of_every_call_in_every_verb_that_writes_text(self):
        for calls, answers, verbs in ((CALLERS, STATUSES, HBA_VERBS), (VQM_CALLS, RESULTS, VQM_VERBS)):
            pairs = [(call, verb) for call in calls for verb in verbs if verb in CALLERS.get(call, verbs)]
            # Each pair has another answer, so that all answers occur.
            self.run_all(check_text, [(call, answers[index % len(answers)], verb)
                                      for index, (call, verb) in enumerate(pairs)])

    def test_every_wrong_answer_of_every_hba_call_in_every_verb_that_makes_it(self):
        self.run_all(check_wrong_answer, [(*answer, verb) for answer in WRONG_ANSWERS for verb in CALLERS[answer[0]]])

    def test_every_hba_call_of_statistics_that_are_read_again(self):
        # Each run waits for its interval.
        calls = [call for call, verbs in CALLERS.items() if ("statistics",) in verbs]
        self.run_all(check, [(call, "HBA_STATUS_ERROR", COUNTING) for call in calls], WAITING)

    def test_every_call_in_a_bundle(self):
        # Each run with boards waits for events.
        answers = [(call, "HBA_STATUS_ERROR") for call in CALLERS] + [(call, 1) for call in VQM_CALLS]
        self.run_all(check_bundle, answers[::SANITIZED_STEP] if IS_SANITIZED else answers, WAITING)

    def test_every_hba_call_in_metrics(self):
        # The verb inventory reads no logical units here.
        answers = [(call, "HBA_STATUS_ERROR") for call, verbs in CALLERS.items() if verbs != (LUNS,)]
        self.run_all(check_metrics, answers[::SANITIZED_STEP] if IS_SANITIZED else answers)


if __name__ == "__main__":
    unittest.main()
