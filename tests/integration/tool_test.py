#!/usr/bin/env python3
"""The command line as a person or a script meets it: tool_test.py MVLPFX DOCUMENTS

DOCUMENTS holds NAME.pfx and NAME.password, made by other software.
"""
import base64
import json
import os
import pathlib
import pty
import signal
import subprocess
import sys
import tempfile
import time
import unittest

TOOL, DOCUMENTS = sys.argv[1], pathlib.Path(sys.argv[2])
DOCUMENT = DOCUMENTS / "openssl-three-2012-256.pfx"
PASSWORD_FILE = DOCUMENT.with_suffix(".password")
PASSWORD = PASSWORD_FILE.read_text().rstrip("\n")


def run(*args, stdin=b"", env=None, **more):
    return subprocess.run([TOOL, *map(str, args)], input=stdin, capture_output=True, check=False,
                          env={**os.environ, **(env or {})}, **more)


def run_on_terminal(*args, answer=None):
    """Exit code and all that the tool showed; `answer` is typed when it has asked something."""
    child, terminal = pty.fork()
    if child == 0:
        os.execv(TOOL, [TOOL, *map(str, args)])
    shown = b""
    if answer is not None:
        while b": " not in shown:
            shown += os.read(terminal, 1024)
        os.write(terminal, answer.encode() + b"\n")
    try:
        while piece := os.read(terminal, 1024):
            shown += piece
    except OSError:
        pass  # how a terminal says that its last program has gone
    return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), shown


