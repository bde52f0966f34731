#!/usr/bin/env python3
"""Where each subcommand writes, and the shape of its reports: tool_json_test.py MVLPFX SUPPORT PEERS WRITER"""
import json
import os
import pathlib
import pty
import re
import subprocess
import sys
import unittest

sys.path.insert(0, sys.argv[2])
from tool_profile import Profile  # noqa: E402

Profile.tool = sys.argv[1]
PEERS = pathlib.Path(sys.argv[3])
WRITER = sys.argv[4]
NAMED = PEERS / "openssl-named.pfx"
NAMED_PASSWORD = NAMED.with_suffix(".password")
SLOW = PEERS / "gnutls-2012-256.pfx"

SUBCOMMANDS = ("new", "keys", "certs", "create", "info", "verify", "restore", "register",
               "unregister")


class Optional:
    """A member that a report need not have."""

    def __init__(self, shape):
        self.shape = shape


def text(pattern):
    return lambda value: isinstance(value, str) and re.fullmatch(pattern, value) is not None


def or_null(shape):
    return lambda value: value is None or fits(value, shape) is None


NUMBER = lambda value: type(value) is int and value >= 0  # noqa: E731
THUMBPRINT = text("[0-9a-f]{40}")
DAY = text(r"[0-9]{4}-[0-9]{2}-[0-9]{2}")
OCTETS = text("([0-9A-F]{2})*")
ERROR_WORD = or_null(text("0x[0-9A-F]{8}"))
ERROR_NAME = or_null(text("[A-Z][A-Z0-9_]+"))


def fits(value, shape, path=""):
    """Nothing, or the path at which the value is of another shape."""
    if isinstance(shape, dict):
        if not isinstance(value, dict):
            return path
        needed = {key for key, member in shape.items() if not isinstance(member, Optional)}
        if not needed <= set(value) <= set(shape):
            return f"{path}: {sorted(set(value) ^ needed)}"
        members = {key: member.shape if isinstance(member, Optional) else member
                   for key, member in shape.items()}
        wrong = [fits(value[key], members[key], f"{path}.{key}") for key in value]
        return next((at for at in wrong if at), None)
    if isinstance(shape, list):
        if not isinstance(value, list):
            return path
        return next((at for at in (fits(member, shape[0], f"{path}[{i}]")
                                   for i, member in enumerate(value)) if at), None)
    if isinstance(shape, type):
        return None if type(value) is shape else path
    if callable(shape):
        return None if shape(value) else f"{path}: {value!r}"
    return None if value == shape else f"{path}: {value!r}"


ENCRYPTION = {"scheme": str, "derivation": Optional(str), "prf": Optional(str),
              "cipher": Optional(str), "iterations": Optional(NUMBER),
              "saltLength": Optional(NUMBER)}
ATTRIBUTES = [{"oid": str, "values": [OCTETS]}]
KEY = {"number": NUMBER, "friendlyName": Optional(str), "localKeyId": Optional(OCTETS),
       "machine": Optional(True), "attributes": Optional(ATTRIBUTES),
       "certificate": Optional(THUMBPRINT)}
CERTIFICATE = {"number": NUMBER, "subject": str, "issuer": str, "serial": str, "notBefore": DAY,
               "notAfter": DAY, "thumbprint": THUMBPRINT, "keys": [NUMBER],
               "friendlyName": Optional(str), "localKeyId": Optional(OCTETS),
               "attributes": Optional(ATTRIBUTES)}
INFO = {"version": NUMBER, "parts": [{"kind": text("encryptedContent|keyBag|bag"), "type": str,
                                      "encryption": Optional(ENCRYPTION),
                                      "length": Optional(NUMBER), "passedOver": Optional(str)}],
        "mac": or_null({"digest": str, "digestName": str, "digestKnown": bool,
                        "iterations": NUMBER, "saltLength": NUMBER, "macLength": NUMBER}),
        "keys": [KEY], "fits": Optional(True), "certificates": Optional([CERTIFICATE])}
PLAIN_CERTIFICATE = {**{key: shape for key, shape in CERTIFICATE.items() if key != "keys"},
                     "passedOver": str}
KEYS = {"containers": [{"container": str, "uniqueName": str,
                        "keys": [{"use": text("exchange|signature"), "algorithm": str,
                                  "exportable": bool, "thumbprint": Optional(THUMBPRINT),
                                  "subject": Optional(str)}]}],
        "damaged": [str]}
