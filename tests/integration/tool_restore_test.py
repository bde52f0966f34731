#!/usr/bin/env python3
"""What `mvlpfx restore` tells of what it made: tool_restore_test.py MVLPFX SUPPORT WRITER"""
import re
import subprocess
import sys
import unittest

sys.path.insert(0, sys.argv[2])
from tool_profile import Profile  # noqa: E402

Profile.tool = sys.argv[1]
WRITER = sys.argv[3]


class Restore(Profile):
    def setUp(self):
        super().setUp()
        subprocess.run([WRITER, self.folder], check=True)
        self.file("password", "Password1\n")

    def restore(self, code, document, *args, **more):
        return self.expect(code, "restore", document, "--pass-file", "password", *args, **more)

    def containers(self):
        return self.report("keys")["containers"]

    def test_every_container_and_certificate_is_listed_with_its_place(self):
        out = self.restore(0, "untied.pfx")
        self.assertRegex(out, re.compile(
            r"\Acontainer    kept\n"
            r"container    rnd-\S+\n"
            r"certificate  [0-9a-f]{40}  key  MY        CN=leaf\n"
            r"certificate  [0-9a-f]{40}  -    ROOT      CN=ca\n"
            r"1 of the keys belongs to none of the certificates\n\Z"))

    def test_a_key_without_a_certificate_is_counted(self):
        self.assertEqual(self.restore(0, "untied.pfx", "--quiet"), "")
        report = self.report("restore", "untied.pfx", "--pass-file", "password")
        self.assertEqual(report["keysWithoutCertificate"], 1)

    def test_what_stays_of_a_restore_that_failed_is_named(self):
        result = self.run_tool("restore", "damaged-second-key.pfx", "--pass-file", "password")
        self.assertEqual(result.returncode, 4, result)
        said = result.stderr.decode()
        self.assertIn("0x80090005", said)
        self.assertIn("is no GOST key once it is decrypted, or is damaged", said)
        self.assertIn("the container kept was made and stays", said)
        self.assertRegex(said, r"the container rnd-\S+ was made and stays")
        self.assertEqual(len(self.containers()), 2)
        self.assertEqual(self.report("certs")["certificates"], [])

    def test_an_unknown_algorithm_ends_it_before_its_container(self):
        self.restore(5, "unknown-second-cipher.pfx", err="the container kept was made and stays")
        self.restore(5, "unknown-second-cipher.pfx", err="encrypted in a way")
        # Each time the first key's, of which the second has another name.
        self.assertEqual(len(self.containers()), 2)

    def test_what_cannot_be_read_and_where_nothing_can_be_made(self):
        self.restore(7, "nowhere.pfx", err="No such file")
        self.restore(7, self.folder, err="Is a directory")
        self.expect(7, "restore", "untied.pfx", "--pass-file", "nowhere", err="password")
        self.file("profile", "a file where the folder should be")
        self.restore(7, "untied.pfx", err="a folder can't be made")

    def test_the_iterations_behind_a_bag_that_holds_nothing_are_counted(self):
        self.restore(6, "hollow-bag.pfx", "--max-iterations", "3000", err="--max-iterations")
        self.assertEqual(self.containers(), [])
        # Those of the integrity value and the certificates are added.
        self.restore(0, "hollow-bag.pfx", "--max-iterations", "10000")
        self.assertEqual(len(self.containers()), 1)

    def test_a_dry_run_passes_over_a_bag_that_holds_nothing(self):
        out = self.restore(0, "hollow-bag.pfx", "--dry-run")
        self.assertRegex(out, r"\Awould restore key 2  [0-9a-f]{40}  named kept\n")

    def test_a_dry_run_tells_keys_and_certificates(self):
        out = self.restore(0, "untied.pfx", "--dry-run")
        self.assertRegex(out, re.compile(
            r"\Awould restore key 1  ([0-9a-f]{40})  named kept\n"
            r"would restore key 2  no certificate\n"
            r"would restore certificate  \1  CN=leaf\n"
            r"would restore certificate  [0-9a-f]{40}  CN=ca\n\Z"))
        self.assertEqual(self.restore(0, "untied.pfx", "--dry-run", "--quiet"), out)
        self.assertEqual(self.containers(), [])

    def test_a_dry_run_fails_where_the_restore_would_and_makes_nothing(self):
        for document, code, word in (("unknown-second-cipher.pfx", 5, "0x80090008"),
                                     ("unknown-before-malformed.pfx", 5, "0x80090008"),
                                     ("attribute-without-value.pfx", 4, "0x80093103"),
                                     ("malformed-attribute.pfx", 4, "0x80093103"),
                                     ("one-data.pfx", 4, "0x80090005")):
            with self.subTest(document):
                before = self.containers()
                self.restore(code, document, "--dry-run", err=word)
                self.assertEqual(self.containers(), before)
                self.restore(code, document, err=word)

    def test_what_is_malformed_is_named(self):
        for document, part in (("attribute-without-value.pfx", "has no value"),
                               ("malformed-attribute.pfx", "attribute")):
            for options in ([], ["--dry-run"]):
                with self.subTest(document, options=options):
                    self.restore(4, document, *options, err="is malformed: ")
                    self.restore(4, document, *options, err=part)

    def test_a_name_of_two_lines_is_told_in_one(self):
        result = self.run_tool("restore", "two-lines.pfx", "--pass-file", "password")
        self.assertEqual(result.returncode, 4, result)
        self.assertIn("the container two?lines was made and stays", result.stderr.decode())

    def stores_fail(self, certificate_line):
        result = self.run_tool("restore", "untied.pfx", "--pass-file", "password")
        self.assertNotEqual(result.returncode, 0, result)
        said = result.stderr.decode()
        self.assertIn("the keys are restored, but not every certificate could be put", said)
        self.assertIn("0x80090020", said)
        self.assertRegex(result.stdout.decode(), re.compile(
            r"\Acontainer    kept\ncontainer    rnd-\S+\n" + certificate_line))
        self.assertEqual(len(self.containers()), 2)

    def test_the_containers_are_told_where_no_store_can_be_opened(self):
        self.home.mkdir()
        (self.home / "stores").write_text("a file where the folder should be")
        self.stores_fail(r"certificate  [0-9a-f]{40}  key  -         CN=leaf\n")

    def test_the_containers_are_told_where_one_store_cannot_be_opened(self):
        (self.home / "stores").mkdir(parents=True)
        (self.home / "stores" / "CA").write_text("a file where the folder should be")
        self.stores_fail(r"certificate  [0-9a-f]{40}  key  MY        CN=leaf\n")

    def test_a_key_that_is_meant_for_the_machine_leaves_its_certificate_to_the_user(self):
        out = self.restore(0, "machine-key.pfx")
        self.assertRegex(out, re.compile(
            r"\Acontainer    kept \(machine\)\n"
            r"container    rnd-\S+ \(machine\)\n"
            r"certificate  [0-9a-f]{40}  key  MY        CN=leaf\n"))
        self.assertEqual(self.containers(), [])
        self.assertNotEqual(self.report("certs")["certificates"], [])
        self.assertEqual(self.report("certs", "--machine")["certificates"], [])

    def test_a_provider_that_cannot_be_loaded(self):
        settings = self.file("settings.toml",
                             "['SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\"
                             "Velmorix Cryptographic Service Provider']\n"
                             "'Image Path' = '/nonexistent.so'\n")
        self.restore(8, "untied.pfx", env={"VELMORIX_SETTINGS": str(settings)}, err="provider")
        self.assertEqual(self.containers(), [])


