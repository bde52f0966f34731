#!/usr/bin/env python3
"""Keys, certificates and documents on the command line.

tool_profile_test.py MVLPFX SUPPORT DOCUMENTS CALL_BY_OID
"""
import base64
import hashlib
import json
import os
import pathlib
import subprocess
import sys
import tomllib
import unittest

sys.path.insert(0, sys.argv[2])
from tool_profile import ALGORITHMS, Profile  # noqa: E402

Profile.tool = sys.argv[1]
DOCUMENTS = pathlib.Path(sys.argv[3])
CALL_BY_OID = sys.argv[4]


class New(Profile):
    def test_a_key_of_each_family_with_its_certificate(self):
        for algorithm in ALGORITHMS:
            thumbprint = self.new(algorithm, algorithm=algorithm)
            self.assertRegex(thumbprint, "^[0-9a-f]{40}$")
        containers = self.report("keys")["containers"]
        self.assertEqual([c["container"] for c in containers], sorted(ALGORITHMS))
        for container in containers:
            (key,) = container["keys"]
            self.assertEqual(key["algorithm"], container["container"])
            self.assertEqual(key["subject"], f"CN={container['container']}, C=RU")
            self.assertFalse(key["exportable"])
        certificates = self.report("certs")["certificates"]
        self.assertEqual(len(certificates), 3)
        self.assertEqual({c["container"] for c in certificates},
                         {c["uniqueName"] for c in containers})

    def test_every_option(self):
        self.file("pin", "2468")
        report = self.report("new", "--subject", "CN=\"Petrov, Ivan\", O=Org", "--curve",
                             "1.2.643.7.1.2.1.1.1", "--days", "3", "--exportable", "--machine",
                             "--pin-file", "pin")
        self.assertRegex(report["container"], "^key-[0-9a-f]{16}$")
        self.assertEqual(self.report("keys")["containers"], [])
        (container,) = self.report("keys", "--machine")["containers"]
        self.assertTrue(container["keys"][0]["exportable"])
        (certificate,) = self.report("certs", "--machine")["certificates"]
        self.assertEqual(certificate["subject"], "CN=\"Petrov, Ivan\", O=Org")

    def test_names_that_are_taken_or_none(self):
        self.new("box")
        before = self.report("keys")
        self.expect(9, "new", "--subject", "CN=x", "--container", "box", err="exists already")
        self.expect(2, "new", "--subject", "CN=x", "--container", "n" * 261, err="the name")
        self.assertEqual(self.report("keys"), before)

    def test_nothing_stays_of_a_key_that_could_not_be_made(self):
        self.expect(2, "new", "--subject", "CN=x", "--curve", "1.2.3", err="curve")
        self.expect(2, "new", "--subject", "CN=x, nonsense", err='at "nonsense"')
        self.expect(2, "new", "--subject", "CN=x", "--algorithm", "rsa", err="gost2001")
        (self.home / "stores").write_text("no folder")
        self.expect(7, "new", "--subject", "CN=x", err="MY")
        (self.home / "stores").unlink()
        self.assertEqual(self.report("keys")["containers"], [])
        self.assertEqual(self.report("certs")["certificates"], [])

    def test_secrets_do_not_stand_on_the_command_line(self):
        help_text = self.expect(0, "new", "--help") + self.expect(0, "create", "--help")
        self.assertNotRegex(help_text, r"--pin[ =]|--password[ =]")


