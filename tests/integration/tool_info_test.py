#!/usr/bin/env python3
"""What `mvlpfx info` sees inside: tool_info_test.py MVLPFX SUPPORT WRITER PEERS

PEERS holds NAME.pfx and NAME.password, made by other software.
"""
import json
import pathlib
import random
import re
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

    def test_every_part_that_a_restore_passes_over_is_told_with_the_reason(self):
        report = self.inside("passed-over.pfx")
        second, clear = ("it decrypts the first encrypted content alone",
                         "it takes certificates from the encrypted content alone")
        other = "it takes certificates and encrypted keys alone"
        self.assertEqual([(part["kind"], part["type"], part.get("passedOver"))
                          for part in report["parts"]], [
            ("encryptedContent", "encrypted content", None),
            ("encryptedContent", "encrypted content", second),
            ("keyBag", "encrypted key", None),
            ("bag", "certificate", clear),
            ("bag", "plain key", other),
            ("keyBag", "encrypted key", "it holds no key"),
            ("bag", "1.2.840.113549.1.7.3", "it reads data and encrypted contents alone")])
        self.assertEqual([(part["type"], part["passedOver"]) for part in report["otherBags"]], [
            ("encrypted key", "it looks for keys outside of encrypted contents"),
            ("secret", other)])
        (plain,) = report["plainCertificates"]
        self.assertEqual((plain["subject"], plain["passedOver"]), ("CN=clear", clear))
        self.assertEqual([row["subject"] for row in report["certificates"]], ["CN=leaf"])
        self.assertEqual([row["number"] for row in report["keys"]], [1])
        out = self.expect(0, "info", "passed-over.pfx", "--pass-file", "password")
        for part in [*report["parts"], *report["otherBags"], plain]:
            if "passedOver" in part:
                self.assertIn(f"a restore passes over it: {part['passedOver']}\n", out)
        self.assertIn("\ncertificate in clear 1\n  subject:     CN=clear\n", out)
        self.assertIn("\nin the encrypted content: secret; a restore passes", out)
        # A restore does what is said here.
        restored = self.report("restore", "passed-over.pfx", "--pass-file", "password")
        self.assertEqual((restored["containers"], [row["subject"]
                                                   for row in restored["certificates"]]),
                         (["kept"], ["CN=leaf"]))
        # What needs no password is told without one.
        report = self.report("info", "passed-over.pfx")
        self.assertEqual(report["plainCertificates"], [plain])
        self.assertNotIn("otherBags", report)

    def test_a_plaintext_that_is_no_list_of_bags_is_told(self):
        report = self.inside("junk.pfx")
        self.assertNotIn("certificates", report)
        failure = report["certificatesError"]
        self.assertIn("no list of bags", failure["message"])
        self.assertIn("another password", failure["advice"])
        self.assertEqual(failure["where"]["path"],
                         "authSafe.contents[1].encryptedContentInfo.encryptedContent")
        # As `info --tree` finds it.
        rows = {row["offset"]: row for row in
                self.report("info", "junk.pfx", "--tree")["tree"]}
        self.assertEqual(rows[failure["where"]["offset"]]["type"], "[0]")
        out = self.expect(0, "info", "junk.pfx", "--pass-file", "password")
        self.assertIn("\ncertificates: can't be read: what is decrypted is no list of bags", out)
        self.assertEqual(self.report("restore", "junk.pfx", "--pass-file",
                                     "password")["certificates"], [])

    def test_octets_behind_the_document_are_counted(self):
        whole = (self.folder / "untied.pfx").read_bytes()
        for count in (1, 2, 5):
            self.file("trail.pfx", whole + bytes(count))
            noun = "byte" if count == 1 else "bytes"
            for command in (["verify"], ["info"]):
                with self.subTest(command, count=count):
                    source = [*command, "trail.pfx", "--pass-file", "password"]
                    self.assertEqual(self.report(*source)["bytesBehind"], count)
                    self.assertIn(f"{count} {noun} behind the document's end\n",
                                  self.expect(0, *source))
        self.assertNotIn("bytesBehind", self.report("info", "untied.pfx"))
        self.assertNotIn("bytesBehind", self.report("verify", "untied.pfx", "--pass-file",
                                                    "password"))

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