class Verify(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def file(self, name, content):
        path = pathlib.Path(self.folder.name) / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def expect(self, result, code, out=None, err=None):
        self.assertEqual(result.returncode, code, result)
        if out is not None:
            self.assertEqual(result.stdout.decode(), out)
        if err is not None:
            self.assertIn(err, result.stderr.decode())

    def test_right_password_from_every_source(self):
        fits = f"{DOCUMENT}: the password fits\n"
        self.expect(run("verify", DOCUMENT, "--pass-file", PASSWORD_FILE), 0, fits)
        self.expect(run("verify", DOCUMENT, "--pass-env", "PFX_PASSWORD",
                        env={"PFX_PASSWORD": PASSWORD}), 0, fits)
        self.expect(run("verify", DOCUMENT, "--pass-stdin", stdin=PASSWORD.encode()), 0, fits)
        self.expect(run("verify", DOCUMENT, "--pass-stdin", stdin=PASSWORD.encode() + b"\r\nmore"),
                    0, fits)
        reader, writer = os.pipe()
        os.write(writer, PASSWORD.encode())
        os.close(writer)
        self.expect(run("verify", DOCUMENT, "--pass-fd", reader, pass_fds=[reader]), 0, fits)
        os.close(reader)

    def test_passwords_that_are_no_text_are_refused(self):
        for password, said in ((b"two\0halves", "zero byte"),
                               ("Password1".encode("utf-16le"), "zero byte"),
                               (b"\xcf\xe0\xf0\xee\xeb\xfc", "no text in the encoding")):
            self.expect(run("verify", DOCUMENT, "--pass-stdin", stdin=password,
                            env={"LC_ALL": "C.UTF-8"}), 2, "", said)

    def test_password_from_the_terminal(self):
        begin = time.monotonic()
        code, shown = run_on_terminal("verify", DOCUMENT, answer=PASSWORD)
        took = time.monotonic() - begin
        self.assertEqual(code, 0, shown)
        self.assertIn(b"the password fits", shown)
        self.assertNotIn(PASSWORD.encode(), shown)
        # That comes after a second.
        if took < 1:
            self.assertNotIn(b"deriving", shown)

    def test_a_long_derivation_shows_a_spinner_on_a_terminal(self):
        document = DOCUMENTS / "gnutls-2012-256.pfx"
        source = ["--pass-file", document.with_suffix(".password")]
        # Of 14 times as many iterations: the fastest machine takes more than a second for them.
        whole = document.read_bytes()
        self.assertEqual(whole[-5:], b"\x02\x03" + (600_000).to_bytes(3, "big"))
        endless = self.file("endless", whole[:-3] + b"\x7f\xff\xff")
        child, terminal = pty.fork()
        if child == 0:
            os.execv(TOOL, [TOOL, "verify", str(endless), *map(str, source)])
        shown = b""
        while b"deriving the key" not in shown:
            shown += os.read(terminal, 1024)
        os.kill(child, signal.SIGKILL)
        os.waitpid(child, 0)
        os.close(terminal)
        # And does not stand in the way of what comes of it.
        code, shown = run_on_terminal("verify", document, *source)
        self.assertEqual(code, 0, shown)
        self.assertIn(b"the password fits", shown)
        result = run("verify", document, *source)
        self.assertEqual((result.returncode, result.stderr), (0, b""))

    def test_without_a_source_and_a_terminal(self):
        self.expect(run("verify", DOCUMENT, start_new_session=True), 2, "", "--pass-file")

    def test_wrong_password(self):
        result = run("verify", DOCUMENT, "--pass-stdin", stdin=b"wrong")
        self.expect(result, 3, "", "wrong password")
        self.assertIn("0x8009001A", result.stderr.decode())

    def test_password_of_the_wrong_length(self):
        self.expect(run("verify", DOCUMENT, "--pass-stdin", stdin=b""), 3, "", "1 to 32 bytes")
        self.expect(run("verify", DOCUMENT, "--pass-stdin", stdin=b"p" * 33), 3, "",
                    "1 to 32 bytes")
        self.expect(run("verify", DOCUMENT, "--pass-stdin", stdin=b"p" * 5000), 3, "", "too long")

    def test_text_forms_and_standard_input(self):
        der = DOCUMENT.read_bytes()
        text = base64.encodebytes(der)
        pem = b"-----BEGIN PKCS12-----\n" + text + b"-----END PKCS12-----\n"
        for form in (der, text, pem):
            self.expect(run("verify", self.file("form", form), "--pass-file", PASSWORD_FILE), 0)
            self.expect(run("verify", "-", "--pass-file", PASSWORD_FILE, stdin=form), 0,
                        "-: the password fits\n")

    def test_text_as_editors_save_it(self):
        text = base64.encodebytes(DOCUMENT.read_bytes()).decode().replace("\n", "\r\n")
        pem = f"-----BEGIN PKCS12-----\r\n{text}-----END PKCS12-----\r\n"
        outline = run("info", DOCUMENT).stdout
        for form in (text, pem):
            for saved in (form.encode("utf-8-sig"), b"\xff\xfe" + form.encode("utf-16-le"),
                          b"\xfe\xff" + form.encode("utf-16-be")):
                file = self.file("saved", saved)
                self.expect(run("verify", file, "--pass-file", PASSWORD_FILE), 0)
                self.assertEqual(run("info", file).stdout, outline)
        # What is no armour is told of as without a mark.
        for mark in (b"\xef\xbb\xbf", b"\xff\xfe", b"\xfe\xff"):
            for rest in (b"", b"\x30", b"\x30\x82\x01", "нет".encode("utf-16-le")):
                self.expect(run("verify", self.file("saved", mark + rest), "--pass-file",
                                PASSWORD_FILE), 4, "", "not a PFX document")

    def test_document_and_password_cannot_share_standard_input(self):
        self.expect(run("verify", "-", "--pass-stdin", stdin=b"x"), 2, "", "standard input")

    def test_malformed_documents(self):
        for content, said in ((b"", "the file is empty"), (b"hello, world", "not a PFX document"),
                              (DOCUMENT.read_bytes()[:-30], "cut off")):
            self.expect(run("verify", self.file("bad", content), "--pass-file", PASSWORD_FILE), 4,
                        "", said)

    def test_unknown_digest(self):
        oid = bytes.fromhex("06082a85030701010202")
        unknown = DOCUMENT.read_bytes()
        at = unknown.rindex(oid)
        unknown = unknown[:at + 9] + b"\x7f" + unknown[at + 10:]
        self.expect(run("verify", self.file("unknown", unknown), "--pass-file", PASSWORD_FILE), 5,
                    "", "1.2.643.7.1.1.2.127")

    def test_more_iterations_than_allowed(self):
        result = run("verify", DOCUMENT, "--pass-file", PASSWORD_FILE, "--max-iterations", "2")
        self.expect(result, 6, "", "asks for 3 iterations; --max-iterations allows 2")
        self.expect(run("verify", DOCUMENT, "--pass-file", PASSWORD_FILE, "--max-iterations", "3"),
                    0)

    def test_a_count_of_zero_is_the_default_of_2000(self):
        zero = DOCUMENT.read_bytes()
        self.assertEqual(zero[-3:], b"\x02\x01\x03")
        zero = self.file("zero", zero[:-1] + b"\x00")
        self.expect(run("verify", zero, "--pass-file", PASSWORD_FILE, "--max-iterations", "1999"),
                    6, "", "asks for 2000 iterations")
        self.expect(run("verify", zero, "--pass-file", PASSWORD_FILE, "--max-iterations", "2000"),
                    3)

    def test_files_that_cannot_be_read(self):
        self.expect(run("verify", "/nonexistent", "--pass-file", PASSWORD_FILE), 7, "",
                    "No such file")
        self.expect(run("verify", self.folder.name, "--pass-file", PASSWORD_FILE), 7, "",
                    "Is a directory")
        self.expect(run("verify", DOCUMENT, "--pass-file", "/nonexistent"), 7, "",
                    "can't read the password")
        self.expect(run("verify", DOCUMENT, "--pass-fd", "99"), 7, "", "descriptor 99")

    def test_a_provider_that_cannot_be_loaded(self):
        settings = self.file("settings.toml",
                             "['SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\"
                             "Velmorix Cryptographic Service Provider']\n"
                             "'Image Path' = '/nonexistent.so'\n")
        self.expect(run("verify", DOCUMENT, "--pass-file", PASSWORD_FILE,
                        env={"VELMORIX_SETTINGS": str(settings)}), 8, "", "provider")

    def test_usage(self):
        self.assertEqual(run().returncode, 2)
        self.assertEqual(run("verify").returncode, 2)
        self.assertEqual(run("frobnicate").returncode, 2)
        self.assertEqual(run("verify", DOCUMENT, "--pass-stdin", "--pass-env", "X").returncode, 2)
        self.assertEqual(run("verify", DOCUMENT, "--pass-env", "NOT_SET_HERE").returncode, 2)
        for command in ([], ["verify"], ["info"]):
            result = run(*command, "--help")
            self.assertEqual(result.returncode, 0)
            self.assertIn(b"Usage", result.stdout)

    def test_quiet_and_json(self):
        self.expect(run("verify", DOCUMENT, "--pass-file", PASSWORD_FILE, "--quiet"), 0, "")
        report = json.loads(run("verify", DOCUMENT, "--pass-file", PASSWORD_FILE,
                                "--json").stdout)
        self.assertEqual(report, {"schema": 1, "command": "verify", "subject": str(DOCUMENT),
                                  "exitCode": 0, "fits": True})
        result = run("verify", DOCUMENT, "--pass-stdin", "--json", stdin=b"wrong")
        self.assertEqual(result.returncode, 3)
        self.assertEqual(result.stderr, b"")
        report = json.loads(result.stdout)
        self.assertEqual((report["exitCode"], report["errorWord"], report["errorName"]),
                         (3, "0x8009001A", "NTE_KEYSET_ENTRY_BAD"))


class Info(unittest.TestCase):
    def test_outline_of_an_openssl_document(self):
        result = run("info", DOCUMENT)
        self.assertEqual(result.returncode, 0, result)
        lines = result.stdout.decode().splitlines()
        self.assertEqual(lines[0], "version:   3")
        self.assertEqual(lines[1], "integrity: GOST R 34.11-2012 (256 bits), 3 iterations, "
                                   "salt of 8 bytes, value of 32 bytes")
        self.assertRegex(lines[2], r"^encrypted content: \d+ bytes; PBES2, PBKDF2, "
                                   r"HMAC GOST R 34.11-2012 \(512 bits\), GOST 28147-89, "
                                   r"3 iterations, salt of 8 bytes$")
        self.assertRegex(lines[3], r"^encrypted key: \d+ bytes; PBES2, PBKDF2, "
                                   r"HMAC GOST R 34.11-2012 \(512 bits\), GOST 28147-89, "
                                   r"3 iterations, salt of 8 bytes$")
        self.assertEqual(lines[4:], ["key 1",
                                     "  identifier:  6C59F648DE06969D4AF93AEFEF0ACE9694B730F2"])

    def test_json_says_the_same(self):
        report = json.loads(run("info", DOCUMENT, "--json").stdout)
        self.assertEqual(report["version"], 3)
        self.assertEqual(report["mac"], {
            "digest": "1.2.643.7.1.1.2.2", "digestName": "GOST R 34.11-2012 (256 bits)",
            "digestKnown": True, "iterations": 3, "saltLength": 8, "macLength": 32})
        self.assertEqual([part["kind"] for part in report["parts"]],
                         ["encryptedContent", "keyBag"])
        self.assertEqual(report["parts"][1]["encryption"]["cipher"], "GOST 28147-89")

    def test_a_password_is_checked_where_a_source_is_named(self):
        result = run("info", DOCUMENT, "--pass-file", PASSWORD_FILE)
        self.assertEqual(result.returncode, 0, result)
        self.assertIn("password:  fits", result.stdout.decode().splitlines())
        report = json.loads(run("info", DOCUMENT, "--json", "--pass-file", PASSWORD_FILE).stdout)
        self.assertIs(report["fits"], True)
        result = run("info", DOCUMENT, "--pass-stdin", stdin=b"wrong")
        self.assertEqual((result.returncode, result.stdout), (3, b""))

    def test_tree_shows_every_element_with_its_offset(self):
        document = bytes.fromhex("300f 020105 06032a0304 800204ff 0101ff")
        result = run("info", "-", "--tree", stdin=document)
        self.assertEqual(result.returncode, 0, result)
        self.assertEqual(result.stdout.decode().splitlines(), [
            "       0 SEQUENCE, 15",
            "       2   INTEGER, 1: 5",
            "       5   OBJECT IDENTIFIER, 3: 1.2.3.4",
            "      10   [0], 2: 04FF",
            "      14   BOOLEAN, 1: FF"])
        report = json.loads(run("info", "-", "--tree", "--json", stdin=document).stdout)
        self.assertEqual(report["tree"][1], {"offset": 2, "depth": 1, "type": "INTEGER",
                                             "length": 1, "value": "5"})
        self.assertEqual(len(report["tree"]), 5)
        self.assertEqual(run("info", "-", "--tree", stdin=b"\x30\x05\x02").returncode, 4)

    def test_what_is_no_document(self):
        for content in (b"", b"hello", b"\x30\x03\x02\x01\x03", bytes(100)):
            result = run("info", "-", stdin=content)
            self.assertEqual(result.returncode, 4, (content, result))
            self.assertIn(b"not a PFX", result.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
