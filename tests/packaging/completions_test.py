#!/usr/bin/env python3
"""A shell completes what the tool takes: completions_test.py bash|zsh|fish MVLPFX COMPLETIONS

The shell itself is asked. bash and zsh complete only for someone who types, so that they run in a
terminal, each with its way of inserting all matches, and a function mvlpfx tells what came of the line.
"""
import os
import pathlib
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

SHELL, TOOL = sys.argv[1:3]
FOLDER = pathlib.Path(sys.argv[3])
INSERT_ALL = b"\x14"
PATIENCE = 600

BASH = """
PS1='ready> '
source {folder}/mvlpfx.bash
bind '"\\C-t": insert-completions'
"""
ZSH = """
PS1='ready> '
fpath=({folder} $fpath)
autoload -Uz compinit && compinit -u -d {work}/zcompdump
zle -C all complete-word _generic
zstyle ':completion:all:*' completer _all_matches _complete
zstyle ':completion:all:*' insert true
bindkey '^T' all
"""
TELL = "mvlpfx() { printf '\\001'; printf '%s\\n' \"$@\"; printf '\\002\\n'; }\n"


def run(*args):
    return subprocess.run(list(map(str, args)), capture_output=True, check=True, text=True).stdout


def options_of(subcommand):
    return set(re.findall(r"--[a-z][a-z-]*", run(TOOL, subcommand, "--help")))


def subcommands():
    said = run(TOOL, "--help")
    return set(re.findall(r"^  ([a-z]+) ", said[said.index("Subcommands:"):], re.M))


class Terminal:
    """A shell that someone types to."""

    def __init__(self, command, environment, folder):
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.execvpe(command[0], command, environment)
        self.said = b""
        self.expect(b"ready> ")

    def expect(self, ending):
        """What was said up to and with `ending`."""
        until = time.monotonic() + PATIENCE
        while ending not in self.said:
            if not select.select([self.terminal], [], [], until - time.monotonic())[0]:
                raise TimeoutError(self.said)
            self.said += os.read(self.terminal, 4096)
        before, _, self.said = self.said.partition(ending)
        return before

    def matches(self, line):
        os.write(self.terminal, line.encode() + INSERT_ALL + b"\n")
        told = self.expect(b"\x02").partition(b"\x01")[2].decode().splitlines()
        self.expect(b"ready> ")
        # The words before the one that was completed.
        return told[line.count(" ") - 1:]

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.process, 0)


class Fish:
    """fish tells by itself what it would complete."""

    def __init__(self, environment, folder):
        self.more = {"env": environment, "cwd": folder}

    def matches(self, line):
        said = subprocess.run(
            ["fish", "--no-config", "-c", "source $argv[1]; complete -C $argv[2]",
             str(FOLDER / "mvlpfx.fish"), line], capture_output=True, check=True, text=True,
            **self.more).stdout
        return [match.partition("\t")[0] for match in said.splitlines()]

    def close(self):
        pass


def open_shell(work):
    files = work / "files"
    files.mkdir()
    (files / "some-document.pfx").touch()
    environment = {"PATH": os.environ["PATH"], "TERM": "dumb", "HOME": str(work),
                   "LC_ALL": "C.UTF-8", "MVLPFX_PASSWORD": "x"}
    if SHELL == "fish":
        return Fish(environment, files)
    commands = work / ".zshrc"
    commands.write_text(TELL + {"bash": BASH, "zsh": ZSH}[SHELL].format(folder=FOLDER, work=work))
    return Terminal({"bash": ["bash", "--noprofile", "--rcfile", str(commands), "-i"],
                     "zsh": ["zsh", "-d", "-i"]}[SHELL], environment, files)


class Completions(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.shell = open_shell(pathlib.Path(folder.name))
        self.addCleanup(self.shell.close)

    def offered(self, line):
        return set(self.shell.matches(line))

    def test_every_subcommand(self):
        words = {word for word in self.offered("mvlpfx ") if not word.startswith("-")}
        self.assertEqual(words, subcommands() | {"help"})
        self.assertEqual(self.offered("mvlpfx res"), {"restore"})

    def test_help_and_what_it_is_asked_of(self):
        for line, expected in (("he", {"help"}), ("help ", subcommands()), ("help cr", {"create"}),
                               ("help keys ", {"list", "delete"}), ("help certs ", {"list", "add", "delete"}),
                               ("help keys list ", set()), ("help info ", set())):
            self.assertEqual(self.offered(f"mvlpfx {line}"), expected, line)

    def test_the_options_before_any(self):
        said = run(TOOL, "--help")
        self.assertEqual(self.offered("mvlpfx --"), set(re.findall(r"^ .*?(--[a-z]+)", said, re.M)))

    def test_the_options_of_each(self):
        for subcommand in sorted(subcommands()):
            self.assertEqual(self.offered(f"mvlpfx {subcommand} --"), options_of(subcommand), subcommand)

    def test_a_value_that_reads_like_a_subcommand_is_none(self):
        self.assertEqual(self.offered("mvlpfx create --subject info --t"), {"--thumbprint"})

    def test_commands_of_keys_and_certs(self):
        self.assertEqual(self.offered("mvlpfx keys d"), {"delete"})
        self.assertEqual(self.offered("mvlpfx certs a"), {"add"})

    def test_commands_behind_an_option(self):
        for line, expected in (("keys --machine de", {"delete"}), ("keys --json li", {"list"}),
                               ("certs --store CA de", {"delete"}),
                               ("keys --max-iterations 5 de", {"delete"})):
            self.assertEqual(self.offered(f"mvlpfx {line}"), expected, line)

    def test_values_that_are_known(self):
        self.assertEqual(self.offered("mvlpfx new --algorithm gost"),
                         {"gost2001", "gost2012-256", "gost2012-512"})
        self.assertEqual(self.offered("mvlpfx certs --store "), {"MY", "CA", "ROOT"})

    def test_files_where_a_file_is_wanted(self):
        for line in ("info", "verify", "restore", "certs add", "create --output", "create -o",
                     "verify --pass-file", "new --pin-file"):
            self.assertEqual(self.offered(f"mvlpfx {line} some-"), {"some-document.pfx"}, line)

    def test_variables_where_one_is_wanted(self):
        for line in ("verify --pass-env", "new --pin-env"):
            self.assertEqual(self.offered(f"mvlpfx {line} MVLPFX_PASS"), {"MVLPFX_PASSWORD"}, line)


if __name__ == "__main__":
    if shutil.which(SHELL) is None:
        print(f"{SHELL} is not installed")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