CERTS = {"store": str, "certificates": [{"thumbprint": THUMBPRINT, "subject": str, "notAfter": DAY,
                                         "container": Optional(str)}]}
WITHOUT_KEY = [{"thumbprint": THUMBPRINT, "subject": str, "container": str,
                "errorWord": ERROR_WORD, "errorName": ERROR_NAME}]
RESTORED = {"containers": [str], "keysWithoutCertificate": NUMBER,
            "certificates": [{"thumbprint": THUMBPRINT, "subject": str, "hasKey": bool,
                              "stores": Optional([text("MY|CA|ROOT")])}]}
FAILURE = {"message": text(".+"), "advice": or_null(text(".+")), "errorWord": ERROR_WORD,
           "errorName": ERROR_NAME, "found": or_null(text(".+")),
           "where": or_null({"offset": NUMBER, "path": str}), "log": [text(".+")]}


class Reports(Profile):
    def setUp(self):
        super().setUp()
        subprocess.run([WRITER, self.folder], check=True)
        self.file("wrong", "wrong\n")
        self.file("king", "Password1\n")
        self.file("notes", "notes\n")
        self.openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=plain",
                     "-keyout", "key", "-out", "cert.pem")

    def run_json(self, code, args, shape, subject, **more):
        result = self.run_tool(*args, "--json", **more)
        self.assertEqual(result.returncode, code, result)
        self.assertEqual(result.stdout.count(b"\n"), 1, result)
        self.assertEqual(result.stderr, b"")
        report = json.loads(result.stdout)
        head = {"schema": 1, "command": args[0] if args and args[0] in SUBCOMMANDS else None}
        if subject is not None:
            head["subject"] = str(subject)
        self.assertIsNone(fits(report, {**head, "exitCode": code, **shape}), report)
        self.assertEqual(list(report)[:len(head)], list(head))
        return report

    def succeeds(self, args, shape, subject=None, **more):
        return self.run_json(0, args, shape, subject, **more)

    def fails(self, code, args, subject=None, facts=None, **more):
        report = self.run_json(code, args, {**FAILURE, **(facts or {})}, subject, **more)
        # The same in text.
        result = self.run_tool(*args, **more)
        self.assertEqual(result.returncode, code, result)
        said = result.stderr.decode()
        for name in ("message", "advice", "errorWord", "found"):
            if report[name] is not None:
                self.assertIn(report[name], said)
        for logged in report["log"]:
            self.assertIn(f"\n  {logged}\n", said)
        if report["where"] is not None:
            self.assertIn(f"at offset {report['where']['offset']}", said)
            self.assertIn(report["where"]["path"], said)
        return report

    def test_new(self):
        made = {"algorithm": "gost2012-256", "thumbprint": THUMBPRINT}
        self.succeeds(["new", "--subject", "CN=x", "--container", "box"],
                      {"container": "box", **made}, "box")
        report = self.report("new", "--subject", "CN=x")
        self.assertRegex(report["subject"], "^key-[0-9a-f]{16}$")
        self.assertEqual(report["container"], report["subject"])
        self.fails(9, ["new", "--subject", "CN=x", "--container", "box"], "box")
        self.fails(2, ["new", "--subject", "CN=x", "--algorithm", "rsa"])
        self.fails(2, ["new", "--subject", "x"])
        self.fails(2, ["new", "--subject", "CN=x", "--curve", "1.2.3"])
        self.fails(2, ["new", "--subject", "CN=x", "--pin-env", "NOT_SET_HERE"])
        self.fails(7, ["new", "--subject", "CN=x", "--pin-file", "nowhere"])

    def test_keys(self):
        self.succeeds(["keys"], {"containers": [], "damaged": []})
        thumbprint = self.new("box", "--exportable")
        report = self.succeeds(["keys", "list"], KEYS)
        (container,) = report["containers"]
        self.assertEqual(container["keys"], [{
            "use": "signature", "algorithm": "gost2012-256", "exportable": True,
            "thumbprint": thumbprint, "subject": "CN=box, C=RU"}])
        self.assertEqual(self.expect(0, "keys").split(),
                         ["box", "signature", "gost2012-256", "exportable", "CN=box,", "C=RU"])
        damaged = self.home / "keys" / ("0" * 64 + ".key")
        damaged.write_bytes(b"VLXKEYS")
        damaged.chmod(0o600)
        report = self.fails(8, ["keys"], facts=KEYS)
        self.assertEqual((len(report["containers"]), report["damaged"]), (1, [str(damaged)]))
        self.succeeds(["keys", "delete", "box"], {"deleted": "box"}, "box")
        self.fails(8, ["keys", "delete", "box"], "box")

    def test_certs(self):
        self.succeeds(["certs"], {"store": "MY", "certificates": []}, "MY")
        (added,) = self.succeeds(["certs", "add", "cert.pem"],
                                 {"store": "MY", "added": [THUMBPRINT]}, "cert.pem")["added"]
        (row,) = self.succeeds(["certs", "list"], CERTS, "MY")["certificates"]
        self.assertEqual(self.expect(0, "certs").split(), [added, row["notAfter"], "-", "CN=plain"])
        self.fails(4, ["certs", "add", "notes"], "notes")
        self.fails(7, ["certs", "add", "nowhere"], "nowhere")
        self.fails(2, ["certs", "delete", "12"], "12")
        typed = ":".join(added[i:i + 2] for i in range(0, len(added), 2)).upper()
        self.succeeds(["certs", "delete", typed], {"store": "MY", "deleted": added}, added)
        self.fails(8, ["certs", "delete", added], added)
        self.new("own")
        (self.home / "stores" / "MY" / ("0" * 40)).write_bytes(b"no certificate")
        report = self.fails(7, ["certs"], "MY", facts=CERTS)
        self.assertEqual(len(report["certificates"]), 1)
        (self.home / "stores" / "CA").write_text("no folder")
        self.fails(7, ["certs", "--store", "CA"], "CA")
        self.fails(7, ["certs", "add", "cert.pem", "--store", "CA"], "cert.pem",
                   facts={"store": "CA", "added": []})

    def test_create(self):
        create = ["create", "-o", "out.pfx", "--pass-file", "password"]
        self.fails(1, create, "out.pfx")
        self.new("here", "--exportable")
        self.new("gone", "--exportable")
        self.expect(0, "keys", "delete", "gone")
        report = self.fails(8, create, "out.pfx", facts={"refused": WITHOUT_KEY})
        self.assertEqual(len(report["refused"]), 1)
        self.succeeds([*create, "--allow-missing-keys"],
                      {"keys": 1, "certificates": 2, "withoutKey": WITHOUT_KEY}, "out.pfx")
        self.fails(9, [*create, "--subject", "here"], "out.pfx")
        self.fails(7, ["create", "-o", "no/folder", "--subject", "here", "--pass-file",
                       "password"], "no/folder")
        self.fails(2, [*create, "--thumbprint", "12"], "out.pfx")
        self.fails(8, [*create, "--container", "none"], "out.pfx")

    def test_info(self):
        self.succeeds(["info", NAMED], INFO, NAMED)
        report = self.succeeds(["info", NAMED, "--pass-file", NAMED_PASSWORD],
                               {**INFO, "fits": True, "certificates": [CERTIFICATE]}, NAMED)
        self.assertEqual((len(report["keys"]), len(report["certificates"])), (1, 1))
        self.succeeds(["info", "passed-over.pfx", "--pass-file", "king"],
                      {**INFO, "fits": True, "certificates": [CERTIFICATE],
                       "otherBags": INFO["parts"], "plainCertificates": [PLAIN_CERTIFICATE]},
                      "passed-over.pfx")
        tree = self.succeeds(["info", NAMED, "--tree"], {
            "tree": [{"offset": NUMBER, "depth": NUMBER, "type": str, "length": NUMBER,
                      "value": Optional(str)}]}, NAMED)["tree"]
        self.assertEqual(len(tree), self.expect(0, "info", NAMED, "--tree").count("\n"))
        self.fails(3, ["info", NAMED, "--pass-file", "wrong"], NAMED)
        self.fails(4, ["info", "notes"], "notes")
        self.fails(4, ["info", "notes", "--tree"], "notes")
        self.fails(7, ["info", "nowhere"], "nowhere")

    def test_verify(self):
        self.succeeds(["verify", NAMED, "--pass-file", NAMED_PASSWORD], {"fits": True}, NAMED)
        self.fails(3, ["verify", NAMED, "--pass-file", "wrong"], NAMED)
        self.fails(4, ["verify", "cert.pem", "--pass-file", "wrong"], "cert.pem")
        self.fails(6, ["verify", NAMED, "--pass-file", "wrong", "--max-iterations", "1"], NAMED)
        self.fails(2, ["verify", NAMED], NAMED, start_new_session=True)

    def test_restore(self):
        restore = ["restore", "untied.pfx", "--pass-file", "king"]
        report = self.succeeds([*restore, "--dry-run"], {
            "dryRun": True,
            "keys": [{"number": NUMBER, "name": Optional(str), "thumbprint": Optional(THUMBPRINT)}],
            "certificates": [{"thumbprint": THUMBPRINT, "subject": str}]}, "untied.pfx")
        self.assertEqual((len(report["keys"]), len(report["certificates"])), (2, 2))
        report = self.succeeds(restore, RESTORED, "untied.pfx")
        self.assertEqual((len(report["containers"]), report["keysWithoutCertificate"]), (2, 1))
        self.succeeds([*restore, "--keys-only"], RESTORED, "untied.pfx")
        self.fails(3, ["restore", "untied.pfx", "--pass-file", "wrong"], "untied.pfx",
                   facts={"containers": []})
        for document, code, made in (("unknown-second-cipher.pfx", 5, 1),
                                     ("damaged-second-key.pfx", 4, 2),
                                     ("malformed-attribute.pfx", 4, 1), ("one-data.pfx", 4, 0)):
            with self.subTest(document):
                report = self.fails(code, ["restore", document, "--pass-file", "king"], document,
                                    facts={"containers": [str]})
                self.assertEqual(len(report["containers"]), made)
                self.assertIsNotNone(report["where"])
        (self.home / "stores" / "CA").mkdir(exist_ok=True)
        (self.home / "stores" / "CA").rmdir()
        (self.home / "stores" / "CA").write_text("a file where the folder should be")
        report = self.fails(1, restore, "untied.pfx", facts=RESTORED)
        self.assertEqual((len(report["containers"]), len(report["certificates"])), (2, 2))

    def test_register_and_unregister(self):
        self.succeeds(["register"], {"registered": True, "oid": "1.2.643.2.4.12.2.1"})
        self.assertEqual(self.expect(0, "register"), "1.2.643.2.4.12.2.1\n")
        self.succeeds(["unregister"], {})
        self.assertEqual(self.expect(0, "unregister"), "")
        machine = self.folder / "machine"
        (machine / "oid_functions.toml").unlink()
        (machine / "oid_functions.toml").mkdir()
        self.fails(7, ["register"])

    def test_version(self):
        report = self.succeeds(["--version"], {"version": text(r"\d+\.\d+\.\d+")})
        self.assertEqual(self.run_json(0, ["--json", "--version"], {"version": str}, None), report)
        self.assertEqual(self.expect(0, "--version"), f"mvlpfx {report['version']}\n")
        self.fails(2, ["verify", "--version"])

    def test_options_stand_before_or_behind_what_is_done(self):
        self.new("box")
        for args in (["keys", "--json", "list"], ["keys", "list", "--json"]):
            (row,) = json.loads(self.expect(0, *args))["containers"]
            self.assertEqual(row["container"], "box")
        for args in (["certs", "--store", "CA", "list"], ["certs", "list", "--store", "CA"]):
            self.assertEqual(self.report(*args)["store"], "CA")
        for args in (["keys", "--machine", "delete", "box"], ["keys", "delete", "--machine", "box"]):
            self.expect(8, *args, err="no such container")

    def test_wrong_usage(self):
        for subcommand in SUBCOMMANDS:
            with self.subTest(subcommand):
                report = self.fails(2, [subcommand, "--nonsense"])
                self.assertIn(f"mvlpfx {subcommand} --help", report["advice"])
        for args in ([], ["frobnicate"], ["verify"], ["create"], ["new"], ["restore"], ["info"],
                     ["verify", NAMED, "--pass-env", "A", "--pass-stdin"],
                     ["new", "--subject", "CN=x", "--days", "0"],
                     ["verify", NAMED, "--max-iterations", "many"], ["keys", "delete"],
                     ["certs", "add"], ["register", "more"]):
            with self.subTest(args):
                self.fails(2, args)

    def test_a_word_that_is_no_command_is_named(self):
        for args, happened in ((["frob"], "there is no command 'frob'"),
                               (["help", "frob"], "there is no command 'frob'"),
                               (["frob", "--help"], "there is no command 'frob'"),
                               (["--nonsense"], "there is no option '--nonsense' without a command"),
                               (["keys", "frob"], "not expected: frob"),
                               (["--nonsense", "keys"], "not expected: --nonsense")):
            with self.subTest(args):
                report = self.fails(2, args)
                self.assertIn(happened, report["message"])
                self.assertRegex(report["advice"], "^'mvlpfx( keys)? --help' shows")

    def test_help_is_a_word_too(self):
        for words in ([], ["create"], ["keys", "delete"], ["certs"]):
            with self.subTest(words):
                self.assertEqual(self.expect(0, "help", *words), self.expect(0, *words, "--help"))
        self.assertEqual(self.expect(0, "help", "help"), self.expect(0, "--help"))

    def test_bytes_that_are_no_text_are_replaced(self):
        name = os.fsdecode(b"no \xff text")
        result = subprocess.run([self.tool, "info", name, "--json"], cwd=self.folder,
                                capture_output=True, check=False)
        self.assertEqual(json.loads(result.stdout)["subject"], "no \ufffd text")


