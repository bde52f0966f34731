#!/usr/bin/env python3
"""Writes hand-made faults into src/ and runs the tests against each: all of them have to be caught.

tests/mutants/FOLDER/FILE.mutants lists the faults of src/FOLDER/FILE; docs/mutation.md tells how.
One build in build/mutation holds them all, and MVLPFX_MUTANT chooses one by its number. A fault is
caught where a test fails, crashes or does not end in time. Exits with 1 where one is not caught, a
listed place is not in the source, or the tests fail without a fault.
"""

import argparse
import concurrent.futures
import functools
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import zlib
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
LISTS = ROOT / "tests" / "mutants"
WORK = ROOT / "build" / "mutation"
TREE = WORK / "tree"
BUILD = WORK / "build"
COPIED = [
    "CMakeLists.txt", "cmake", "include", "platform", "provider", "src", "tools", "tests", "fuzz",
    "packaging", "docs",
]
FEWEST = 10

# The programs of a folder's unit tests, and those asked where none of them fails. A program may be
# followed by its arguments and by variables of its environment.
LOCALES = [
    f"foundation_text_tests --gtest_filter=UserLocaleText.{test} LC_ALL={locale}"
    for locale, test in [("ru_RU.KOI8-R", "InKoi8r"), ("ru_RU.CP1251", "InWindows1251"),
                         ("C.UTF-8", "InUtf8")]
] + ["foundation_text_tests --gtest_filter=StringUtils.* LC_ALL=ru_RU.CP1251"]
UNIT = {
    "foundation": ["foundation_tests", "foundation_text_tests",
                   "foundation_code_page_failure_tests", "foundation_code_page_tests", *LOCALES],
    "derlist": ["derlist_tests"],
    "asn": ["asn_tests", "asn_tests --gtest_filter=*InKoi8r LC_ALL=ru_RU.KOI8-R"],
    "schema": ["schema_tests"],
    "pfxcrypto": ["pfxcrypto_test", "pfxcrypto_code_page_test"],
    "pfxexport": ["pfxexport_test"],
    "pfximport": ["pfximport_test", "restore_test"],
    "log": ["log_tests"],
    "module": ["module_test", "create_pfx_test", "registration_test", "module_log_test"],
}
# Their tests need a process each.
ONE_BY_ONE = {"module_log_test"}
DOCUMENTS = ["past_defects_test", "hostile_documents_test"]
FURTHER = {
    "foundation": ["asn_tests", "schema_tests", "pfxcrypto_test", *DOCUMENTS],
    "derlist": ["pfximport_test", *DOCUMENTS],
    "asn": ["schema_tests", *DOCUMENTS],
    "schema": ["pfxexport_test", "pfximport_test", *DOCUMENTS],
    "pfxcrypto": ["pfxexport_test", "pfximport_test", "restore_test", *DOCUMENTS],
    "pfxexport": ["create_pfx_test", "create_documents_test", "create_faults_test"],
    "pfximport": ["module_test", "restore_faults_test", *DOCUMENTS],
    "log": ["module_log_test", "module_load_test", "log_thread_tests", "log_processes_test"],
    "module": ["module_load_test", "create_documents_test", *DOCUMENTS],
}


class ListError(Exception):
    """A list of faults that says something the source does not bear out."""


@dataclass
class Fault:
    source: str  # below src/
    index: int  # in its list, from 1
    line: int
    original: str
    changed: str
    anchor: str = ""
    number: int = 0

    @property
    def name(self):
        return f"{self.source}:{self.index}"


@dataclass
class Source:
    path: str
    faults: list = field(default_factory=list)
    few: str = ""


def read_list(path):
    """Faults stand between empty lines: '-' the text, '+' what takes its place, '@' text before it."""
    source = Source(str(path.relative_to(LISTS))[: -len(".mutants")])
    parts = {"-": [], "+": [], "@": []}
    first = 0

    def finish():
        if not any(parts.values()):
            return
        if not parts["-"] or not parts["+"]:
            raise ListError(f"{path}:{first}: a fault has lines with - and with +")
        texts = {mark: "\n".join(lines).strip() for mark, lines in parts.items()}
        index = len(source.faults) + 1
        source.faults.append(
            Fault(source.path, index, first, texts["-"], texts["+"], texts["@"])
        )
        for lines in parts.values():
            lines.clear()

    for number, line in enumerate(path.read_text().splitlines(), 1):
        if not line.strip():
            finish()
        elif line.startswith("few:"):
            source.few = line[4:].strip()
        elif line[0] in parts:
            if not any(parts.values()):
                first = number
            parts[line[0]].append(line[1:])
        elif not line.startswith("#"):
            raise ListError(f"{path}:{number}: starts with none of - + @ #")
    finish()
    return source