class BesideTheOriginal(Profile):
    def test_the_certificate_is_tied_to_the_new_container(self):
        self.new("box", "--exportable")
        create = ["create", "--force", "-o", "out.pfx", "--pass-file", "password", "--names"]
        self.expect(0, *create)
        (new,) = self.report("restore", "out.pfx", "--pass-file", "password")["containers"]
        # The name was taken.
        self.assertRegex(new, "^rnd-[0-9A-F-]{36}$")
        containers = {row["container"]: row for row in self.report("keys")["containers"]}
        self.assertEqual({name: row["keys"][0]["exportable"] for name, row in containers.items()},
                         {"box": True, new: False})
        (certificate,) = self.report("certs")["certificates"]
        self.assertEqual(certificate["container"], containers[new]["uniqueName"])
        self.expect(8, *create, err="not exportable")

    def test_what_is_advised_makes_the_document(self):
        thumbprint = self.new("box", "--exportable")
        create = ["create", "--force", "-o", "out.pfx", "--pass-file", "password"]
        restore = ["restore", "out.pfx", "--pass-file", "password"]
        self.expect(0, *create)
        self.expect(0, *restore)
        self.assertEqual(self.report(*create, code=8)["advice"],
                         "'mvlpfx keys' shows which are, --machine the machine's; take these, each "
                         "with --container and its name, or restore the key again, or make another, "
                         "with --exportable")
        (exportable,) = [line.split()[0] for line in self.expect(0, "keys").splitlines()
                         if "  exportable " in line]
        self.assertEqual(exportable, "box")
        self.assertEqual(self.expect(0, *create, "--container", exportable),
                         "out.pfx: 1 key, 1 certificate\n")
        (restored,) = self.report(*restore, "--dry-run")["certificates"]
        self.assertEqual(restored["thumbprint"], thumbprint)
        # What lies in "MY" is tied as it was.
        self.expect(8, *create, err="not exportable")
        self.expect(0, *restore, "--exportable")
        self.assertEqual(self.expect(0, *create), "out.pfx: 1 key, 1 certificate\n")

    def test_a_container_that_is_named_and_has_no_certificate(self):
        thumbprint = self.new("box", "--exportable")
        self.expect(0, "certs", "delete", thumbprint)
        create = ["create", "--force", "-o", "out.pfx", "--pass-file", "password"]
        self.assertEqual(self.expect(0, *create, "--container", "box"),
                         "out.pfx: 1 key, 1 certificate\n")
        subprocess.run([WRITER, self.folder], check=True)
        self.file("king", "Password1\n")
        other = self.report("restore", "untied.pfx", "--pass-file", "king",
                            "--exportable")["containers"]
        (bare,) = [name for name in other if name.startswith("rnd-")]
        self.assertEqual(self.expect(1, *create, "--container", bare, "--container", "box", err=(
            f"no certificate of MY has its key in the container '{bare}', and none lies beside "
            "a key there\n  what to do: 'mvlpfx keys' shows the certificate beside each key")), "")

    def test_keys_that_are_left_out_are_those_that_are_not_reached(self):
        self.file("pin", "2468")
        self.file("other-pin", "1357")
        thumbprint = self.new("guarded", "--exportable", "--pin-file", "pin")
        self.new("stays")
        create = ["create", "--force", "-o", "out.pfx", "--pass-file", "password",
                  "--allow-missing-keys", "--subject"]
        self.assertEqual(self.expect(0, *create, "guarded", "--pin-file", "other-pin"),
                         "out.pfx: 0 keys, 1 certificate\n"
                         f"left out the key of {thumbprint} CN=guarded, C=RU, container guarded: "
                         "the PIN is wrong\n")
        self.expect(8, *create, "guarded", err="a container has a PIN")
        self.expect(8, *create, "stays", err="not exportable")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