class Keys(Profile):
    def setUp(self):
        super().setUp()
        self.home.mkdir()

    def test_deleting_one(self):
        self.new("one")
        self.new("two")
        self.expect(0, "keys", "delete", "one")
        self.assertEqual([c["container"] for c in self.report("keys", "list")["containers"]],
                         ["two"])
        self.expect(8, "keys", "delete", "one", err="no such container")

    def test_names_in_any_characters(self):
        self.new("../Иван/..")
        self.assertIn("../Иван/..", self.expect(0, "keys"))
        self.expect(0, "keys", "delete", "../Иван/..")
        self.assertEqual(self.expect(0, "keys"), "")

    def test_names_that_would_command_a_terminal_are_shown_without(self):
        name = "box\x1b[2J\u009b1m\nline\x7f"
        self.expect(0, "new", "--subject", "CN=\"" + name + "\"", "--container", name)
        for listed in (self.expect(0, "keys"), self.expect(0, "certs")):
            self.assertIn("box?[2J", listed)
            self.assertEqual(listed.count("\n"), 1)
            self.assertNotRegex(listed[:-1], "[\x00-\x1f\x7f-\x9f]")
        self.assertEqual(self.report("keys")["containers"][0]["container"], name)
        failed = self.run_tool("keys", "delete", name + "x").stderr.decode()
        self.assertNotRegex(failed[:-1], "[\x00-\x09\x0b-\x1f\x7f-\x9f]")

    def test_a_damaged_file_is_named_and_hides_no_other(self):
        self.new("one")
        damaged = self.home / "keys" / ("0" * 64 + ".key")
        damaged.write_bytes(b"VLXKEYS")
        damaged.chmod(0o600)
        listed = self.expect(8, "keys", err=str(damaged))
        self.assertIn("one", listed)
        report = self.report("keys", code=8)
        self.assertEqual(report["damaged"], [str(damaged)])
        self.assertEqual(len(report["containers"]), 1)

    def test_a_folder_that_cannot_be_made(self):
        (self.home / "keys").write_text("no folder")
        self.expect(7, "new", "--subject", "CN=x", err=str(self.home / "keys"))
        self.assertEqual((self.home / "keys").read_text(), "no folder")


class Settings(Profile):
    def test_of_the_log_write_to_its_file_and_never_to_the_terminal(self):
        log = self.folder / "module.log"
        settings = self.file("settings.toml", "['Software\\Wow6432Node\\Velmorix\\Logs\\mvlpfx64']\n"
                             "dbg_level = 8\nfile_level = 8\nfile_field = 0x10\n"
                             f"file_filename = '{log}'\n")
        # Which also says that nothing is on standard error.
        self.expect(0, "keys", env={"VELMORIX_SETTINGS": str(settings)})
        self.assertEqual(log.read_text(), "loading\nunloading\n")
        self.assertEqual(log.stat().st_mode & 0o7777, 0o600)


class Registration(Profile):
    SETS = {"CryptVLXExportPFX": "UzCreatePFX", "CryptVLXRestorePFX": "UzRestorePFX",
            "CryptVLXVerifyPswPFX": "UzVerifyPswPFX"}

    def entries(self):
        table = tomllib.loads((self.folder / "machine" / "oid_functions.toml").read_text())
        return {entry["set"]: entry for entry in table["function"]}

    def test_enters_the_functions_for_good(self):
        self.assertIn("1.2.643.2.4.12.2.1", self.expect(0, "register"))
        entered = self.entries()
        self.assertEqual({name: entry["name"] for name, entry in entered.items()}, self.SETS)
        for entry in entered.values():
            self.assertEqual(entry["oid"], "1.2.643.2.4.12.2.1")
            self.assertEqual(entry["encoding"], 1)
            self.assertEqual(pathlib.Path(entry["library"]).name, "libmvlpfx64.so.0")
            self.assertTrue(pathlib.Path(entry["library"]).is_absolute())
        self.assertEqual(self.expect(0, "unregister"), "")
        self.assertEqual(self.entries(), entered)
        self.expect(0, "register", "--quiet")
        self.assertEqual(self.entries(), entered)

    def test_lets_a_program_call_what_it_knows_by_set_and_oid_alone(self):
        document = DOCUMENTS / "openssl-three-2012-256.pfx"
        password = document.with_suffix(".password").read_text().rstrip("\n")
        call = [CALL_BY_OID, document, password, self.folder / "made.pfx"]
        environment = {**os.environ, "VELMORIX_HOME": str(self.home),
                       "VELMORIX_MACHINE_HOME": str(self.folder / "machine")}
        before = subprocess.run(call, env=environment, capture_output=True, check=False)
        self.assertEqual(before.returncode, 1)
        self.assertIn(b"CryptVLXVerifyPswPFX: last error 0x00000002", before.stderr)
        self.expect(0, "register")
        made = subprocess.run(call, env=environment, capture_output=True, check=False)
        self.assertEqual((made.returncode, made.stderr), (0, b""))
        self.assertRegex(made.stdout.decode(), "^[1-9][0-9]* certificates$")
        # Made of what was restored, keys included.
        self.assertEqual(len(self.report("keys")["containers"]), 1)
        self.expect(0, "restore", "made.pfx", "--pass-file", document.with_suffix(".password"),
                    home=self.folder / "other")
        self.assertEqual(len(self.report("keys", home=self.folder / "other")["containers"]), 1)

    def test_reports(self):
        self.assertEqual(self.report("register")["registered"], True)
        self.assertEqual(self.report("unregister")["exitCode"], 0)
        self.assertEqual(self.expect(0, "unregister", "--quiet"), "")

    def test_of_a_machine_that_does_not_take_it(self):
        (self.folder / "machine").write_text("no folder")
        self.expect(7, "register", err="(0x8007")
        report = self.report("register", code=7)
        self.assertEqual(report["errorWord"][:6], "0x8007")
        # What it fails at is the system log's alone.
        self.expect(0, "unregister")