# Tag numbers of the universal class.
UNIVERSAL = {1: "BOOLEAN", 2: "INTEGER", 3: "BIT STRING", 4: "OCTET STRING", 5: "NULL",
             6: "OBJECT IDENTIFIER", 7: "ObjectDescriptor", 8: "EXTERNAL", 9: "REAL",
             10: "ENUMERATED", 11: "EMBEDDED PDV", 12: "UTF8String", 13: "RELATIVE-OID", 14: "TIME",
             16: "SEQUENCE", 17: "SET", 18: "NumericString", 19: "PrintableString",
             20: "TeletexString", 21: "VideotexString", 22: "IA5String", 23: "UTCTime",
             24: "GeneralizedTime", 25: "GraphicString", 26: "VisibleString", 27: "GeneralString",
             28: "UniversalString", 29: "CHARACTER STRING", 30: "BMPString"}
CLASSES = ("UNIVERSAL ", "APPLICATION ", "", "PRIVATE ")


def base128(number):
    octets = [number & 0x7F]
    while number := number >> 7:
        octets.insert(0, 0x80 | number & 0x7F)
    return bytes(octets)


def length_octets(length):
    if length < 0x80:
        return bytes([length])
    octets = length.to_bytes((length.bit_length() + 7) // 8)
    return bytes([0x80 | len(octets)]) + octets


class Builder:
    """DER at random, with the lines that a tree of it has: offsets count from the element's start."""

    def __init__(self, seed):
        self.random = random.Random(seed)

    def tag(self, is_constructed):
        """Identifier octets and the type's name."""
        cls = self.random.randrange(4)
        number = self.random.choice((self.random.randrange(1, 31), self.random.randrange(31, 200),
                                     self.random.randrange(2 ** 40)))
        if cls == 0 and number in (0, 3, 4):
            number = 16  # what may open has its own place
        first = cls << 6 | (0x20 if is_constructed else 0)
        name = (UNIVERSAL.get(number) if cls == 0 else None) or f"[{CLASSES[cls]}{number}]"
        octets = bytes([first | number]) if number < 31 else bytes([first | 31]) + base128(number)
        return octets, name

    def wrap(self, octets, name, depth, content, inside, unused=b""):
        header = octets + length_octets(len(unused) + len(content))
        shift = len(header) + len(unused)
        lines = [(0, depth, name, len(unused) + len(content))]
        return (header + unused + content,
                lines + [(offset + shift, *rest) for offset, *rest in inside])

    def run(self, depth, most):
        der, lines = b"", []
        for _ in range(self.random.randrange(1, most)):
            octets, inside = self.element(depth)
            lines += [(offset + len(der), *rest) for offset, *rest in inside]
            der += octets
        return der, lines

    def wrap_indefinite(self, octets, name, depth, content, inside):
        shift = len(octets) + 1
        lines = [(0, depth, name + ", indefinite", len(content))]
        lines += [(offset + shift, *rest) for offset, *rest in inside]
        return (octets + b"\x80" + content + b"\0\0",
                lines + [(shift + len(content), depth + 1, "end-of-contents", 0)])

    def element(self, depth=0):
        kind = self.random.randrange(4) if depth < 9 else 0
        if kind == 1 and self.random.randrange(3) == 0:
            inside = self.run(depth + 1, 6) if self.random.randrange(4) else (b"", [])
            return self.wrap_indefinite(*self.tag(True), depth, *inside)
        if depth == 0 or kind == 1:
            return self.wrap(*self.tag(True), depth, *self.run(depth + 1, 6))
        if kind == 2:
            # What lies in it is opened where all of its types are known.
            inner = self.wrap(b"\x30", "SEQUENCE", depth + 1, b"\x02\x01\x07",
                              [(0, depth + 2, "INTEGER", 1)])
            if self.random.randrange(2):
                return self.wrap(b"\x03", "BIT STRING", depth, *inner, unused=b"\0")
            return self.wrap(b"\x04", "OCTET STRING", depth, *inner)
        size = self.random.choice((0, self.random.randrange(100), self.random.randrange(70000)))
        return self.wrap(*self.tag(False), depth, self.random.randbytes(size), [])


class Tree(Profile):
    def tree(self, der):
        report = json.loads(self.expect(0, "info", "-", "--tree", "--json", stdin=der))
        return [(row["offset"], row["depth"],
                 row["type"] + (", indefinite" if row.get("indefinite") else ""), row["length"])
                for row in report["tree"]]

    def test_every_element_of_any_der_is_shown(self):
        names = set()
        for seed in range(150):
            with self.subTest(seed=seed):
                der, lines = Builder(seed).element()
                self.assertEqual(self.tree(der), lines)
                names |= {name for _, _, name, _ in lines}
        self.assertTrue(any(name.startswith("[") and name.endswith("indefinite") for name in names))
        # The types that a tree once ended its parents at were among them.
        self.assertLessEqual(set(UNIVERSAL.values()), names)
        self.assertTrue(any(name.startswith("[APPLICATION ") for name in names))
        self.assertTrue(any(name.startswith("[PRIVATE ") for name in names))

    def test_an_element_of_every_type_ends_where_it_says(self):
        for first in range(1, 256):
            number = base128(31) if first & 0x1F == 0x1F else b""
            one = bytes([first, *number, 2, 5, 0])
            with self.subTest(first):
                rows = self.tree(b"\x30" + length_octets(2 * len(one)) + one + one)
                self.assertEqual([row[0] for row in rows if row[1] == 1], [2, 2 + len(one)])

    def test_a_tag_number_beyond_63_bits_is_shown_in_octets(self):
        self.assertEqual(self.tree(bytes.fromhex("7f" + "81" * 9 + "01" + "02" + "0500"))[0],
                         (0, 0, "[APPLICATION 0x" + "81" * 9 + "01]", 2))

    def test_elements_behind_the_first_are_shown(self):
        self.assertEqual(self.tree(bytes.fromhex("020105" "3003020107")), [
            (0, 0, "INTEGER", 1), (3, 0, "SEQUENCE", 3), (5, 1, "INTEGER", 1)])

    def test_octets_that_are_no_run_of_elements_stay_closed(self):
        for value in ("0201", "020105ff", "0000", "0f00", "30020201", "1f2001aa"):
            value = bytes.fromhex(value)
            with self.subTest(value.hex()):
                der = b"\x04" + length_octets(len(value)) + value
                self.assertEqual(self.tree(der), [(0, 0, "OCTET STRING", len(value))])

    def test_what_ends_an_indefinite_length_is_shown_as_what_it_is(self):
        der = bytes.fromhex("3080 020105 2480 04 01 ff 0000 0000")
        self.assertEqual(self.expect(0, "info", "-", "--tree", stdin=der).splitlines(), [
            "       0 SEQUENCE, indefinite, 10",
            "       2   INTEGER, 1: 5",
            "       5   OCTET STRING, indefinite, 3",
            "       7     OCTET STRING, 1: FF",
            "      10     end-of-contents, 0",
            "      12   end-of-contents, 0"])
        # In octets that elements fill, too; and OpenSSL sees the same.
        for wrapped in (der, b"\x04" + length_octets(len(der)) + der):
            offsets = [row[0] for row in self.tree(wrapped)]
            peer = self.openssl("asn1parse", "-inform", "DER", stdin=der).decode()
            shift = len(wrapped) - len(der)
            self.assertEqual([int(at) + shift for at in re.findall(r"^ *(\d+):d=", peer, re.M)],
                             offsets[1 if shift else 0:])

    def test_nesting_of_indefinite_lengths_is_shown_or_refused_by_a_loop(self):
        many = 100000
        rows = self.tree(b"\x30\x80" * many + b"\0\0" * many)
        self.assertEqual(len(rows), 2 * many)
        self.assertEqual(rows[0], (0, 0, "SEQUENCE, indefinite", 4 * many - 4))
        self.assertEqual(rows[-1], (4 * many - 2, 1, "end-of-contents", 0))
        self.expect(4, "info", "-", "--tree", stdin=b"\x30\x80" * many, err="SEQUENCE that can't be")
        self.expect(4, "info", "-", stdin=b"\x30\x80" * many, err="indefinite length")

    def test_nesting_of_any_depth_is_shown(self):
        der = b"\x05\x00"
        for _ in range(3000):
            der = b"\xa0" + length_octets(len(der)) + der
        rows = self.tree(der)
        self.assertEqual(len(rows), 3001)
        self.assertEqual(rows[-1], (len(der) - 2, 3000, "NULL", 0))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