def read_lists():
    return [read_list(path) for path in sorted(LISTS.glob("*/*.mutants"))]


def number_faults(sources):
    """By the file's name, so that a fault more leaves the numbers of other files as they are."""
    first = {}
    for source in sources:
        number = zlib.crc32(source.path.encode()) % 2_000_000 * 1000
        if first.setdefault(number, source.path) != source.path:
            raise ListError(f"{source.path} and {first[number]} have the same numbers")
        for fault in source.faults:
            fault.number = number + fault.index


LITERAL = re.compile(r'"(?:\\.|[^"\\\n])*"')


def blank_literals(text):
    """The text with comments and literals overwritten by spaces, of the same length."""
    token = re.compile(
        r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|(?<![0-9A-Fa-f])\'(?:\\.|[^\'\\\n])+\'', re.DOTALL
    )
    return token.sub(lambda match: re.sub(r"[^\n]", " ", match.group()), text)


def function_bodies(text):
    """Spans between the braces of the functions that stand in no other function."""
    plain = blank_literals(text)
    plain = re.sub(r"(?m)^[ \t]*#.*$", lambda match: " " * len(match.group()), plain)
    bodies = []
    stack = []  # for each open brace whether functions may stand inside it, or where a body starts
    head = 0
    for at, character in enumerate(plain):
        inside = stack and stack[-1] is not True
        if character == "{":
            if inside:
                stack.append(False)
                continue
            before = plain[head:at].strip()
            is_scope = re.search(r"\b(namespace|class|struct|union|extern)\b", before) and not (
                before.endswith(")") or re.search(r"\)\s*(const|noexcept|override)\b", before)
            )
            if is_scope and "=" not in before:
                stack.append(True)
                head = at + 1
            elif re.search(r"(\)|\bconst|\bnoexcept|\boverride|\})$", before) and "=" not in (
                re.sub(r"operator\s*[=!<>]+|\([^()]*(\([^()]*\)[^()]*)*\)|<[^;]*>", "", before)
            ):
                stack.append(at + 1)
            else:
                stack.append(False)
        elif character == "}":
            opened = stack.pop()
            if opened is not True and opened is not False:
                bodies.append((opened, at))
            if not stack or stack[-1] is True:
                # A member initialised with braces belongs to the head of its constructor.
                if opened is not False:
                    head = at + 1
        elif character == ";" and not inside:
            head = at + 1
    return bodies


def find(text, fault):
    """Where the fault's text stands, white space aside."""
    def pattern(words):
        return re.compile(r"\s+".join(re.escape(word) for word in words.split()))

    start = 0
    if fault.anchor:
        anchors = list(pattern(fault.anchor).finditer(text))
        if len(anchors) != 1:
            raise ListError(f"{fault.name}: '{fault.anchor}' stands there {len(anchors)} times")
        start = anchors[0].start()
    places = list(pattern(fault.original).finditer(text, start))
    if not places or (len(places) > 1 and not fault.anchor):
        raise ListError(f"{fault.name}: '{fault.original}' stands there {len(places)} times")
    return places[0].span()


def is_balanced(expression):
    plain = blank_literals(expression)
    return all(plain.count(left) == plain.count(right) for left, right in ("()", "{}"))


def value_that_differs(original, changed):
    """Of two definitions the values in them, as (characters before, value, other value)."""
    literals = [literal.span() for literal in LITERAL.finditer(original)]
    before = len(os.path.commonprefix([original, changed]))
    while before > 0 and (not re.search(r"(=|[({,])\s*$", original[:before])
                          or any(start < before < end for start, end in literals)):
        before -= 1
    left, right = original[before:], changed[before:]
    after = len(os.path.commonprefix([left[::-1], right[::-1]]))
    while after > 0 and not (
        re.match(r"\s*[)},;]", left[len(left) - after:])
        and all(is_balanced(one[:len(one) - after]) for one in (left, right))
    ):
        after -= 1
    return before, left[:len(left) - after], right[:len(right) - after]