class Certs(Profile):
    def setUp(self):
        super().setUp()
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj",
                        "/CN=plain", "-keyout", "key", "-out", "cert.pem"], cwd=self.folder,
                       check=True, capture_output=True)
        subprocess.run(["openssl", "x509", "-in", "cert.pem", "-outform", "DER", "-out",
                        "cert.der"], cwd=self.folder, check=True)

    def test_adding_both_forms_listing_and_deleting(self):
        thumbprint = self.expect(0, "certs", "add", "cert.pem", "--store", "CA").strip()
        self.assertEqual(self.expect(0, "certs", "add", "cert.der", "--store", "CA").strip(),
                         thumbprint)
        (row,) = self.report("certs", "--store", "CA")["certificates"]
        self.assertEqual((row["thumbprint"], row["subject"]), (thumbprint, "CN=plain"))
        self.assertEqual(self.report("certs", "--store", "ROOT")["certificates"], [])
        spelled = ":".join(thumbprint[i:i + 2] for i in range(0, 40, 2)).upper()
        self.expect(0, "certs", "delete", spelled, "--store", "CA")
        self.assertEqual(self.expect(0, "certs", "--store", "CA"), "")
        self.expect(8, "certs", "delete", thumbprint, "--store", "CA", err="no such certificate")

    def test_a_damaged_file_is_named_and_hides_no_other(self):
        self.expect(0, "certs", "add", "cert.pem")
        (damaged,) = (self.home / "stores" / "MY").glob("[0-9A-Fa-f]*")
        self.new("own")
        damaged.write_bytes(b"no certificate")
        listed = self.expect(7, "certs", err=damaged.name)
        self.assertIn("CN=own", listed)

    def test_several_in_one_file_among_other_text(self):
        pem = (self.folder / "cert.pem").read_text()
        self.new("own")
        self.file("many.pem", "first\n" + pem + "second\r\n" + pem.replace("\n", "\r\n"))
        self.assertEqual(len(self.expect(0, "certs", "add", "many.pem").split()), 2)
        self.assertEqual(len(self.report("certs")["certificates"]), 2)

    def test_text_as_editors_save_it(self):
        pem = "Владелец: plain\r\n" + (self.folder / "cert.pem").read_text()
        for encoding in ("utf-8-sig", "utf-16", "utf-16-be"):
            self.file("saved.pem", ("\ufeff" if encoding == "utf-16-be" else "").encode(encoding) +
                      pem.encode(encoding))
            self.assertEqual(len(self.expect(0, "certs", "add", "saved.pem").split()), 1, encoding)
        self.assertEqual(len(self.report("certs")["certificates"]), 1)

    def test_files_that_hold_none(self):
        for content in (b"", b"hello", b"\x30\x03\x02\x01\x03",
                        b"-----BEGIN CERTIFICATE-----\nMAMCAQM=\n-----END CERTIFICATE-----\n",
                        b"-----BEGIN CERTIFICATE-----\nMAMCAQM=\n"):
            self.file("bad", content)
            self.expect(4, "certs", "add", "bad")
        self.expect(7, "certs", "add", "/nonexistent", err="No such file")
        self.expect(2, "certs", "delete", "12")
        self.assertEqual(self.report("certs")["certificates"], [])