class Streams(Profile):
    """Data on standard output; messages, and nothing on success, on standard error."""

    def setUp(self):
        super().setUp()
        self.source = ["--pass-file", "password"]

    def test_quiet_leaves_lists_and_errors(self):
        self.assertEqual(self.expect(0, "new", "--subject", "CN=x", "--container", "one",
                                     "--exportable", "--quiet"), "")
        self.assertEqual(self.expect(0, "create", "-o", "out.pfx", *self.source, "--quiet"), "")
        self.assertEqual(self.expect(0, "verify", "out.pfx", *self.source, "--quiet"), "")
        self.assertEqual(self.expect(0, "register", "--quiet"), "")
        self.assertEqual(self.expect(0, "unregister", "--quiet"), "")
        for args in (["keys"], ["certs"], ["info", "out.pfx"], ["info", "out.pfx", "--tree"],
                     ["restore", "out.pfx", *self.source, "--dry-run"]):
            with self.subTest(args):
                told = self.expect(0, *args)
                self.assertNotEqual(told, "")
                self.assertEqual(self.expect(0, *args, "--quiet"), told)
        self.assertEqual(self.expect(0, "restore", "out.pfx", *self.source, "--quiet"), "")
        self.assertIs(self.report("verify", "out.pfx", *self.source, "--quiet")["fits"], True)
        self.expect(7, "verify", "nowhere", *self.source, "--quiet", err="No such file")

    def on_terminal(self, *args, env=None):
        """Everything that the tool shows where all of its streams are a terminal."""
        child, terminal = pty.fork()
        if child == 0:
            os.chdir(self.folder)
            os.execve(self.tool, [self.tool, *map(str, args)],
                      {**self.environment(), "TERM": "xterm-256color", **(env or {})})
        shown = b""
        try:
            while piece := os.read(terminal, 1024):
                shown += piece
        except OSError:
            pass  # how a terminal says that its last program has gone
        os.waitpid(child, 0)
        os.close(terminal)
        return shown

    def test_no_escape_sequence_reaches_a_terminal(self):
        self.new("one", "--exportable")
        self.expect(0, "create", "-o", "out.pfx", *self.source)
        for env in ({}, {"NO_COLOR": "1"}):
            for args in (["keys"], ["certs"], ["info", "out.pfx", *self.source],
                         ["info", "out.pfx", "--tree"], ["verify", "out.pfx", *self.source],
                         ["create", "-o", "out.pfx", *self.source],
                         ["restore", "out.pfx", *self.source], ["register"], ["unregister"],
                         ["--help"], ["new", "--help"], ["nonsense"],
                         ["verify", SLOW, "--pass-file", SLOW.with_suffix(".password")]):
                with self.subTest(args, env=env):
                    shown = self.on_terminal(*args, env=env)
                    self.assertEqual(shown == b"", args == ["unregister"])
                    self.assertNotIn(b"\x1b", shown)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