def write_faults(text, faults):
    """The source with all of its faults in it, each behind its number."""
    bodies = function_bodies(text)
    in_bodies = {}
    outside = {}
    errors = []
    for fault in faults:
        try:
            begin, end = find(text, fault)
        except ListError as error:
            errors.append(str(error))
            continue
        body = next((span for span in bodies if span[0] <= begin and end <= span[1]), None)
        if body is not None:
            variant = text[body[0]:begin] + fault.changed + text[end:body[1]]
            in_bodies.setdefault(body, []).append((fault, variant))
        elif any(span[0] < end and begin < span[1] for span in bodies):
            errors.append(f"{fault.name}: reaches over the end of a function")
        else:
            before, value, other = value_that_differs(text[begin:end], fault.changed)
            begin += before
            if any(literal.start() < begin < literal.end() for literal in LITERAL.finditer(text)):
                errors.append(f"{fault.name}: has part of a literal, outside of a function")
            outside.setdefault((begin, begin + len(value)), []).append((fault, other))
    if errors:
        raise ListError("\n".join(errors))

    edits = []
    for (begin, end), variants in in_bodies.items():
        branches = [f"if (::mutation::Active({fault.number})) {{{body}\n}} else "
                    for fault, body in variants]
        edits.append((begin, end, "\n" + "".join(branches) + "{" + text[begin:end] + "}\n"))
    for (begin, end), group in outside.items():
        value = f"({text[begin:end]})"
        for fault, other in group:
            value = f"(::mutation::IsChosen({fault.number}) ? ({other}) : {value})"
        edits.append((begin, end, value))
        # Chosen as the program starts, and an array of characters is then a pointer to them.
        head = text.rfind(";", 0, begin) + 1
        constant = re.search(r"constexpr( char (\w+)\[\])?", text[head:begin])
        if constant:
            name = constant.group(2)
            edits.append((head + constant.start(), head + constant.end(),
                          f"const char* const {name}" if name else "const"))

    edits = sorted(set(edits), reverse=True)
    for (later, _, _), (_, end, _) in zip(edits, edits[1:]):
        if end > later:
            raise ListError(f"{faults[0].source}: faults outside of functions overlap at "
                            f"'{text[later:later + 40]}'")
    for begin, end, changed in edits:
        text = text[:begin] + changed + text[end:]
    return '#include "mutant.h"\n' + text


def copy_tree(sources):
    """Brings the tree up to date, and leaves alone what is the same, so that a build is short."""
    wanted = {}
    for name in COPIED:
        path = ROOT / name
        files = [path] if path.is_file() else [entry for entry in path.rglob("*") if entry.is_file()]
        for file in files:
            if "__pycache__" not in file.parts:
                wanted[TREE / file.relative_to(ROOT)] = file.read_bytes()
    wanted[TREE / "src" / "mutant.h"] = (LISTS / "mutant.h").read_bytes()
    errors = []
    for source in sources:
        path = TREE / "src" / source.path
        if path not in wanted:
            errors.append(f"{source.path}: there is no such file in src/")
            continue
        try:
            wanted[path] = write_faults(wanted[path].decode(), source.faults).encode()
        except ListError as error:
            errors.append(str(error))
    if errors:
        raise ListError("\n".join(errors))
    for file in TREE.rglob("*"):
        if file.is_file() and file not in wanted:
            file.unlink()
    for path, content in wanted.items():
        if not path.exists() or path.read_bytes() != content:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(content)
            path.chmod(0o755 if content.startswith(b"#!") else 0o644)


def build(targets, jobs):
    subprocess.run(
        ["cmake", "-G", "Ninja", "-S", TREE, "-B", BUILD, "-DCMAKE_BUILD_TYPE=",
         "-DCMAKE_CXX_FLAGS=-O1 -w", "-DCMAKE_C_FLAGS=-O1 -w",
         "-DCMAKE_COMPILE_WARNING_AS_ERROR=OFF"],
        check=True, stdout=subprocess.DEVNULL,
    )
    log = WORK / "build.log"
    with log.open("w") as output:
        done = subprocess.run(["cmake", "--build", BUILD, "-j", str(jobs), "--target", *targets, "--", "-k", "0"],
                              stdout=output, stderr=subprocess.STDOUT, check=False)
    if done.returncode != 0:
        errors = [line for line in log.read_text().splitlines() if "error" in line]
        sys.exit("\n".join(errors[:30]) + f"\nthe build failed, see {log}")


