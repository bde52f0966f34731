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
        out = self.restore(0, "untied.pfx", err="1 of the keys belong to none")
        self.assertRegex(out, re.compile(
            r"\Acontainer    kept\n"
            r"container    rnd-\S+\n"
            r"certificate  [0-9a-f]{40}  key  MY        CN=leaf\n"
            r"certificate  [0-9a-f]{40}  -    ROOT      CN=ca\n\Z"))

    def test_a_key_without_a_certificate_is_warned_of_and_counted(self):
        said = self.restore(0, "untied.pfx", "--quiet",
                            err="1 of the keys belong to none of the certificates")
        self.assertEqual(said, "")
        report = self.report("restore", "untied.pfx", "--pass-file", "password")
        self.assertEqual(report["keysWithoutCertificate"], 1)

    def test_what_stays_of_a_restore_that_failed_is_named(self):
        result = self.run_tool("restore", "damaged-second-key.pfx", "--pass-file", "password")
        self.assertEqual(result.returncode, 4, result)
        said = result.stderr.decode()
        self.assertIn("0x80090005", said)
        self.assertIn("a key in it is damaged", said)
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

    def test_a_provider_that_cannot_be_loaded(self):
        settings = self.file("settings.toml",
                             "['SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\"
                             "Velmorix Cryptographic Service Provider']\n"
                             "'Image Path' = '/nonexistent.so'\n")
        self.restore(8, "untied.pfx", env={"VELMORIX_SETTINGS": str(settings)}, err="provider")
        self.assertEqual(self.containers(), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
