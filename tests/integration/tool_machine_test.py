#!/usr/bin/env python3
"""Documents of the machine's keys: tool_machine_test.py MVLPFX SUPPORT PEERS WRITER"""
import os
import pathlib
import subprocess
import sys
import unittest

sys.path.insert(0, sys.argv[2])
from tool_profile import Profile  # noqa: E402

Profile.tool = sys.argv[1]
CHAIN = pathlib.Path(sys.argv[3]) / "openssl-chain.pfx"
WRITER = sys.argv[4]

# Root passes by the modes of files, unless it goes without these capabilities.
AS_ANYONE = ([] if os.geteuid() != 0 else
             ["setpriv", "--bounding-set", "-dac_override,-dac_read_search"])


class CreateOfTheMachine(Profile):
    def create(self, *args, code=0, **more):
        return self.expect(code, "create", "--force", "-o", "out.pfx", "--pass-file", "password",
                           *args, **more)

    def refused(self, *args, code, **more):
        return self.report("create", "--force", "-o", "out.pfx", "--pass-file", "password", *args,
                           code=code, **more)

    def written(self):
        """Thumbprints of the document's certificates, and how many keys it has."""
        report = self.report("restore", "out.pfx", "--dry-run", "--pass-file", "password")
        return [row["thumbprint"] for row in report["certificates"]], len(report["keys"])

    def test_its_keys_leave_and_the_users_stay(self):
        self.new("users", "--exportable")
        machines = self.new("machines", "--exportable", "--machine")
        self.assertEqual(self.create("--machine"), "out.pfx: 1 key, 1 certificate\n")
        self.assertEqual(self.written(), ([machines], 1))
        other = self.folder / "other"
        restored = self.report("restore", "out.pfx", "--pass-file", "password", home=other)
        self.assertEqual([row["hasKey"] for row in restored["certificates"]], [True])

    def test_of_two_containers_of_one_name_the_one_that_is_meant(self):
        users = self.new("box", "--exportable")
        machines = self.new("box", "--exportable", "--machine")
        for options, thumbprint in (([], users), (["--machine"], machines)):
            for choice in (["--container", "box"], ["--subject", "box"],
                           ["--thumbprint", thumbprint]):
                with self.subTest(options + choice):
                    self.create(*options, *choice)
                    self.assertEqual(self.written(), ([thumbprint], 1))

    def test_a_key_that_went_to_the_machine_beside_a_users_certificate(self):
        """Its container is named with --machine, as it is the machine's."""
        subprocess.run([WRITER, self.folder], check=True)
        self.file("king", "Password1\n")
        containers = self.report("restore", "machine-key.pfx", "--pass-file", "king",
                                 "--exportable")["containers"]
        self.assertIn("kept (machine)", containers)
        (certificate,) = self.report("certs")["certificates"]
        for options in ([], ["--machine", "--container", "kept"]):
            self.create(*options)
            self.assertEqual(self.written(), ([certificate["thumbprint"]], 1))
        self.create("--container", "kept", code=8,
                    err="'mvlpfx keys' lists the containers; --machine the machine's")

    def test_a_container_whose_certificate_lies_beside_its_key_alone(self):
        thumbprint = self.new("box", "--exportable", "--machine")
        self.expect(0, "certs", "delete", thumbprint, "--machine")
        self.create("--machine", "--container", "box")
        self.assertEqual(self.written(), ([thumbprint], 1))

    def test_issuers_come_from_its_stores(self):
        self.file("password", CHAIN.with_suffix(".password").read_bytes())
        self.expect(0, "restore", CHAIN, "--machine", "--exportable", "--pass-file", "password")
        self.assertEqual(self.create("--machine"), "out.pfx: 1 key, 1 certificate\n")
        self.assertEqual(self.create("--machine", "--chain"), "out.pfx: 1 key, 3 certificates\n")
        # The user's stores count for nothing.
        for store in ("CA", "ROOT"):
            (row,) = self.report("certs", "--machine", "--store", store)["certificates"]
            self.expect(0, "certs", "delete", row["thumbprint"], "--machine", "--store", store)
        self.expect(0, "restore", CHAIN, "--pass-file", "password")
        self.assertEqual(self.create("--machine", "--chain"), "out.pfx: 1 key, 1 certificate\n")

    def test_a_key_behind_a_pin(self):
        self.file("pin", "2468\n")
        self.new("guarded", "--exportable", "--machine", "--pin-file", "pin")
        self.create("--machine", code=8, err="a container has a PIN")
        self.create("--machine", "--pin-file", "pin")
        self.assertEqual(self.written()[1], 1)

    def test_a_key_that_must_not_leave(self):
        thumbprint = self.new("stays", "--machine")
        report = self.refused("--machine", code=8)
        self.assertEqual(report["errorName"], "XENROLL_E_KEY_NOT_EXPORTABLE")
        self.assertIn("--machine the machine's", report["advice"])
        self.assertEqual(report["refused"], [
            {"thumbprint": thumbprint, "subject": "CN=stays, C=RU", "container": "stays"}])

    def test_a_key_that_is_gone(self):
        gone = self.new("gone", "--exportable", "--machine")
        self.new("here", "--exportable", "--machine")
        # The user's is another.
        self.new("gone", "--exportable")
        self.expect(0, "keys", "delete", "gone", "--machine")
        report = self.refused("--machine", code=8)
        self.assertEqual(report["errorName"], "NTE_BAD_KEYSET")
        self.assertEqual([row["thumbprint"] for row in report["refused"]], [gone])
        self.create("--machine", "--allow-missing-keys")
        self.assertEqual((len(self.written()[0]), self.written()[1]), (2, 1))

    def test_a_choice_that_means_nothing_tells_whose_store_it_is(self):
        self.assertIn("or take the machine's with --machine", self.refused(code=1)["advice"])
        self.new("users", "--exportable")
        report = self.refused("--machine", code=1)
        self.assertEqual(report["message"], "there is no certificate in the machine's MY")
        self.assertEqual(report["advice"],
                         "'mvlpfx certs --machine' lists them; name one with --subject, "
                         "--thumbprint or --container, or make one with 'mvlpfx new --machine'")
        report = self.refused("--machine", "--subject", "users", code=1)
        self.assertEqual(report["message"],
                         "no certificate of the machine's MY is meant by --subject 'users'")
        report = self.refused("--machine", "--container", "users", code=8)
        self.assertEqual(report["errorName"], "NTE_BAD_KEYSET")

    def test_a_container_without_a_certificate_tells_where_to_look(self):
        subprocess.run([WRITER, self.folder], check=True)
        self.file("king", "Password1\n")
        made = self.report("restore", "untied.pfx", "--machine", "--pass-file", "king",
                           "--exportable")["containers"]
        (bare,) = [name.removesuffix(" (machine)") for name in made if name.startswith("rnd-")]
        report = self.refused("--machine", "--container", bare, code=1)
        self.assertEqual(report["message"],
                         f"no certificate of the machine's MY has its key in the container '{bare}', "
                         "and none lies beside a key there")
        self.assertTrue(report["advice"].startswith("'mvlpfx keys --machine' shows"), report)

    def test_a_user_without_the_right_is_told_so(self):
        self.new("box", "--exportable", "--machine")
        machine = self.folder / "machine"
        # Keys are closed to others, certificates are not.
        (machine / "keys").chmod(0)
        report = self.refused("--machine", code=8, before=AS_ANYONE)
        self.assertEqual([row["errorName"] for row in report["refused"]], ["ERROR_ACCESS_DENIED"])
        self.assertIn("look at its owner and mode, or run as its owner", report["advice"])
        report = self.refused("--machine", "--container", "box", code=7, before=AS_ANYONE)
        self.assertEqual(report["errorName"], "ERROR_ACCESS_DENIED")
        (machine / "keys").chmod(0o700)
        (machine / "stores" / "MY").chmod(0)
        report = self.refused("--machine", code=7, before=AS_ANYONE)
        self.assertEqual(report["message"],
                         "can't open the store MY: no right to the file or folder")
        (machine / "stores" / "MY").chmod(0o755)
        self.assertFalse((self.folder / "out.pfx").exists())
        self.create("--machine")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