class CreateAndRestore(Profile):
    def setUp(self):
        super().setUp()
        self.other = self.folder / "other"

    def create(self, *args, code=0, **more):
        return self.expect(code, "create", "-o", "out.pfx", "--pass-file", "password", *args,
                           **more)

    def restore(self, *args, code=0, home=None, **more):
        return self.report("restore", "out.pfx", "--pass-file", "password", *args, code=code,
                           home=home or self.other, **more)

    def test_there_and_back(self):
        thumbprints = {self.new(name, "--exportable") for name in ("one", "two")}
        self.assertEqual(self.create("--names"), "out.pfx: 2 keys, 2 certificates\n")
        self.assertEqual((self.folder / "out.pfx").stat().st_mode & 0o777, 0o600)
        report = self.restore("--exportable")
        self.assertEqual(report["containers"], ["one", "two"])
        self.assertEqual({c["thumbprint"] for c in report["certificates"]}, thumbprints)
        self.assertEqual([c["stores"] for c in report["certificates"]], [["MY"], ["MY"]])
        self.assertEqual(report["keysWithoutCertificate"], 0)
        again = self.expect(0, "create", "-o", "again.pfx", "--pass-file", "password",
                            home=self.other)
        self.assertEqual(again, "again.pfx: 2 keys, 2 certificates\n")

    def test_a_new_password_does_not_begin_with_a_byte_order_mark(self):
        self.new("one", "--exportable")
        self.file("marked", "\ufeffPassword1\n")
        self.expect(2, "create", "-o", "new.pfx", "--pass-file", "marked", err="byte order mark")
        self.assertFalse((self.folder / "new.pfx").exists())

    def test_one_of_several_by_each_kind_of_name(self):
        self.new("one", "--exportable")
        two = self.new("two", "--exportable")
        for selector in (["--subject", "cn=TWO"], ["--thumbprint", two.upper()],
                         ["--container", "two"]):
            self.create("--force", *selector)
            (certificate,) = self.restore("--dry-run")["certificates"]
            self.assertEqual(certificate["thumbprint"], two)
        self.create("--force", "--subject", "one", "--thumbprint", two)
        self.assertEqual(len(self.restore("--dry-run")["certificates"]), 2)
        self.create("--subject", "three", code=1, err="no certificate")
        self.create("--container", "three", code=8, err="three")

    def test_a_document_that_is_there_stays(self):
        self.new("one", "--exportable")
        self.file("out.pfx", "mine")
        self.create(code=9, err="--force")
        self.assertEqual((self.folder / "out.pfx").read_text(), "mine")
        self.create("--force")
        self.assertEqual(sorted(p.name for p in self.folder.iterdir() if "out" in p.name),
                         ["out.pfx"])

    def test_an_output_that_cannot_be_written(self):
        self.new("one", "--exportable")
        self.expect(7, "create", "-o", "no/such/folder/out.pfx", "--pass-file", "password",
                    err="No such file")

    def test_text_form(self):
        self.new("one", "--exportable")
        self.create("--pem")
        text = (self.folder / "out.pfx").read_text()
        self.assertTrue(text.startswith("-----BEGIN PKCS12-----\n"), text)
        self.expect(0, "verify", "out.pfx", "--pass-file", "password")
        self.assertEqual(len(self.restore()["containers"]), 1)

    def test_a_curve_of_another_size(self):
        self.expect(5, "new", "--subject", "CN=x", "--algorithm", "gost2012-512", "--curve",
                    "1.2.643.2.2.35.1", err="--curve")

    def test_a_key_behind_a_pin(self):
        self.file("pin", "2468\n")
        self.new("guarded", "--exportable", "--pin-file", "pin")
        self.new("open", "--exportable")
        self.file("wrong", "1357\n")
        self.create("--subject", "guarded", "--pin-file", "wrong", code=8, err="CN=guarded")
        self.assertFalse((self.folder / "out.pfx").exists())
        self.create("--subject", "guarded", "--pin-file", "pin")
        self.create("--force", "--subject", "guarded", "--pin-env", "THE_PIN",
                    env={"THE_PIN": "2468"})

    def test_a_container_without_a_pin_gets_none_from_an_export(self):
        self.file("pin", "2468\n")
        self.file("typo", "2486\n")
        self.new("bare", "--exportable")
        kept = {path: path.read_bytes() for path in (self.home / "keys").glob("*.key")}
        self.assertEqual(len(kept), 1)
        self.new("guarded", "--exportable", "--pin-file", "pin")
        self.create("--pin-file", "typo", code=8, err="CN=guarded")
        self.create("--pin-file", "pin")
        self.create("--force", "--subject", "bare", "--pin-file", "typo")
        self.assertEqual({path: path.read_bytes() for path in kept}, kept)
        self.create("--force", "--subject", "bare")

    def test_a_pin_from_a_descriptor(self):
        self.file("pin", "2468\n")
        self.new("guarded", "--exportable", "--pin-file", "pin")
        with (self.folder / "pin").open() as pin:
            self.create("--pin-fd", pin.fileno(), pass_fds=[pin.fileno()])

    def test_issuers_are_taken_along_when_asked_for(self):
        document = DOCUMENTS / "openssl-chain.pfx"
        self.file("password", document.with_suffix(".password").read_bytes())
        stores = {c["subject"]: c["stores"] for c in self.report(
            "restore", document, "--pass-file", "password", "--exportable")["certificates"]}
        self.assertEqual(stores, {"CN=chain": ["MY"], "CN=issuer": ["CA"],
                                  "CN=root": ["ROOT"]})
        self.assertEqual(self.create(), "out.pfx: 1 key, 1 certificate\n")
        self.assertEqual(self.create("--chain", "--force"), "out.pfx: 1 key, 3 certificates\n")
        subjects = [c["subject"] for c in self.restore()["certificates"]]
        self.assertEqual(sorted(subjects), sorted(stores))

    def test_a_key_that_is_gone(self):
        gone = self.new("gone", "--exportable")
        (row,) = self.report("keys")["containers"]
        self.new("here", "--exportable")
        self.expect(0, "keys", "delete", "gone")
        self.create(code=8, err="CN=gone")
        self.assertFalse((self.folder / "out.pfx").exists())
        self.assertEqual(self.create("--allow-missing-keys"),
                         "out.pfx: 1 key, 2 certificates\n"
                         f"left out the key of {gone} CN=gone, C=RU, container "
                         f"{row['uniqueName']}: there is no such container\n")
        report = self.restore()
        self.assertEqual(len(report["certificates"]), 2)
        self.assertEqual(sum(c["hasKey"] for c in report["certificates"]), 1)

    def test_what_is_written_is_told_in_json_or_not_at_all(self):
        gone = self.new("gone", "--exportable")
        (row,) = self.report("keys")["containers"]
        self.new("here", "--exportable")
        self.expect(0, "keys", "delete", "gone")
        report = json.loads(self.create("--allow-missing-keys", "--json"))
        self.assertEqual((report["keys"], report["certificates"]), (1, 2))
        self.assertEqual(report["withoutKey"], [
            {"thumbprint": gone, "subject": "CN=gone, C=RU", "container": row["uniqueName"],
             "errorWord": "0x80090016", "errorName": "NTE_BAD_KEYSET"}])
        self.assertEqual(self.create("--force", "--subject", "here", "--quiet"), "")

    def test_a_subject_of_two_lines_is_told_in_one(self):
        self.expect(0, "new", "--subject", 'CN="two\nlines"', "--container", "gone",
                    "--exportable")
        self.expect(0, "keys", "delete", "gone")
        self.create(code=8, err="two?lines")

    def test_a_key_that_must_not_leave(self):
        self.new("stays")
        self.create(code=8, err="not exportable")
        self.assertFalse((self.folder / "out.pfx").exists())

    def test_the_password_as_pin(self):
        self.new("one", "--exportable")
        self.create()
        (name,) = self.restore("--exportable", "--pin-from-password")["containers"]
        source = ["create", "-o", "again.pfx", "--pass-file", "password"]
        self.expect(8, *source, home=self.other, err="a container has a PIN")
        self.expect(0, *source, "--pin-file", "password", home=self.other)
        self.assertTrue(name.startswith("rnd-"), name)

    def test_keys_only_and_machine(self):
        self.new("one", "--exportable")
        self.create()
        report = self.restore("--keys-only", "--machine")
        self.assertEqual(len(report["containers"]), 1)
        self.assertTrue(report["containers"][0].endswith(" (machine)"))
        self.assertEqual(self.report("certs", home=self.other)["certificates"], [])
        self.assertEqual(self.report("certs", "--machine", home=self.other)["certificates"], [])
        self.assertEqual(len(self.report("keys", "--machine")["containers"]), 1)

    def test_a_dry_run_writes_nothing(self):
        thumbprint = self.new("one", "--exportable")
        self.create("--names")
        report = self.restore("--dry-run")
        self.assertEqual(report["keys"], [{"number": 1, "name": "one", "thumbprint": thumbprint}])
        self.assertEqual(report["certificates"], [{"thumbprint": thumbprint,
                                                   "subject": "CN=one, C=RU"}])
        self.assertFalse(self.other.exists())
        self.expect(3, "restore", "out.pfx", "--dry-run", "--pass-stdin", stdin=b"wrong",
                    err="wrong password")

    def test_refusals_of_a_restore(self):
        self.new("one", "--exportable")
        self.create()
        self.expect(3, "restore", "out.pfx", "--pass-stdin", stdin=b"wrong", home=self.other,
                    err="wrong password")
        # The integrity value twice, the certificates and the key, 2000 each.
        self.expect(6, "restore", "out.pfx", "--pass-file", "password", "--max-iterations", "7999",
                    home=self.other, err="asks for 8000 iterations in all")
        self.expect(0, "restore", "out.pfx", "--pass-file", "password", "--max-iterations", "8000",
                    home=self.other)
        self.expect(4, "restore", "password", "--pass-file", "password", home=self.other)
        self.expect(2, "restore", "-", "--pass-stdin", stdin=b"x", err="standard input")

    def test_documents_of_gnutls_say_what_they_lack(self):
        document = DOCUMENTS / "gnutls-2012-256.pfx"
        for options in ([], ["--dry-run"]):
            with self.subTest(options):
                result = self.run_tool("restore", document, *options, "--pass-file",
                                       document.with_suffix(".password"))
                self.assertEqual(result.returncode, 4, result)
                said = result.stderr.decode()
                self.assertIn("0x80093103", said)
                self.assertIn("PBES2Sheme.KezDeriv", said)
        self.assertEqual(self.report("keys")["containers"], [])

    def test_documents_of_openssl_in_every_form(self):
        document = DOCUMENTS / "openssl-three-2012-256.pfx"
        password = document.with_suffix(".password")
        text = base64.encodebytes(document.read_bytes())
        pem = b"-----BEGIN PKCS12-----\n" + text + b"-----END PKCS12-----\n"
        for form in (document.read_bytes(), text, pem):
            self.other = self.folder / hashlib.sha1(form).hexdigest()
            report = self.report("restore", "-", "--pass-file", password, stdin=form,
                                 home=self.other)
            self.assertEqual(len(report["containers"]), 1)
            self.assertEqual(sum(c["hasKey"] for c in report["certificates"]), 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
