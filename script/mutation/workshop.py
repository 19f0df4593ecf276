"""A copy of the tree with its own build, where mutants are built and tested."""

import hashlib
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import time
from dataclasses import dataclass
from functools import partial
from pathlib import Path

from plan import FOLDERS

# A mutant may allocate or write without limit.
_MEMORY_LIMIT = 4 << 30
_FILE_LIMIT = 256 << 20
# Time limit of a process test, as in the test presets.
_TEST_SECONDS = 600
# Time limit of a mutant, relative to the unchanged code.
_PATIENCE_FACTOR = 5
_PATIENCE_SECONDS = 15
# The whole-process tests mostly wait.
_WAITING_FOR_EACH_JOB = 3

_PROCESS_TESTS = "the whole-process tests"


class UnfitTree(Exception):
    """The unchanged code does not build, or its tests fail."""


class Unbuildable(Exception):
    """A mutant does not compile."""


@dataclass(frozen=True)
class Outcome:
    how: str  # "unit", "process", "time" or "survived"
    by: str  # what killed it


@dataclass
class TestProgram:
    path: str  # in the build folder
    command: list
    folder: str
    digest: str = ""
    seconds: float = 0

    @property
    def patience(self):
        return _PATIENCE_SECONDS + _PATIENCE_FACTOR * self.seconds


class _Killed(Exception):
    def __init__(self, how, by):
        super().__init__(by)
        self.outcome = Outcome(how, by)


def _output_of(command, folder):
    return subprocess.run(command, cwd=folder, check=True, capture_output=True, text=True).stdout


def _limit_resources():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_AS, (_MEMORY_LIMIT, _MEMORY_LIMIT))
    resource.setrlimit(resource.RLIMIT_FSIZE, (_FILE_LIMIT, _FILE_LIMIT))