def limit():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_DATA, (4 << 30, 4 << 30))


class Tests:
    """Runs the test programs, each with folders of its own for what it writes."""

    def __init__(self, is_unit_only):
        self.is_unit_only = is_unit_only
        self.suites = {}
        self.seconds = {}

    def command(self, line):
        words = line.split()
        variables = dict(word.split("=", 1) for word in words[1:] if not word.startswith("--"))
        options = [word for word in words[1:] if word.startswith("--")]
        return [str(BUILD / "bin" / words[0]), *options], variables

    def run(self, line, number=0):
        """What a program told (None where all its tests passed), and whether the fault ran."""
        command, variables = self.command(line)
        allowed = max(10.0, 8 * self.seconds.get(line, 60.0))
        with tempfile.TemporaryDirectory(prefix="mvlpfx-mutation-") as folder:
            told = Path(folder) / "reached"
            temporary = Path(folder) / "tmp"
            temporary.mkdir()
            environment = {**os.environ, **variables, "TMPDIR": str(temporary),
                           "HOME": str(temporary), "MVLPFX_MUTANT": str(number),
                           "MVLPFX_MUTANT_REACHED": str(told)}
            output = Path(folder) / "output"
            with output.open("wb") as out:
                process = subprocess.Popen(
                    [*command, "--gtest_fail_fast", "--gtest_color=no"], env=environment,
                    stdin=subprocess.DEVNULL, stdout=out, stderr=subprocess.STDOUT,
                    start_new_session=True, preexec_fn=limit, cwd=temporary)
                try:
                    code = process.wait(timeout=allowed)
                except subprocess.TimeoutExpired:
                    code = None
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                process.wait()
            reached = told.exists()
            text = output.read_bytes().decode(errors="replace")
        if code == 0:
            return None, reached, text
        failed = re.search(r"\[  FAILED  \] (\S+)", text)
        started = re.findall(r"\[ RUN      \] (\S+)", text)
        what = failed.group(1) if failed else started[-1] if started else line
        how = "" if failed else ", no end" if code is None else f", exit {code}"
        return what.rstrip(",") + how, reached, text

    def read_suites(self, programs):
        for line in programs:
            if len(line.split()) > 1:
                continue
            for suite in re.findall(r"(?m)^(\S+)\.(?:\s|$)", self.list_tests(line)):
                self.suites.setdefault(suite.split("/")[-1].split("/")[0], []).append((line, suite))

    def mirror(self, source):
        """The tests of the file's own name."""
        folder, name = source.split("/")
        path = ROOT / "tests" / "unit" / folder / (name.rsplit(".", 1)[0] + "_test.cpp")
        if not path.exists():
            return []
        names = set(re.findall(r"(?m)^(?:TYPED_)?TEST(?:_F|_P)?\((\w+),", path.read_text()))
        filters = {}
        for name in sorted(names):
            for program, suite in self.suites.get(name, []):
                if program in UNIT[folder]:
                    filters.setdefault(program, []).append(f"{suite}.*")
        return [f"{program} --gtest_filter={':'.join(suites)}"
                for program, suites in sorted(filters.items())]

    def stages(self, source):
        folder = source.split("/")[0]
        lines = []
        further = [] if self.is_unit_only else FURTHER[folder]
        for line in [*self.mirror(source), *UNIT[folder], *further]:
            program = line.split()[0]
            lines += self.tests_of(program) if program in ONE_BY_ONE else [line]
        return lines

    def tests_of(self, program):
        names = []
        suite = ""
        for line in self.list_tests(program).splitlines():
            if re.match(r"\S+\.", line):
                suite = line.split()[0]
            elif suite:
                names.append(suite + line.split()[0])
        return [f"{program} --gtest_filter={name}" for name in names]

    @functools.cache
    def list_tests(self, program):
        return subprocess.run([BUILD / "bin" / program, "--gtest_list_tests"], check=True,
                              capture_output=True, text=True).stdout


def check_baseline(tests, lines, jobs):
    """Without a fault everything passes; what it takes bounds what a fault may take."""
    def one(line):
        start = time.monotonic()
        failed, _, text = tests.run(line)
        return line, failed, text, time.monotonic() - start

    broken = False
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for line, failed, text, seconds in pool.map(one, lines):
            tests.seconds[line] = seconds
            if failed:
                print(f"without a fault: {line}: {failed}\n{text[-3000:]}")
                broken = True
    if broken:
        sys.exit(1)


