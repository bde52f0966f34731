#!/usr/bin/env python3
"""What a signal leaves of a command that it ends: tool_signals_test.py MVLPFX SUPPORT WRITER PEERS"""
import base64
import json
import os
import pathlib
import pty
import re
import resource
import shutil
import signal
import subprocess
import sys
import termios
import time
import unittest

sys.path.insert(0, sys.argv[2])
from tool_profile import Profile  # noqa: E402

Profile.tool = sys.argv[1]
WRITER = sys.argv[3]
DOCUMENTS = pathlib.Path(sys.argv[4])
# Takes seconds to derive a key for.
SLOW = DOCUMENTS / "openssl-600000.pfx"
SLOW_PASSWORD = SLOW.with_suffix(".password")
ROUNDS = 40
# Seconds, for machines and builds that take many times longer than others.
PATIENCE = 1200

# Who is started with signals ignored, as by nohup or in the background of a script, leaves it so to
# those that it starts; with a handler they have the default again.
for ignored in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT):
    if signal.getsignal(ignored) is signal.SIG_IGN:
        signal.signal(ignored, lambda number, frame: None)


def status_of(pid, row, base):
    """A number of the process's status; 0 where it has gone."""
    try:
        status = pathlib.Path(f"/proc/{pid}/status").read_text()
    except OSError:
        return 0
    return int(re.search(rf"(?m)^{row}:\s*(\w+)$", status)[1], base)


def wait_until(happens):
    until = time.monotonic() + PATIENCE
    while not happens():
        if time.monotonic() > until:
            raise TimeoutError
        time.sleep(0.01)


def wait_until_held(process):
    """Until SIGINT is held off."""
    wait_until(lambda: process.poll() is not None or
               status_of(process.pid, "SigBlk", 16) & 1 << signal.SIGINT - 1)


def is_deriving(pid):
    """Which a thread of its own does."""
    return status_of(pid, "Threads", 10) > 1


def wait_until_deriving(process):
    wait_until(lambda: process.poll() is not None or is_deriving(process.pid))


def children_of(pid):
    found = []
    for entry in pathlib.Path("/proc").glob("[0-9]*"):
        if status_of(entry.name, "PPid", 10) == pid:
            found.append(int(entry.name))
    return found