class Workshop:
    def __init__(self, root, jobs):
        self.root = root
        self.copy = root / "build/mutate"
        self.build = self.copy / "build/mutants"
        self.jobs = jobs
        self.log = self.copy / "build/log"
        self.passed = self.build / "passed"
        self.dirty = None

    # Preparation.

    def prepare(self):
        """Builds the unchanged code, and runs its tests unless it has passed before."""
        fingerprint = self._copy_tree()
        self._configure()
        if self._run(["ninja", "-j", str(self.jobs)], self.build).returncode != 0:
            raise UnfitTree(f"the code doesn't build, see {self.log}")
        self._list_tests()
        seconds = self._passed_before(fingerprint) or self._run_all_tests()
        self.passed.write_text(json.dumps({"code": fingerprint, "seconds": seconds}))
        for program in self.programs:
            program.digest = self._digest(program)
            program.seconds = seconds[program.path]
        self.programs.sort(key=lambda program: program.seconds)
        self.process_seconds = seconds[_PROCESS_TESTS]

    def _passed_before(self, fingerprint):
        passed = json.loads(self.passed.read_text()) if self.passed.exists() else {}
        return passed.get("seconds") if passed.get("code") == fingerprint else None

    def _run_all_tests(self):
        """Returns the time of each program, and of all whole-process tests together."""
        runs = {
            program.path: partial(self._run, program.command, program.folder, limited=True)
            for program in self.programs
        } | {_PROCESS_TESTS: self._run_process_tests}
        return {name: self._time(name, run) for name, run in runs.items()}

    def _time(self, name, run):
        began = time.monotonic()
        if run().returncode != 0:
            raise UnfitTree(f"{name} failed before any mutation, see {self.log}")
        return time.monotonic() - began

    def _copy_tree(self):
        """Copies the tree, changing only what differs. Returns a fingerprint."""
        listing = ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"]
        names = _output_of(listing, self.root).split("\0")
        wanted = {name for name in names if name and (self.root / name).is_file()}
        self.copy.mkdir(parents=True, exist_ok=True)
        for path in self.copy.rglob("*"):
            name = str(path.relative_to(self.copy))
            if path.is_file() and not name.startswith("build/") and name not in wanted:
                path.unlink()
        fingerprint = hashlib.sha256()
        for name in sorted(wanted):
            source, target = self.root / name, self.copy / name
            target.parent.mkdir(parents=True, exist_ok=True)
            content = source.read_bytes()
            if not target.exists() or content != target.read_bytes():
                target.write_bytes(content)
            shutil.copymode(source, target)
            if not name.endswith(".md") and not name.startswith("script/"):
                fingerprint.update(f"{name} {len(content)}\n".encode() + content)
        return fingerprint.hexdigest()

    def _configure(self):
        self.log.parent.mkdir(parents=True, exist_ok=True)
        # With -O1 tests take a tenth of the time without optimisation, and compiling takes no
        # longer. -w: a mutant with a warning must still be built.
        configure = [
            "cmake", "-S", ".", "-B", self.build, "-G", "Ninja",
            "-DCMAKE_BUILD_TYPE=RelWithDebInfo", "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -w",
        ]  # fmt: skip
        if self._run(configure, self.copy).returncode != 0:
            raise UnfitTree(f"the code can't be configured, see {self.log}")

    def _list_tests(self):
        """Finds the unit test programs that link sources of the mutated folders."""
        listing = ["ctest", "--show-only=json-v1", "--label-regex", "^unit$"]
        programs = {}
        for test in json.loads(_output_of(listing, self.build))["tests"]:
            path = os.path.relpath(test["command"][0], self.build)
            if path.startswith("..") or path in programs:
                continue
            command, folder = test["command"], self.build
            if any(word.startswith("--gtest_filter=") for word in command):
                command = [command[0], "--gtest_fail_fast"]
            for each in test["properties"]:
                folder = each["value"] if each["name"] == "WORKING_DIRECTORY" else folder
            programs[path] = TestProgram(path, command, folder)
        self.sources = {path: self._sources_of(path) for path in programs}
        self.programs = [
            programs[path]
            for path, sources in self.sources.items()
            if any(os.path.dirname(source) in FOLDERS for source in sources)
        ]

    def _sources_of(self, program):
        lines = _output_of(["ninja", "-t", "inputs", program], self.build).splitlines()
        inputs = (os.path.join(self.build, line) for line in lines)
        return {os.path.relpath(path, self.copy) for path in inputs if path.endswith(".cc")}

    def _digest(self, program):
        return hashlib.sha256((self.build / program.path).read_bytes()).hexdigest()

    # A mutant.

    def try_mutant(self, mutant):
        """Builds a mutant and runs the tests. Raises Unbuildable if it does not compile."""
        self._write(mutant)
        own = Path(mutant.path).with_suffix("")
        own_test = f"{own}_test.cc"
        own_programs = [each for each in self.programs if own_test in self.sources[each.path]]
        others = [each for each in self.programs if each not in own_programs]
        try:
            # The tests beside the source kill most mutants, so the other programs are linked later.
            for programs in (own_programs, others):
                self._test_programs(programs)
            self._test_processes()
        except _Killed as killed:
            return killed.outcome
        return Outcome("survived", "")

    def _write(self, mutant):
        """Writes the mutant. Restores the previous source only if it is another file."""
        if self.dirty is not None and self.dirty.path != mutant.path:
            self.restore()
        (self.copy / mutant.path).write_text(mutant.text)
        self.dirty = mutant

    def restore(self):
        if self.dirty is not None:
            (self.copy / self.dirty.path).write_text(self.dirty.source.text)
        self.dirty = None

    def _build(self, targets, how):
        result = self._run(["ninja", "-j", str(self.jobs), *targets], self.build)
        if result.returncode == 0:
            return
        output = self.log.read_text(errors="replace")
        # CMake runs a program after linking it, to list its tests.
        if "Error running test executable" not in output:
            raise Unbuildable
        raise _Killed(how, "the listing of the tests")

    def _test_programs(self, programs):
        if not programs:
            return
        self._build([program.path for program in programs], "unit")
        for program in programs:
            # An unchanged program does not contain the mutant.
            if self._digest(program) != program.digest:
                self._test_program(program)

    def _test_program(self, program):
        result = self._run(program.command, program.folder, program.patience, limited=True)
        if result.returncode is None:
            raise _Killed("time", self._last_case() or program.path)
        if result.returncode != 0:
            raise _Killed("unit", self._last_case() or program.path)

    def _last_case(self):
        """Returns the case that failed, or that ran when the program ended."""
        output = self.log.read_text(errors="replace")
        # Cases after a failure are started and skipped.
        cases = re.findall(r"^\[  FAILED  \] ([^\s,]+)", output, re.MULTILINE)[:1] or re.findall(
            r"^\[ RUN      \] (\S+)", output, re.MULTILINE
        )
        return cases[-1] if cases else ""

    def _test_processes(self):
        self._build([], "process")
        patience = _PATIENCE_SECONDS + _PATIENCE_FACTOR * self.process_seconds
        result = self._run_process_tests(patience)
        if result.returncode is None:
            raise _Killed("time", _PROCESS_TESTS)
        if result.returncode == 0:
            return
        output = self.log.read_text(errors="replace")
        failed = re.findall(r"^\s*\d+ - (\S+) \((.*?)\)", output, re.MULTILINE)
        failed = [each for each in failed if each[1] != "Not Run"] or [(_PROCESS_TESTS, "")]
        name, reason = failed[0]
        raise _Killed("time" if reason == "Timeout" else "process", name)

    def _run_process_tests(self, patience=None):
        # A test that is late on a busy machine is repeated, and kills no mutant.
        return self._run(
            ["ctest", "--label-regex", "^process$", "--stop-on-failure", "--repeat", "until-pass:2",
             "--timeout", str(_TEST_SECONDS),
             "--parallel", str(self.jobs * _WAITING_FOR_EACH_JOB)],
            self.build, patience,
        )  # fmt: skip

    def _run(self, command, folder, patience=None, limited=False):
        """Runs a command with its output in the log. A return code of None is a timeout."""
        with open(self.log, "wb") as log:
            process = subprocess.Popen(
                command, cwd=folder, stdin=subprocess.DEVNULL, stdout=log,
                stderr=subprocess.STDOUT, start_new_session=True,
                preexec_fn=_limit_resources if limited else None,
            )  # fmt: skip
            try:
                process.wait(patience)
                return subprocess.CompletedProcess(command, process.returncode)
            except subprocess.TimeoutExpired:
                return subprocess.CompletedProcess(command, None)
            finally:
                _end_group(process)


def _end_group(process):
    """Kills the remaining processes of a command, and the command if it timed out."""
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()