@dataclass
class Verdict:
    fault: Fault
    by: str = ""
    reached: bool = False


def try_fault(tests, fault):
    verdict = Verdict(fault)
    for line in tests.stages(fault.source):
        failed, reached, _ = tests.run(line, fault.number)
        verdict.reached = verdict.reached or reached
        if failed and not reached:
            # A test that fails by itself would hide that a fault is not noticed.
            verdict.by = ""
            print(f"{fault.name}: {failed} failed, but the fault did not run", flush=True)
            return verdict
        if failed:
            verdict.by = failed
            return verdict
    return verdict


def show_table(sources, verdicts):
    survivors = [verdict for verdict in verdicts if not verdict.by]
    width = max(len(source.path) for source in sources)
    for source in sources:
        own = [verdict for verdict in verdicts if verdict.fault.source == source.path]
        if own:
            left = [str(v.fault.index) for v in own if not v.by]
            print(f"{source.path:{width}}  {len(own):3} faults, {len(own) - len(left):3} caught"
                  + (f", not {' '.join(left)}" if left else ""))
    for verdict in survivors:
        fault = verdict.fault
        how = "ran and was not noticed" if verdict.reached else "never ran"
        print(f"\n{fault.name} {how} (tests/mutants/{fault.source}.mutants:{fault.line})")
        print("  - " + fault.original.replace("\n", "\n  - "))
        print("  + " + fault.changed.replace("\n", "\n  + "))
    print(f"\n{len(verdicts)} faults in {len({v.fault.source for v in verdicts})} files, "
          f"{len(verdicts) - len(survivors)} caught")
    return not survivors


def unlisted(sources):
    listed = {source.path for source in sources}
    return [str(path.relative_to(ROOT / "src")) for path in sorted((ROOT / "src").glob("*/*.cpp"))
            if str(path.relative_to(ROOT / "src")) not in listed]


def too_short(sources):
    return [f"{source.path}: {len(source.faults)} faults, and no reason for so few"
            for source in sources if len(source.faults) < FEWEST and not source.few]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("chosen", nargs="*", metavar="FOLDER[/FILE[:N]]",
                        help="below src/; all where none is named")
    parser.add_argument("-j", "--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--complete", action="store_true", help="fail where a file has no list")
    parser.add_argument("--check", action="store_true",
                        help="only whether the lists fit the sources")
    parser.add_argument("--unit", action="store_true",
                        help="run the unit tests of the file's folder alone, which is quick")
    parser.add_argument("--verbose", action="store_true", help="tell what caught each fault")
    options = parser.parse_args()

    try:
        sources = read_lists()
        number_faults(sources)
        WORK.mkdir(parents=True, exist_ok=True)
        copy_tree(sources)
    except ListError as error:
        sys.exit(str(error))
    wrong = too_short(sources)
    missing = unlisted(sources)
    for path in missing:
        print(f"{path}: no list of faults yet")
    if wrong:
        sys.exit("\n".join(wrong))
    if options.complete and missing:
        sys.exit(1)
    if options.check:
        return 0

    def is_chosen(fault):
        return not options.chosen or any(
            fault.name == name or fault.source == name or fault.source.startswith(name + "/")
            for name in options.chosen)

    faults = [fault for source in sources for fault in source.faults if is_chosen(fault)]
    folders = sorted({fault.source.split("/")[0] for fault in faults})
    programs = [line for folder in folders
                for line in UNIT[folder] + ([] if options.unit else FURTHER[folder])]
    targets = sorted({line.split()[0] for line in programs} | {"velmorixcsp"})
    build(targets, options.jobs)

    tests = Tests(options.unit)
    tests.read_suites([line for folder in folders for line in UNIT[folder]])
    lines = {line for fault in faults for line in tests.stages(fault.source)}
    check_baseline(tests, sorted(lines), options.jobs)
    if options.verbose:
        for line in sorted(lines):
            print(f"{tests.seconds[line]:6.2f} s  {line}")

    verdicts = []
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for verdict in pool.map(lambda fault: try_fault(tests, fault), faults):
            verdicts.append(verdict)
            if options.verbose:
                print(f"{verdict.fault.name}: {verdict.by or 'NOT CAUGHT'}", flush=True)
    return 0 if show_table(sources, verdicts) else 1


if __name__ == "__main__":
    sys.exit(main())