def seconds_of_children():
    """What they have cost the processors."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


class Signals(Profile):
    """Each command meets the signal at moments spread over the time that it takes."""

    def start(self, *args, home=None):
        return subprocess.Popen([self.tool, *map(str, args)], cwd=self.folder,
                                env=self.environment(home), stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def seconds(self, *args, home=None):
        begin = time.monotonic()
        process = self.start(*args, home=home)
        process.communicate()
        self.assertEqual(process.returncode, 0)
        return time.monotonic() - begin

    def interrupt(self, moment, number, *args, home=None):
        """The status and what was printed; a process that was quicker than the signal has 0."""
        process = self.start(*args, home=home)
        time.sleep(moment)
        process.send_signal(number)
        out, said = process.communicate(timeout=PATIENCE)
        self.assertIn(process.returncode, (0, -number), said)
        return process.returncode, out.decode()

    def moments(self, length):
        """Some before it begins, some behind its end, and the number of the signal."""
        numbers = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
        return [(1.1 * length * i / (ROUNDS - 1), numbers[i % 3]) for i in range(ROUNDS)]

    def left_over(self, folder):
        """Names of files that are there for a while alone."""
        return [path for path in pathlib.Path(folder).rglob("*")
                if path.name == ".unfinished" or ".pfx." in path.name]

    def keys(self, home):
        """Names of containers, each of which has its key."""
        containers = self.report("keys", home=home)["containers"]
        for container in containers:
            self.assertEqual(len(container["keys"]), 1, container)
        return [container["container"] for container in containers]

    def test_new_leaves_all_or_nothing(self):
        home = self.folder / "home"
        args = ("new", "--subject", "CN=x", "--exportable", "--container")
        length = self.seconds(*args, "first", home=home)
        ended = 0
        for i, (moment, number) in enumerate(self.moments(length)):
            status, out = self.interrupt(moment, number, *args, f"box{i}", home=home)
            ended += status != 0
            made = f"box{i}" in self.keys(home)
            thumbprints = [row["thumbprint"] for row in self.report("certs",
                                                                    home=home)["certificates"]]
            # What is made is told, and has a certificate that is tied to it.
            self.assertEqual(out.strip() in thumbprints, made)
            self.assertEqual(bool(out), made)
            self.assertEqual(len(thumbprints), len(self.keys(home)))
            self.assertEqual(self.left_over(home), [])
            if status == 0:
                self.assertTrue(made)
        self.assertGreater(ended, 0)
        tied = [row["container"] for row in self.report("certs", home=home)["certificates"]]
        self.assertEqual(sorted(tied), sorted(
            c["uniqueName"] for c in self.report("keys", home=home)["containers"]))

    def test_create_leaves_a_whole_document_or_none(self):
        self.new("one", "--exportable")
        args = ("create", "-o", "out.pfx", "--pass-file", "password")
        length = self.seconds(*args)
        out = self.folder / "out.pfx"
        whole = 0
        for moment, number in self.moments(length):
            out.unlink(missing_ok=True)
            status, _ = self.interrupt(moment, number, *args)
            if out.exists():
                whole += 1
                self.expect(0, "verify", "out.pfx", "--pass-file", "password")
            else:
                self.assertNotEqual(status, 0)
            self.assertEqual(self.left_over(self.folder), [])
        self.assertLess(whole, ROUNDS)

    def test_create_leaves_the_document_that_it_would_replace(self):
        self.new("one", "--exportable")
        args = ("create", "-o", "out.pfx", "--force", "--pass-file", "password")
        length = self.seconds(*args)
        for moment, number in self.moments(length):
            self.interrupt(moment, number, *args)
            self.expect(0, "verify", "out.pfx", "--pass-file", "password")
            self.assertEqual(self.left_over(self.folder), [])

    def test_restore_leaves_all_or_nothing_and_tells_it(self):
        subprocess.run([WRITER, self.folder], check=True)
        self.file("password", "Password1\n")
        args = ("restore", "untied.pfx", "--pass-file", "password", "--json")
        length = self.seconds(*args, home=self.folder / "first")
        restored = 0
        for i, (moment, number) in enumerate(self.moments(length)):
            home = self.folder / f"home{i}"
            home.mkdir()
            status, out = self.interrupt(moment, number, *args, home=home)
            names = self.keys(home)
            certificates = self.report("certs", home=home)["certificates"]
            if not out:
                self.assertEqual((names, certificates, status), ([], [], -number))
                continue
            restored += 1
            report = json.loads(out)
            self.assertIn(report["exitCode"], (0, 128 + number))
            self.assertEqual(sorted(report["containers"]), sorted(names))
            self.assertEqual((len(names), len(certificates)), (2, 1))
            self.assertEqual(self.left_over(home), [])
        self.assertLess(restored, ROUNDS)

    def test_a_restore_under_way_says_that_it_is_ended_first(self):
        """With --quiet too: what was restored is no success to be silent of."""
        for options in ([], ["--quiet"]):
            with self.subTest(options):
                home = self.folder / f"home{len(options)}"
                process = self.start("restore", SLOW, "--pass-file", SLOW_PASSWORD, *options,
                                     home=home)
                wait_until_held(process)
                process.send_signal(signal.SIGINT)
                out, said = process.communicate(timeout=PATIENCE)
                self.assertEqual(process.returncode, -signal.SIGINT)
                self.assertEqual(said, b"mvlpfx: interrupted; what is begun is ended first\n")
                (name,) = self.keys(home)
                (row,) = self.report("certs", home=home)["certificates"]
                self.assertEqual(out.decode().splitlines(), [
                    f"container    {name}",
                    f"certificate  {row['thumbprint']}  key  MY        {row['subject']}"])

    def test_certs_add_leaves_whole_certificates(self):
        self.openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=plain",
                     "-keyout", "key", "-out", "cert.pem")
        length = self.seconds("certs", "add", "cert.pem", home=self.folder / "first")
        for i, (moment, number) in enumerate(self.moments(length)):
            home = self.folder / f"home{i}"
            status, out = self.interrupt(moment, number, "certs", "add", "cert.pem", home=home)
            there = self.report("certs", home=home)["certificates"]
            self.assertEqual(out.split(), [row["thumbprint"] for row in there])
            self.assertEqual(self.left_over(home), [])

    def test_deleting_is_done_as_a_whole_or_not_at_all(self):
        thumbprint = self.new("box")
        saved = self.folder / "saved"
        shutil.copytree(self.home, saved)
        # What deletes, and how many it leaves of containers and certificates.
        for args, left in ((["keys", "delete", "box"], (0, 1)),
                           (["certs", "delete", thumbprint], (1, 0))):
            length = self.seconds(*args)
            for moment, number in self.moments(length)[::2]:
                shutil.rmtree(self.home)
                shutil.copytree(saved, self.home)
                status, _ = self.interrupt(moment, number, *args)
                there = len(self.keys(self.home)), len(self.report("certs")["certificates"])
                self.assertIn(there, ((1, 1), left))
                if status == 0:
                    self.assertEqual(there, left)
                self.assertEqual(self.left_over(self.home), [])
            shutil.rmtree(self.home)
            shutil.copytree(saved, self.home)

    def test_certs_add_tells_what_it_added_of_many(self):
        """With --quiet too, where not all are added."""
        self.openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=plain",
                     "-keyout", "key", "-outform", "DER", "-out", "cert.der")
        one = (self.folder / "cert.der").read_bytes()
        # Others by their signatures, which nobody looks at here.
        many = 200
        self.file("many.pem", b"".join(
            b"-----BEGIN CERTIFICATE-----\n" + base64.encodebytes(one[:-1] + bytes([number])) +
            b"-----END CERTIFICATE-----\n" for number in range(many)))
        length = self.seconds("certs", "add", "many.pem", home=self.folder / "first")
        for options in ([], ["--quiet"], ["--json"]):
            counts = {self.count_added(many, options, home=self.folder / f"home{i}{options}",
                                       moment=length * i / 7) for i in range(8)}
            # With the moment seen, as often as it takes to meet the command under way.
            for i in range(8, 100):
                if any(0 < count < many for count in counts):
                    break
                counts.add(self.count_added(many, options, self.folder / f"home{i}{options}"))
            else:
                self.fail(f"never met under way: {counts}")

    def count_added(self, many, options, home, moment=None):
        """How many certificates are there behind a signal at the moment, or where the first is."""
        process = self.start("certs", "add", "many.pem", *options, home=home)
        if moment is not None:
            time.sleep(moment)
        while moment is None and process.poll() is None and not any(home.rglob("MY/[0-9A-F]*")):
            time.sleep(0.001)
        process.send_signal(signal.SIGINT)
        out = process.communicate(timeout=PATIENCE)[0].decode()
        status = process.returncode
        there = sorted(row["thumbprint"]
                       for row in self.report("certs", home=home)["certificates"])
        told = sorted(json.loads(out)["added"] if out and "--json" in options else out.split())
        if "--quiet" in options and len(there) == many:
            # A success is not told. A signal behind the last certificate may be seen before that
            # is decided, or after it.
            self.assertIn(told, ([],) if status == 0 else ([], there))
        else:
            self.assertEqual(told, there)
        self.assertIn(status, (0, -signal.SIGINT) if len(there) == many else (-signal.SIGINT,))
        self.assertEqual(self.left_over(home), [])
        return len(there)

    def endless(self):
        """A document of so many iterations that every signal comes before their end."""
        whole = SLOW.read_bytes()
        self.assertEqual(whole[-5:], b"\x02\x03" + (600_000).to_bytes(3, "big"))
        return self.file("endless.pfx", whole[:-3] + b"\x7f\xff\xff")

    def test_a_derivation_that_makes_nothing_ends_at_once(self):
        before = seconds_of_children()
        self.expect(0, "verify", SLOW, "--pass-file", SLOW_PASSWORD)
        slow = seconds_of_children() - before
        endless = self.endless()
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            before = seconds_of_children()
            process = self.start("verify", endless, "--pass-file", SLOW_PASSWORD)
            wait_until_deriving(process)
            process.send_signal(number)
            out, said = process.communicate(timeout=PATIENCE)
            self.assertEqual((process.returncode, out, said), (-number, b"", b""))
            # All of it costs 14 times as much as the slow document.
            self.assertLess(seconds_of_children() - before, 7 * slow)
        self.assertEqual(self.left_over(self.folder), [])

    def test_a_shell_tells_130(self):
        arguments = [self.tool, self.endless(), SLOW_PASSWORD]
        script = ('"$0" verify "$1" --pass-file "$2" & '
                  'until grep -q "^Threads:[[:space:]]*[2-9]" "/proc/$!/status"; do sleep 0.01; done; '
                  'kill -TERM $!; wait $!; echo $?')
        result = subprocess.run(["bash", "-c", script, *arguments], capture_output=True,
                                check=False, timeout=PATIENCE)
        self.assertEqual(result.stdout, b"143\n")
        # A shell's jobs in the background ignore SIGINT, so this one has a shell of its own.
        script = 'trap : INT; "$0" verify "$1" --pass-file "$2"; echo $?'
        shell = subprocess.Popen(["bash", "-c", script, *arguments], stdout=subprocess.PIPE,
                                 stderr=subprocess.DEVNULL, start_new_session=True)
        wait_until(lambda: any(is_deriving(child) for child in children_of(shell.pid)))
        os.killpg(shell.pid, signal.SIGINT)
        self.assertEqual(shell.communicate(timeout=PATIENCE)[0], b"130\n")

    def test_an_ignored_hangup_ends_nothing(self):
        process = subprocess.Popen(
            ["bash", "-c", 'trap "" HUP; exec "$0" verify "$1" --pass-file "$2"', self.tool,
             SLOW, SLOW_PASSWORD],
            stdout=subprocess.PIPE)
        wait_until_deriving(process)
        process.send_signal(signal.SIGHUP)
        self.assertIn(b"the password fits", process.communicate(timeout=PATIENCE)[0])
        self.assertEqual(process.returncode, 0)


class Terminal(Profile):
    def prompted(self):
        """A process that asks for a password on a terminal, with echo off."""
        child, terminal = pty.fork()
        if child == 0:
            # The terminal outlives the tool, as it does under a shell.
            os.execvp("bash", ["bash", "-c", 'trap : INT TERM HUP QUIT; "$0" verify "$1"; '
                               'echo "status $?"; read', self.tool,
                               DOCUMENTS / "openssl-three-2012-256.pfx"])
        shown = b""
        while b"Password for" not in shown:
            shown += os.read(terminal, 1024)
        return child, terminal

    def echoes(self, terminal):
        return bool(termios.tcgetattr(terminal)[3] & termios.ECHO)

    def test_echo_comes_back(self):
        for key, number in ((b"\x03", signal.SIGINT), (b"\x1c", signal.SIGQUIT),
                            (None, signal.SIGTERM), (None, signal.SIGHUP)):
            with self.subTest(number):
                child, terminal = self.prompted()
                self.assertFalse(self.echoes(terminal))
                if key is not None:
                    os.write(terminal, key)
                else:
                    os.killpg(os.tcgetpgrp(terminal), number)
                shown = b""
                while b"status " not in shown:
                    shown += os.read(terminal, 1024)
                self.assertIn(f"status {128 + number}".encode(), shown)
                self.assertTrue(self.echoes(terminal))
                os.kill(child, signal.SIGKILL)
                os.waitpid(child, 0)
                os.close(terminal)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
