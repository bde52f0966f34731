#!/usr/bin/env python3
"""What `mvlpfx info` sees inside: tool_info_test.py MVLPFX SUPPORT WRITER PEERS

PEERS holds NAME.pfx and NAME.password, made by other software.
"""
import pathlib
import subprocess
import sys
import unittest

sys.path.insert(0, sys.argv[2])
from tool_profile import Profile  # noqa: E402

Profile.tool = sys.argv[1]
WRITER, PEERS = sys.argv[3], pathlib.Path(sys.argv[4])
# As `openssl x509 -fingerprint -serial -dates` tells them.
NAMED = {"thumbprint": "a0609087077d1e809b90086e4e91ef5e25473009",
         "serial": "73e46f67e3a11bd9a8be4573e82bbc769947d42b",
         "notBefore": "2026-11-21", "notAfter": "2036-11-18"}
FIRST_ID = "01" * 20


class Info(Profile):
    def setUp(self):
        super().setUp()
        subprocess.run([WRITER, self.folder], check=True)
        self.file("password", "Password1\n")

    def inside(self, name, *args):
        return self.report("info", name, "--pass-file", "password", *args)

    def peer(self, name, *args):
        document = PEERS / f"{name}.pfx"
        return self.report("info", document, "--pass-file", document.with_suffix(".password"),
                           *args)

    def test_key_and_certificate_of_an_openssl_document(self):
        report = self.peer("openssl-named")
        name = {"friendlyName": "Имя ключа", "localKeyId": NAMED["thumbprint"].upper()}
        self.assertEqual(report["keys"], [{"number": 1, **name,
                                           "certificate": NAMED["thumbprint"]}])
        self.assertEqual(report["certificates"], [{
            "number": 1, "subject": "CN=key-2012-512", "issuer": "CN=key-2012-512", **NAMED,
            "keys": [1], **name}])

    def test_a_chain_belongs_to_its_leaf_alone(self):
        rows = self.peer("openssl-chain")["certificates"]
        self.assertEqual([(row["subject"], row["issuer"], row["friendlyName"], row["keys"])
                          for row in rows],
                         [("CN=chain", "CN=issuer", "Листовой", [1]),
                          ("CN=issuer", "CN=root", "Издатель", []),
                          ("CN=root", "CN=root", "Корень", [])])

    def test_the_text_says_the_same(self):
        document = PEERS / "openssl-named.pfx"
        out = self.expect(0, "info", document, "--pass-file", document.with_suffix(".password"))
        self.assertEqual(out.splitlines()[5:], [
            "key 1",
            "  name:        Имя ключа",
            "  identifier:  " + NAMED["thumbprint"].upper(),
            "  certificate: " + NAMED["thumbprint"],
            "certificate 1",
            "  subject:     CN=key-2012-512",
            "  issuer:      CN=key-2012-512",
            "  serial:      " + NAMED["serial"],
            "  from:        2026-11-21",
            "  until:       2036-11-18",
            "  thumbprint:  " + NAMED["thumbprint"],
            "  name:        Имя ключа",
            "  identifier:  " + NAMED["thumbprint"].upper(),
            "  key:         1"])

    def test_json_is_utf_8_in_every_code_page(self):
        settings = self.file(
            "settings.toml",
            "['SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage']\nACP = '1251'\n")
        report = self.report("info", PEERS / "openssl-named.pfx",
                             env={"VELMORIX_SETTINGS": str(settings)})
        self.assertEqual(report["keys"][0]["friendlyName"], "Имя ключа")

    def test_no_control_reaches_a_terminal_through_json(self):
        out = self.expect(0, "info", "two-lines.pfx", "--json")
        self.assertIn(r'"friendlyName":"two\nlines"', out)
        self.expect(0, "new", "--subject", "CN=a\u009b31m\u007fb", "--container", "c")
        out = self.expect(0, "keys", "--json")
        self.assertIn(r"a\u009b31m\u007fb", out)
        self.assertNotIn("\u009b", out)

    def test_many_keys_have_one_certificate(self):
        rows = self.inside("shared-certificate.pfx")["certificates"]
        self.assertEqual([row["keys"] for row in rows], [[1, 2], []])

    def test_without_a_password_keys_have_their_names_alone(self):
        report = self.report("info", "untied.pfx")
        self.assertEqual(report["keys"], [
            {"number": 1, "friendlyName": "kept", "localKeyId": FIRST_ID},
            {"number": 2, "localKeyId": "02" * 20}])
        self.assertNotIn("certificates", report)

    def test_a_key_without_a_certificate(self):
        keys = self.inside("untied.pfx")["keys"]
        self.assertEqual(["certificate" in key for key in keys], [True, False])

    def test_unknown_attributes_are_shown_in_hexadecimal(self):
        report = self.inside("attributes.pfx")
        self.assertEqual(report["keys"][0]["attributes"],
                         [{"oid": "1.3.6.1.4.1.311.17.1", "values": ["0C0178"]}])
        self.assertIs(report["keys"][0]["machine"], True)
        # A friendly name has to be a BMPString.
        self.assertEqual(report["certificates"][0]["attributes"], [
            {"oid": "1.2.3.4", "values": ["020105", "0101FF"]},
            {"oid": "1.2.840.113549.1.9.20", "values": ["020105"]}])
        self.assertEqual((report["certificates"][0]["localKeyId"],
                          report["certificates"][0]["keys"]), (FIRST_ID, [1]))
        out = self.expect(0, "info", "attributes.pfx", "--pass-file", "password")
        self.assertIn("\n  1.2.3.4 020105 0101FF\n", out)
        self.assertIn("\n  for the machine\n", out)

    def test_what_a_restore_passes_over_is_told(self):
        self.assertEqual(self.inside("attributes.pfx")["certificates"][1],
                         {"number": 2, "readable": False})
        self.assertIn("certificate 2\n  no X.509 certificate; a restore passes over it\n",
                      self.expect(0, "info", "attributes.pfx", "--pass-file", "password"))

    def test_names_of_two_lines_are_told_in_one(self):
        out = self.expect(0, "info", "two-lines.pfx", "--pass-file", "password")
        self.assertIn("\n  name:        two?lines\n", out)

    def test_what_cannot_be_read_is_said_and_the_rest_shown(self):
        report = self.inside("malformed-attribute.pfx")
        self.assertEqual(len(report["certificates"]), 2)
        self.assertEqual(report["keys"][1]["attributes"], [{"values": ["3000"]}])
        report = self.report("info", PEERS / "gnutls-2012-256.pfx")
        self.assertEqual(report["keys"], [])
        self.assertIn("additionalInfo", report["keysError"]["message"])
        self.assertEqual(report["keysError"]["errorName"], "CRYPT_E_ASN1_CORRUPT")
        self.assertRegex(report["keysError"]["where"]["path"], r"^authSafe\.contents\[[12]\]\.")
        out = self.expect(0, "info", "no-prf-parameters.pfx", "--pass-file", "password")
        self.assertRegex(out, r"\ncertificates: can't be read: .*\n  found .* at offset \d+, "
                              r"authSafe\.contents\[1\]\..*\n  what to do: .*NULL")
        report = self.inside("no-prf-parameters.pfx")
        self.assertEqual([key["number"] for key in report["keys"]], [1])
        self.assertNotIn("certificates", report)
        failure = report["certificatesError"]
        self.assertEqual((failure["errorWord"], failure["errorName"]),
                         ("0x80093103", "CRYPT_E_ASN1_CORRUPT"))
        self.assertRegex(failure["where"]["path"], r"^authSafe\.contents\[1\]\.")

    def test_the_content_s_iterations_count(self):
        said = self.expect(6, "info", "untied.pfx", "--pass-file", "password", "--max-iterations",
                           "4", err="asks for 5 iterations in all; --max-iterations allows 4")
        self.assertEqual(said, "")
        self.expect(0, "info", "untied.pfx", "--pass-file", "password", "--max-iterations", "5")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
