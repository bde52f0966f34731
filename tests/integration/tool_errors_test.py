#!/usr/bin/env python3
"""What a person is told of each error, in text and in JSON.

tool_errors_test.py MVLPFX SUPPORT PEERS WRITER
"""
import base64
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

sys.path.insert(0, sys.argv[2])
from tool_profile import Profile  # noqa: E402

Profile.tool = sys.argv[1]
PEERS = pathlib.Path(sys.argv[3])
DOCUMENTS = PEERS.parent / "documents"
WRITER = sys.argv[4]
DOCUMENT = PEERS / "openssl-three-2012-256.pfx"
PASSWORD = DOCUMENT.with_suffix(".password")

# Root passes by the modes of files, unless it goes without these capabilities.
AS_ANYONE = ([] if os.geteuid() != 0 else
             ["setpriv", "--bounding-set", "-dac_override,-dac_read_search"])


def element(tag, *content):
    """DER of less than 65536 bytes."""
    content = b"".join(content)
    size = len(content)
    if size < 0x80:
        length = bytes([size])
    elif size < 0x100:
        length = bytes([0x81, size])
    else:
        length = b"\x82" + size.to_bytes(2, "big")
    return bytes([tag]) + length + content


def sequence(*content):
    return element(0x30, *content)


def oid(octets):
    return element(6, bytes.fromhex(octets))


def indefinite(der, offsets, start=0):
    """The elements in BER with indefinite lengths at these offsets, else as they are."""
    written, at = b"", 0
    while at < len(der):
        tag, size, head = der[at], der[at + 1], 2
        if size & 0x80:
            head += size & 0x7F
            size = int.from_bytes(der[at + 2:at + head], "big")
        value = der[at + head:at + head + size]
        if tag & 0x20:
            value = indefinite(value, offsets, start + at + head)
        is_indefinite = start + at in offsets
        written += (bytes([tag, 0x80]) + value + b"\0\0" if is_indefinite
                    else element(tag, value))
        at += head + size
    return written


def certificate(subject_key):
    """An unsigned one of CN=odd, with these octets as the value of its subject key identifier."""
    algorithm = sequence(oid("2a85030701010302"))
    name = sequence(element(0x31, sequence(oid("550403"), element(0x0C, b"odd"))))
    days = sequence(element(0x17, b"260101000000Z"), element(0x17, b"360101000000Z"))
    key = sequence(sequence(oid("2a85030701010101"),
                            sequence(oid("2a850302022301"), oid("2a85030701010202"))),
                   element(3, b"\0", element(4, b"\x81" * 64)))
    extensions = element(0xA3, sequence(sequence(oid("551d0e"), element(4, subject_key))))
    return sequence(sequence(element(0xA0, element(2, b"\x02")), element(2, b"\x01"), algorithm,
                             name, days, name, key, extensions),
                    algorithm, element(3, b"\0", b"\xFF" * 64))


class Errors(Profile):
    def setUp(self):
        super().setUp()
        self.file("wrong", "wrong\n")
        self.file("pin", "2468\n")
        self.file("wrong-pin", "1357\n")

    def written(self, name):
        subprocess.run([WRITER, self.folder], check=True)
        self.file("password", "Password1\n")
        return self.folder / name

    def tells(self, code, args, *, happened, advised, name=None, lines=(), subject=None, where=None,
              found=None, logged=None, **more):
        """That text and JSON say the same: `where` is a path and the bytes at its offset in the
        document that the command is about; `logged` is a pattern of all that the layers below have
        to tell."""
        result = self.run_tool(*args, **more)
        self.assertEqual((result.returncode, result.stdout), (code, b""), result)
        first, *rest = result.stderr.decode().splitlines()
        self.assertTrue(first.startswith(f"mvlpfx {args[0]}: "), result)
        self.assertIn(happened, first)
        (advice,) = [line for line in rest if line.startswith("  what to do: ")]
        self.assertIn(advised, advice)
        for line in lines:
            self.assertEqual(rest.count("  " + line), 1, result)
        if logged is not None:
            self.assertEqual(len([line for line in rest if re.fullmatch("  " + logged, line)]), 1,
                             result)

        result = self.run_tool(*args, "--json", **more)
        self.assertEqual(result.returncode, code, result)
        self.assertEqual(result.stderr, b"")
        report = json.loads(result.stdout)
        self.assertEqual((report["schema"], report["command"], report["exitCode"]),
                         (1, args[0], code))
        self.assertEqual(report.get("subject"), None if subject is None else str(subject))
        self.assertIn(happened, report["message"])
        self.assertIn(advised, report["advice"])
        self.assertEqual(report["errorName"], name)
        if name is None:
            self.assertIsNone(report["errorWord"])
        else:
            self.assertIn(f"({report['errorWord']})", first)
        self.assertEqual(report["found"], found)
        if logged is None:
            self.assertEqual(report["log"], [])
        else:
            self.assertRegex("\n".join(report["log"]), f"^{logged}$")
        if where is None:
            self.assertIsNone(report["where"])
        else:
            path, octets = where
            offset = report["where"]["offset"]
            self.assertEqual(report["where"]["path"], path)
            read = pathlib.Path(subject).read_bytes()
            self.assertEqual(read[offset:offset + max(1, len(octets))], octets)
            told = f"  found {found} at offset {offset}" + (f", {path}" if path else "")
            self.assertIn(told, rest)
        return report

    # Of documents.

    def test_wrong_password(self):
        for command in (["verify"], ["info"], ["restore"], ["restore", "--dry-run"]):
            with self.subTest(command):
                self.tells(3, [command[0], DOCUMENT, "--pass-file", "wrong", *command[1:]],
                           happened="wrong password, or the document was changed",
                           advised="try the password again", name="NTE_KEYSET_ENTRY_BAD",
                           subject=DOCUMENT)

    def test_no_integrity_value(self):
        plain = DOCUMENTS / "openssl_p256_plain.pfx"
        for command in ("verify", "restore"):
            with self.subTest(command):
                report = self.tells(4, [command, plain, "--pass-file", "password"],
                                    happened="no integrity value (MacData)",
                                    advised="-macalg md_gost12_512", name="NTE_BAD_DATA",
                                    subject=plain, found="the end", where=("macData", b""))
                self.assertEqual(report["where"]["offset"], plain.stat().st_size)

    def test_unknown_digest(self):
        other = DOCUMENTS / "openssl_p256.pfx"
        for command in ("verify", "restore"):
            with self.subTest(command):
                self.tells(5, [command, other, "--pass-file", "password"],
                           happened="the digest algorithm of the integrity value is SHA-256",
                           advised="made again with a GOST digest", name="CRYPT_E_NOT_FOUND",
                           subject=other, found="2.16.840.1.101.3.4.2.1",
                           where=("macData.mac.digestAlgorithm.algorithm",
                                  bytes.fromhex("0609608648016503040201")))

    def test_unknown_cipher(self):
        document = self.written("unknown-second-cipher.pfx")
        for options in ([], ["--dry-run"]):
            with self.subTest(options):
                report = self.tells(
                    5, ["restore", document, "--pass-file", "password", *options],
                    happened="encrypted in a way that the provider does not know",
                    advised="-keypbe gost89", name="NTE_BAD_ALGID", subject=document,
                    found="1.2.643.2.2.127",
                    where=("authSafe.contents[2].bags[2].bagValue.encryptionAlgorithm.parameters."
                           "encryptionScheme.algorithm", bytes.fromhex("06062a850302027f")))
                # The first key has its container before the second is looked at.
                self.assertEqual(len(report["containers"]), 0 if options else 1)

    def test_unknown_cipher_of_the_certificates(self):
        document = self.written("unknown-certificate-cipher.pfx")
        happened = "encrypted in a way that the provider does not know"
        path = ("authSafe.contents[1].encryptedContentInfo.contentEncryptionAlgorithm.parameters."
                "encryptionScheme.algorithm")
        for options in ([], ["--dry-run"]):
            with self.subTest(options):
                report = self.tells(
                    5, ["restore", document, "--pass-file", "password", *options],
                    happened=happened, advised="-keypbe gost89", name="NTE_BAD_ALGID",
                    subject=document, found="1.2.643.2.2.127",
                    where=(path, bytes.fromhex("06062a850302027f")))
                self.assertEqual(report["containers"], [])
        failure = self.report("info", document, "--pass-file", "password")["certificatesError"]
        self.assertIn(happened, failure["message"])
        self.assertEqual((failure["errorName"], failure["found"], failure["where"]["path"]),
                         ("NTE_BAD_ALGID", "1.2.643.2.2.127", path))

    def test_ciphers_of_other_standards(self):
        content = "authSafe.contents[1].encryptedContentInfo.contentEncryptionAlgorithm."
        key = "authSafe.contents[2].bags[1].bagValue.encryptionAlgorithm."
        cipher = "parameters.encryptionScheme.algorithm"
        aes = ("2.16.840.1.101.3.4.1.42", "060960864801650304012a")
        triple_des = ("1.2.840.113549.1.12.1.3", "060a2a864886f70d010c0103")
        both = ["certificatesError", "keysError"]
        self.file("password", "secret\n")
        for name, path, (found, octets), unread in (
                ("aes", content + cipher, aes, both),
                ("3des", content + "algorithm", triple_des, both),
                ("key_aes", key + cipher, aes, ["keysError"]),
                ("key_3des", key + "algorithm", triple_des, ["keysError"]),
                ("certs_aes", content + cipher, aes, ["certificatesError"])):
            document = DOCUMENTS / f"openssl_gost_mac_{name}.pfx"
            happened = "encrypted in a way that the provider does not know"
            for options in ([], ["--dry-run"]):
                with self.subTest(name, options=options):
                    report = self.tells(
                        5, ["restore", document, "--pass-file", "password", *options],
                        happened=happened, advised="-keypbe gost89", name="CRYPT_E_ASN1_CORRUPT",
                        subject=document, found=found, where=(path, bytes.fromhex(octets)))
                    self.assertEqual(report["containers"], [])
            report = self.report("info", document, "--pass-file", "password")
            self.assertEqual([part for part in both if part in report], unread)
            for part in unread:
                with self.subTest(name, unread=part):
                    self.assertIn(happened, report[part]["message"])
                    self.assertIn("-keypbe gost89", report[part]["advice"])
                    self.assertEqual((report[part]["errorName"], report[part]["found"],
                                      report[part]["where"]["path"]),
                                     ("CRYPT_E_ASN1_CORRUPT", found, path))

    def test_a_sound_document_of_no_gost_is_not_told_as_malformed(self):
        for name in ("openssl_p256.pfx", "certtool_p256.pfx"):
            with self.subTest(name):
                out = self.expect(0, "info", DOCUMENTS / name)
                self.assertRegex(out, r"\nkeys: can't be read: .* encrypted in a way that the "
                                      r"provider does not know\n  found 2\.16\.840\S* at offset "
                                      r"\d+, authSafe\..*\n  what to do: have it made again with "
                                      r"GOST 28147-89")
                self.assertNotIn("malformed", out)

    def test_what_is_malformed_before_an_unknown_cipher(self):
        document = self.written("malformed-before-unknown.pfx")
        self.tells(4, ["restore", document, "--pass-file", "password", "--dry-run"],
                   happened="an encrypted part of the document is malformed",
                   advised="get the document again", name="CRYPT_E_ASN1_CORRUPT",
                   subject=document, found="SEQUENCE without attrType",
                   where=("authSafe.contents[2].bags[1].bagAttributes[1]", b"\x30\x00"))

    def test_missing_prf_parameters(self):
        document = PEERS / "gnutls-2012-256.pfx"
        self.tells(4, ["restore", document, "--pass-file", document.with_suffix(".password")],
                   happened="PBES2Sheme.KezDeriv",
                   advised="pseudo-random function (PRF) has no parameters",
                   name="CRYPT_E_ASN1_CORRUPT", subject=document,
                   found="SEQUENCE without parameters",
                   where=("authSafe.contents[1].encryptedContentInfo.contentEncryptionAlgorithm."
                          "parameters.keyDerivationFunc.parameters.prf", b"\x30\x0a\x06\x08"))

    def test_too_many_iterations(self):
        document = PEERS / "openssl-600000.pfx"
        source = ["--pass-file", document.with_suffix(".password"), "--max-iterations", "599999"]
        self.tells(6, ["verify", document, *source],
                   happened="asks for 600000 iterations; --max-iterations allows 599999",
                   advised="allow as many with --max-iterations", subject=document,
                   found="600000 iterations",
                   where=("macData.iterations", bytes.fromhex("0203" "0927c0")))
        bag = self.written("hollow-bag.pfx")
        self.tells(6, ["restore", bag, "--pass-file", "password", "--max-iterations", "3000"],
                   happened="iterations in all; --max-iterations allows 3000",
                   advised="allow as many with --max-iterations", subject=bag,
                   found="3000 iterations",
                   where=("authSafe.contents[2].bags[2].bagValue.encryptionAlgorithm.parameters."
                          "keyDerivationFunc.parameters.iterationCount",
                          bytes.fromhex("02020bb8")))

    def test_a_file_that_is_no_document(self):
        text = self.file("notes.txt", "some notes: 1, 2, 3\n")
        short = self.file("short", "0\n")
        empty = self.file("empty", "")
        self.tells(4, ["info", empty, "--tree"], subject=empty,
                   happened="not a DER document: the file is empty",
                   advised="name a file that holds DER, PEM or base64")
        other = self.file("other", element(0x30, element(0x30, element(2, b"\x01"))))
        cut = self.file("cut", DOCUMENT.read_bytes()[:-30])
        size = DOCUMENT.stat().st_size
        for command in (["verify", "--pass-file", "password"], ["info"],
                        ["restore", "--pass-file", "password"]):
            name = None if command[0] == "info" else "NTE_BAD_DATA"
            with self.subTest(command):
                self.tells(4, [command[0], text, *command[1:]], name=name, subject=text,
                           happened="not a PFX document", advised="name a .pfx or .p12 file",
                           found="byte 0x73", where=("", b"s"))
                self.tells(4, [command[0], short, *command[1:]], name=name, subject=short,
                           happened="neither DER nor base64", advised="name a .pfx or .p12 file",
                           found="byte 0x30", where=("", b"0"))
                self.tells(4, [command[0], empty, *command[1:]], name=name, subject=empty,
                           happened="the file is empty", advised="name a .pfx or .p12 file")
                self.tells(4, [command[0], other, *command[1:]], name=name, subject=other,
                           happened="DER of another kind", advised="mvlpfx info --tree",
                           found="SEQUENCE in the place of version", where=("version", b"\x30"))
                self.tells(4, [command[0], cut, *command[1:]], name=name, subject=cut,
                           happened=f"cut off: of {size} bytes {size - 30} are there",
                           advised="copy or download it again", found="the end", where=("", b""))

    def test_bytes_behind_the_document(self):
        whole = DOCUMENT.read_bytes()
        for trail in (b"\x00\x01", bytes(2), b"\x05\x00", whole):
            document = self.file("trail", whole + trail)
            noun = f"{len(trail)} bytes behind the document's end"
            expected = {"subject": document, "happened": noun,
                        "advised": f"cut it to {len(whole)} bytes",
                        "found": f"byte 0x{trail[0]:02X}", "where": ("", trail)}
            # Of what the platform refuses the password is not asked for.
            for options in ([], ["--dry-run"]):
                with self.subTest(trail[:2], restore=options):
                    report = self.tells(4, ["restore", document, "--pass-file", "wrong", *options],
                                        name="NTE_BAD_DATA", **expected)
                    self.assertEqual(report["where"]["offset"], len(whole))
        # What reads as elements is shown by all the rest, what does not by none that shows them.
        trail = self.file("trail", whole + b"\x00\x01")
        for options in ([], ["--tree"]):
            self.tells(4, ["info", trail, *options], subject=trail, found="byte 0x00",
                       happened="2 bytes behind the document's end",
                       advised=f"cut it to {len(whole)} bytes", where=("", b"\x00\x01"))
        # A verification does not go that far.
        self.assertEqual(self.expect(0, "verify", trail, "--pass-file", PASSWORD),
                         f"{trail}: the password fits\n{trail}: 2 bytes behind the document's end\n")
        # An element there is taken for the integrity value.
        number = self.file("number", whole + b"\x02\x01\x05")
        self.tells(4, ["verify", number, "--pass-file", PASSWORD], subject=number,
                   name="NTE_BAD_DATA", happened="3 bytes behind the document's end",
                   advised=f"cut it to {len(whole)} bytes", found="byte 0x02",
                   where=("", b"\x02\x01\x05"))
        self.assertIn("integrity: none\n", self.expect(0, "info", number))
        self.assertEqual(self.report("info", number)["bytesBehind"], 3)

    def test_an_element_that_can_not_be_read(self):
        document = self.file("null", element(0x30, element(2, b"\x03"), element(5, b"\x00")))
        self.tells(4, ["info", document], subject=document, happened="not a PFX document",
                   advised="get the document again", found="INTEGER, the last that can be read",
                   where=("version", b"\x02\x01\x03"))
        for name, octets, found in (
                ("longer", "0203ff", "INTEGER"), ("headless", "30", "SEQUENCE"),
                ("unended", "3080020105", "SEQUENCE"), ("primitive", "04800000", "OCTET STRING"),
                ("zeros", "0000", "[UNIVERSAL 0]"),
                ("endless", "dfffff", "tag 0xDF")):
            octets = bytes.fromhex(octets)
            document = self.file(name, element(0x30, element(2, b"\x03"), octets))
            with self.subTest(name):
                self.tells(4, ["info", document, "--tree"], subject=document,
                           happened="not a DER document", advised="name a file that holds DER",
                           found=f"{found} that can't be read", where=("", octets))

    def test_a_document_in_ber(self):
        whole = DOCUMENT.read_bytes()
        self.assertEqual(whole[:2], b"\x30\x82")
        # The document, authSafe, what wraps its octets, and MacData with what is in it.
        rows = [row for row in self.report("info", DOCUMENT, "--tree")["tree"]
                if row["depth"] < 4 and row["type"] in ("SEQUENCE", "[0]")]
        offsets = [rows[i]["offset"] for i in (0, 1, 2, -3, -2, -1)]
        types = {row["offset"]: row["type"] for row in rows}
        for ber in [[at] for at in offsets] + [offsets]:
            document = self.file("ber", indefinite(whole, ber))
            for command in (["verify", "--pass-file", PASSWORD], ["info"],
                            ["restore", "--pass-file", PASSWORD],
                            ["restore", "--pass-file", PASSWORD, "--dry-run"]):
                if command == ["info"] and ber[0] > offsets[1]:
                    continue  # it looks at what can be seen
                with self.subTest(command[0], at=ber):
                    self.tells(4, [command[0], document, *command[1:]], subject=document,
                               name=None if command[0] == "info" else "NTE_BAD_DATA",
                               happened="elements of indefinite length (BER) keep the document "
                                        "from being read",
                               advised="have it made again in DER",
                               found=f"{types[ber[0]]} of indefinite length",
                               where=("", whole[ber[0]:ber[0] + 1] + b"\x80"))
            rows = self.report("info", document, "--tree")["tree"]
            self.assertEqual([row["type"] for row in rows if row.get("indefinite")],
                             [types[at] for at in ber])

    def test_ber_in_a_document_that_a_restore_would_pass_over(self):
        for name in ("indefinite-content.pfx", "indefinite-key.pfx"):
            document = self.written(name)
            for options in ([], ["--dry-run"]):
                with self.subTest(name, options=options):
                    report = self.tells(4, ["restore", document, "--pass-file", "password",
                                            *options],
                                        happened="keys lie in elements of indefinite length (BER)",
                                        advised="have it made again in DER", subject=document,
                                        found="SEQUENCE of indefinite length",
                                        where=("", b"\x30\x80"))
            self.assertEqual(self.report("keys")["containers"], [])
            at = report["where"]["offset"]
            line = (f"keys lie in elements of indefinite length (BER), the first at offset {at}; "
                    "a restore refuses the document\n")
            for command, start in (("verify", f"{document}: "), ("info", "")):
                out = self.expect(0, command, document, "--pass-file", "password")
                self.assertTrue(out.endswith(f"\n{start}{line}"), out)
                self.assertEqual(self.report(command, document, "--pass-file",
                                             "password")["indefiniteAt"], at)
        # Those that hide nothing are read.
        self.assertNotIn("indefiniteAt", self.report("info", DOCUMENT))
        for name in ("indefinite-attribute.pfx", "indefinite-attribute-of-a-type.pfx"):
            with self.subTest(name):
                read = self.written(name)
                self.assertNotIn("indefiniteAt", self.report("info", read))
                report = self.report("restore", read, "--pass-file", "password")
                self.assertEqual(len(report["containers"]), 1)

    def test_a_content_that_is_not_data(self):
        for last, happened, advice in ((2, "signed by a certificate (signedData)",
                                        "reads password-protected documents"),
                                       (3, "of another type than data", "name a .pfx")):
            oid = element(6, bytes.fromhex("2a864886f70d0107"), bytes([last]))
            safe = element(0x30, oid, element(0xa0, element(4, element(0x30))))
            other = self.file("other", element(0x30, element(2, b"\x03"), safe))
            for command in (["verify", "--pass-file", "password"], ["info"],
                            ["restore", "--pass-file", "password"]):
                with self.subTest(happened, command=command):
                    self.tells(4, [command[0], other, *command[1:]], subject=other,
                               name=None if command[0] == "info" else "NTE_BAD_DATA",
                               happened=happened, advised=advice,
                               found=f"1.2.840.113549.1.7.{last}",
                               where=("authSafe.contentType", oid))

    def test_pem_of_another_kind(self):
        small = element(0x30, element(2, b"\x01"))
        # Version, algorithm and key: PrivateKeyInfo, which looks like a document from afar.
        algorithm = element(0x30, element(6, bytes.fromhex("2a85030701010101")))
        key = element(0x30, element(2, b"\x00") + algorithm + element(4, bytes(32)))
        for kind, der, advice in (("CERTIFICATE", small, "mvlpfx certs add"),
                                  ("PRIVATE KEY", small, "openssl pkcs12 -export"),
                                  ("PRIVATE KEY", key, "openssl pkcs12 -export"),
                                  ("TRUSTED CERTIFICATE", small, "name a .pfx or .p12 file"),
                                  ("CERTIFICATE REQUEST", small, "name a .pfx or .p12 file")):
            body = base64.encodebytes(der).decode()
            header = f"-----BEGIN {kind}-----"
            for before in ("", "Bag Attributes: none\n"):
                pem = self.file("other.pem", f"{before}{header}\n{body}-----END {kind}-----\n")
                for command in (["verify", "--pass-file", "password"], ["info"],
                                ["restore", "--pass-file", "password"]):
                    with self.subTest(kind, command=command, before=before):
                        self.tells(4, [command[0], pem, *command[1:]],
                                   name=None if command[0] == "info" else "NTE_BAD_DATA",
                                   happened=f"not a PFX document but PEM text of kind {kind}",
                                   advised=advice, subject=pem, found=header,
                                   where=("", header.encode()))

    def test_password_too_long(self):
        long = PEERS / "openssl-33-bytes.pfx"
        for command in (["verify"], ["restore"], ["restore", "--dry-run"]):
            with self.subTest(command):
                self.tells(3, [command[0], long, "--pass-file", long.with_suffix(".password"),
                               *command[1:]],
                           happened="the password must have 1 to 32 bytes",
                           advised="take another password", name="ERROR_INVALID_PASSWORD",
                           subject=long)
        self.new("one", "--exportable")
        self.file("long", "p" * 33)
        self.tells(3, ["create", "-o", "out.pfx", "--pass-file", "long"],
                   happened="the password must have 1 to 32 bytes",
                   advised="take another password", name="ERROR_INVALID_PASSWORD",
                   subject="out.pfx")

    def test_document_and_password_from_standard_input(self):
        for command in ("info", "verify", "restore"):
            for source in (["--pass-stdin"], ["--pass-fd", "0"]):
                with self.subTest(command, source=source):
                    self.tells(2, [command, "-", *source], stdin=DOCUMENT.read_bytes(), subject="-",
                               happened="document and password can't both be standard input",
                               advised=f"'mvlpfx {command} --help'")

    def test_a_damaged_key(self):
        document = self.written("damaged-second-key.pfx")
        report = self.tells(4, ["restore", document, "--pass-file", "password"],
                            happened="is no GOST key once it is decrypted, or is damaged",
                            advised="if it is a GOST key, get the document again",
                            name="NTE_BAD_DATA", subject=document,
                            found="a key that is no GOST key once it is decrypted",
                            where=("authSafe.contents[2].bags[2].bagValue.encryptedData",
                                   b"\x04\x03"))
        self.assertEqual(len(report["containers"]), 2)

    def test_a_key_of_another_algorithm(self):
        document = DOCUMENTS / "openssl_rsa2048_gost89.pfx"
        self.file("password", "secret\n")
        report = self.tells(4, ["restore", document, "--pass-file", "password"],
                            happened="a key in the document is no GOST key once it is decrypted",
                            advised="takes no keys of other algorithms, as RSA",
                            name="NTE_BAD_DATA", subject=document,
                            found="a key that is no GOST key once it is decrypted",
                            where=("authSafe.contents[2].bags[1].bagValue.encryptedData",
                                   b"\x04\x82"))
        self.assertEqual(len(report["containers"]), 1)

    def test_an_attribute_that_is_malformed(self):
        for name, found, path, octets in (
                ("malformed-attribute.pfx", "SEQUENCE without attrType", "", b"\x30\x00"),
                ("attribute-without-value.pfx", "SET without a value", ".attrValues",
                 b"\x31\x00")):
            document = self.written(name)
            with self.subTest(name):
                self.tells(4, ["restore", document, "--pass-file", "password", "--dry-run"],
                           happened="an encrypted part of the document is malformed",
                           advised="get the document again", name="CRYPT_E_ASN1_CORRUPT",
                           subject=document, found=found,
                           where=("authSafe.contents[2].bags[2].bagAttributes[1]" + path, octets))

    def test_a_friendly_name_of_any_type_is_no_fault(self):
        for tag in (0x0c, 0x12, 0x13, 0x16, 0x1e):
            with self.subTest(tag):
                document = self.written(f"name-{tag}-before-malformed.pfx")
                self.tells(4, ["restore", document, "--pass-file", "password", "--dry-run"],
                           happened="an encrypted part of the document is malformed",
                           advised="get the document again", name="CRYPT_E_ASN1_CORRUPT",
                           subject=document, found="INTEGER in the place of the key's identifier",
                           where=("authSafe.contents[2].bags[2].bagAttributes[1].attrValues[1]",
                                  b"\x02\x01\x05"))

    # Of keys and containers.

    def create(self, *options, code=8, **expected):
        report = self.tells(code, ["create", "-o", "out.pfx", "--pass-file", "password", *options],
                            subject="out.pfx", **expected)
        self.assertFalse((self.folder / "out.pfx").exists())
        return report

    def test_key_not_exportable(self):
        self.new("goes", "--exportable")
        stays = [self.new(name) for name in ("stays", "stays-too")]
        report = self.create(happened="a key is not exportable",
                             advised="take these, each with --container and its name",
                             name="XENROLL_E_KEY_NOT_EXPORTABLE",
                             lines=[f"{stays[0]} CN=stays, C=RU, container stays",
                                    f"{stays[1]} CN=stays-too, C=RU, container stays-too"])
        self.assertCountEqual(report["refused"], [
            {"thumbprint": stays[0], "subject": "CN=stays, C=RU", "container": "stays"},
            {"thumbprint": stays[1], "subject": "CN=stays-too, C=RU", "container": "stays-too"}])

    def test_a_choice_that_means_nothing(self):
        one = self.new("one", "--exportable")
        other = "0" * 40
        advised = "'mvlpfx certs' lists them"
        for options, text in ((["--thumbprint", one, "--thumbprint", other],
                               f"--thumbprint '{other}'"),
                              (["--subject", "one", "--subject", "two"], "--subject 'two'"),
                              (["--container", "one", "--subject", "two"], "--subject 'two'")):
            self.create(*options, code=1, advised=advised,
                        happened=f"no certificate of MY is meant by {text}")
        self.create("--subject", "", code=2, happened="--subject has no text",
                    advised="mvlpfx create --help")
        self.tells(2, ["create", "-o", "-", "--pass-file", "password"], subject="-",
                   happened="a document is written to a file, not to standard output",
                   advised="'./-' is one of that name")
        for name in ("", " "):
            self.tells(2, ["new", "--subject", name, "--container", "box"], subject="box",
                       happened="the subject is empty", advised='as "CN=Ivan Petrov, C=RU"')
        self.assertEqual([c["container"] for c in self.report("keys")["containers"]], ["one"])
        # Each meets one, be it the same.
        self.expect(0, "create", "-o", "./-", "--pass-file", "password", "--subject", "one",
                    "--thumbprint", one, "--container", "one")
        self.expect(0, "verify", "./-", "--pass-file", "password")

    def test_a_certificate_that_is_not_read_again(self):
        self.new("fine", "--exportable")
        odd = certificate(subject_key=bytes.fromhex("04810261" "62"))
        thumbprint = hashlib.sha1(odd).hexdigest()
        self.file("odd.der", odd)
        self.expect(0, "certs", "add", "odd.der")
        report = self.create(code=1, happened="a certificate can't be written so that it is read "
                                              "again, or there are more than 516 keys",
                             advised="choose others or fewer with --thumbprint, --subject",
                             name="NTE_BAD_DATA", lines=[f"{thumbprint} CN=odd"])
        self.assertEqual(report["refused"], [
            {"thumbprint": thumbprint, "subject": "CN=odd", "container": None}])
        self.expect(0, "create", "-o", "out.pfx", "--pass-file", "password", "--subject", "fine")

    def test_container_exists(self):
        self.new("box")
        self.tells(9, ["new", "--subject", "CN=x", "--container", "box"], subject="box",
                   happened="can't make the container 'box' in " + str(self.home),
                   advised="choose another name with --container", name="NTE_EXISTS")

    def test_document_exists(self):
        self.new("one", "--exportable")
        there = self.file("out.pfx", "mine")
        self.tells(9, ["create", "-o", "out.pfx", "--pass-file", "password"], subject="out.pfx",
                   happened="'out.pfx' exists already", advised="--force replaces it")
        self.assertEqual(there.read_text(), "mine")

    def test_no_such_container(self):
        self.tells(8, ["keys", "delete", "none"], subject="none",
                   happened="there is no such container", advised="'mvlpfx keys' lists",
                   name="NTE_BAD_KEYSET")

    def test_a_key_folder_that_others_may_write_in(self):
        self.new("box")
        keys = self.home / "keys"
        keys.chmod(0o777)
        self.tells(8, ["new", "--subject", "CN=x", "--container", "two"], subject="two",
                   happened="file or folder is another user's, or open to others",
                   advised="make file and folder yours, their modes 0600 and 0700",
                   name="NTE_PERM", logged=f"{keys}: is another user's folder, or others may write in it")

    def test_pin_missing(self):
        self.new("open", "--exportable")
        thumbprint = self.new("guarded", "--exportable", "--pin-file", "pin")
        report = self.create(happened="a container has a PIN, and none was given",
                             advised="--pin-file, --pin-fd or --pin-env",
                             name="SCARD_W_CARD_NOT_AUTHENTICATED",
                             lines=[f"{thumbprint} CN=guarded, C=RU, container guarded"])
        self.assertEqual(report["refused"], [
            {"thumbprint": thumbprint, "subject": "CN=guarded, C=RU", "container": "guarded"}])

    def test_pin_wrong(self):
        thumbprint = self.new("guarded", "--exportable", "--pin-file", "pin")
        report = self.create("--pin-file", "wrong-pin",
                             happened="nothing written, since these certificates' keys can't be "
                                      "reached",
                             lines=[f"{thumbprint} CN=guarded, C=RU, container guarded: the "
                                    "PIN is wrong"],
                             advised="the PIN that the container was made with",
                             name="SCARD_W_WRONG_CHV")
        self.assertNotIn("withoutKey", report)
        self.assertEqual(report["refused"], [
            {"thumbprint": thumbprint, "subject": "CN=guarded, C=RU", "container": "guarded",
             "errorWord": "0x8010006B", "errorName": "SCARD_W_WRONG_CHV"}])

    def test_a_certificate_whose_container_is_gone(self):
        thumbprint = self.new("gone", "--exportable")
        (row,) = self.report("keys")["containers"]
        self.expect(0, "keys", "delete", "gone")
        recorded = row["uniqueName"]
        report = self.create(happened="nothing written, since these certificates' keys can't be "
                                      "reached",
                             lines=[f"{thumbprint} CN=gone, C=RU, container {recorded}: there is "
                                    "no such container"],
                             advised="'mvlpfx keys' lists the containers", name="NTE_BAD_KEYSET")
        self.assertEqual(report["refused"], [
            {"thumbprint": thumbprint, "subject": "CN=gone, C=RU", "container": recorded,
             "errorWord": "0x80090016", "errorName": "NTE_BAD_KEYSET"}])

    def test_a_pin_of_a_length_that_none_has(self):
        self.new("guarded", "--exportable", "--pin-file", "pin")
        expected = {"advised": "give another PIN", "name": "NTE_BAD_LEN"}
        new = ["new", "--subject", "CN=x", "--container", "box", "--pin-file"]
        create = ["create", "-o", "out.pfx", "--pass-file", "password", "--pin-file"]
        for pin in ("\n", "\r\n", "1" * 256, "1" * 4096):
            self.file("odd-pin", pin)
            for command, subject in ((new, "box"), (create, "out.pfx")):
                with self.subTest(command[0], length=len(pin)):
                    self.tells(2, [*command, "odd-pin"], subject=subject,
                               happened="a PIN has 1 to 255 bytes", **expected)
        self.file("endless-pin", "1" * 4097)
        for command, subject in ((new, "box"), (create, "out.pfx")):
            self.tells(2, [*command, "endless-pin"], subject=subject,
                       happened="the PIN from 'endless-pin' is too long", **expected)
        self.assertEqual([c["container"] for c in self.report("keys")["containers"]], ["guarded"])

    def test_the_longest_pin(self):
        self.file("longest-pin", "1" * 255 + "\n")
        self.new("guarded", "--exportable", "--pin-file", "longest-pin")
        self.expect(0, "create", "-o", "out.pfx", "--pass-file", "password", "--pin-file",
                    "longest-pin")

    # Of certificates.

    def pem(self, der, kind="CERTIFICATE"):
        body = base64.encodebytes(der).decode()
        return f"-----BEGIN {kind}-----\n{body}-----END {kind}-----\n"

    def certificate(self):
        self.openssl("req", "-x509", "-newkey", "gost2012_256", "-pkeyopt", "paramset:A", "-nodes",
                     "-keyout", "key.pem", "-out", "cert.der", "-outform", "DER", "-subj", "/CN=x")
        return (self.folder / "cert.der").read_bytes()

    def test_files_that_hold_no_certificate(self):
        der = self.certificate()
        no_certificate = self.pem(element(0x30))
        header = "-----BEGIN CERTIFICATE-----"
        second = self.pem(der) + "between\n"
        corrupt = {"advised": "get the file again, whole", "name": "CRYPT_E_ASN1_CORRUPT"}
        for content, offset, found, expected in (
                (second + no_certificate, len(second), header,
                 {"happened": "certificate 2 of it is no X.509 certificate",
                  **corrupt, "advised": "name a .cer, .crt or .pem file of a certificate"}),
                (der[:-1], 0, "SEQUENCE",
                 {"happened": "certificate 1 of it is no X.509 certificate", **corrupt}),
                (second + no_certificate[:-9], len(second), header,
                 {"happened": "a PEM block is not closed", "advised": "get the file again"}),
                (self.pem(der, "TRUSTED CERTIFICATE"), 0, "-----BEGIN TRUSTED CERTIFICATE-----",
                 {"happened": "no certificate in it", "advised": "name a .cer"})):
            file = self.file("certificates", content)
            with self.subTest(found, **expected):
                report = self.tells(4, ["certs", "add", file], subject=file, found=found,
                                    where=("", b"\x30" if found == "SEQUENCE" else found.encode()),
                                    **expected)
                self.assertEqual(report["where"]["offset"], offset)
                self.assertEqual(self.report("certs")["certificates"], [])

    def test_a_document_is_no_certificate(self):
        body = base64.encodebytes(DOCUMENT.read_bytes())
        pem = b"-----BEGIN PKCS12-----\n" + body + b"-----END PKCS12-----\n"
        for content, found in ((DOCUMENT.read_bytes(), "SEQUENCE"), (body, "SEQUENCE"),
                               (indefinite(DOCUMENT.read_bytes(), [0]), "SEQUENCE"),
                               (pem, "-----BEGIN PKCS12-----")):
            file = self.file("backup.pfx", content)
            with self.subTest(content[:9]):
                report = self.tells(4, ["certs", "add", file], subject=file, found=found,
                                    happened="a PFX document instead of a certificate",
                                    advised="'mvlpfx restore' takes its keys and certificates",
                                    where=("", content[:1]))
                self.assertEqual(report["where"]["offset"], 0)
        # What is advised takes them.
        self.expect(0, "restore", file, "--pass-file", PASSWORD)

    def test_a_certificate_in_bare_base64_is_taken(self):
        self.file("cert.b64", base64.encodebytes(self.certificate()))
        (added,) = self.report("certs", "add", "cert.b64")["added"]
        (row,) = self.report("certs")["certificates"]
        self.assertEqual((row["thumbprint"], row["subject"]), (added, "CN=x"))

    def test_text_in_a_certificate_is_no_certificate(self):
        der = element(0x30, b"\n-----BEGIN CERTIFICATE-----\nMAA=\n-----END CERTIFICATE-----\n")
        file = self.file("cert.der", der)
        self.tells(4, ["certs", "add", file], happened="certificate 1 of it is no X.509",
                   advised="get the file again, whole", name="CRYPT_E_ASN1_CORRUPT", subject=file,
                   found="SEQUENCE", where=("", b"\x30"))

    def test_no_such_store(self):
        self.tells(2, ["certs", "--store", "FOO"], happened="'FOO' is no store: MY, CA or ROOT",
                   advised="'mvlpfx certs --help'")

    # Of files.

    def test_a_file_that_may_not_be_read(self):
        closed = self.file("closed.pfx", DOCUMENT.read_bytes())
        closed.chmod(0)
        for command in (["verify", "--pass-file", PASSWORD], ["info"],
                        ["restore", "--pass-file", PASSWORD]):
            self.tells(7, [command[0], closed, *command[1:]], before=AS_ANYONE, subject=closed,
                       happened="can't open: Permission denied", advised="its owner and mode")
        self.file("closed-password", "x").chmod(0)
        self.tells(7, ["verify", DOCUMENT, "--pass-file", "closed-password"], before=AS_ANYONE,
                   happened="can't read the password from 'closed-password': Permission denied",
                   advised="its owner and mode", subject=DOCUMENT)

    def test_a_pin_that_is_not_there(self):
        self.tells(7, ["new", "--subject", "CN=x", "--container", "box", "--pin-file", "nowhere"],
                   happened="can't read the PIN from 'nowhere': No such file",
                   advised="look for the name", subject="box")

    def test_a_descriptor_that_gives_nothing(self):
        closed = (self.folder / "for-writing").open("wb")
        self.addCleanup(closed.close)
        bad = {"advised": "open it for reading where the command is started"}
        for number, more in ((99, {}), (closed.fileno(), {"pass_fds": [closed.fileno()]})):
            self.tells(7, ["verify", DOCUMENT, "--pass-fd", str(number)], subject=DOCUMENT,
                       happened=f"can't read the password from descriptor {number}: Bad file "
                                "descriptor", **bad, **more)
            self.tells(7, ["new", "--subject", "CN=x", "--container", "box", "--pin-fd",
                           str(number)], subject="box",
                       happened=f"can't read the PIN from descriptor {number}: Bad file "
                                "descriptor", **bad, **more)
        self.tells(7, ["verify", DOCUMENT, "--pass-stdin"], subject=DOCUMENT,
                   before=["sh", "-c", '"$@" <&-', "sh"],
                   happened="can't read the password from standard input: Bad file", **bad)
        self.expect(2, "verify", DOCUMENT, "--pass-fd", "-1", err="--pass-fd")
        self.expect(2, "new", "--subject", "CN=x", "--pin-fd", "-1", err="--pin-fd")
        self.assertEqual(self.report("keys")["containers"], [])

    def test_a_source_that_is_at_its_end(self):
        reader, writer = os.pipe()
        os.close(writer)
        self.addCleanup(os.close, reader)
        self.file("empty", "")
        advised = "write it there, as a line"
        for source, what, more in ((["--pass-fd", str(reader)], f"descriptor {reader}",
                                    {"pass_fds": [reader]}),
                                   (["--pass-stdin"], "standard input", {}),
                                   (["--pass-file", "empty"], "'empty'", {})):
            self.tells(3, ["verify", DOCUMENT, *source], subject=DOCUMENT, advised=advised,
                       happened=f"no password comes from {what}, which is at its end; the password "
                                "must have 1 to 32 bytes", name="ERROR_INVALID_PASSWORD", **more)
        for source, what, more in ((["--pin-fd", str(reader)], f"descriptor {reader}",
                                    {"pass_fds": [reader]}),
                                   (["--pin-file", "empty"], "'empty'", {})):
            self.tells(2, ["new", "--subject", "CN=x", "--container", "box", *source],
                       subject="box", advised=advised, name="NTE_BAD_LEN",
                       happened=f"no PIN comes from {what}, which is at its end; a PIN has 1 to 255 "
                                "bytes", **more)
        # A line without anything is one.
        self.file("empty", "\n")
        self.tells(3, ["verify", DOCUMENT, "--pass-file", "empty"], subject=DOCUMENT,
                   advised="take another password", name="ERROR_INVALID_PASSWORD",
                   happened="the password must have 1 to 32 bytes")

    def test_a_file_that_is_not_there(self):
        self.tells(7, ["verify", "nowhere.pfx", "--pass-file", PASSWORD], subject="nowhere.pfx",
                   happened="can't open: No such file", advised="look for the name")

    def test_a_file_that_may_not_be_written(self):
        self.new("one", "--exportable")
        folder = self.folder / "closed"
        folder.mkdir()
        folder.chmod(0o500)
        self.tells(7, ["create", "-o", "closed/out.pfx", "--pass-file", "password"],
                   before=AS_ANYONE, happened="can't write 'closed/out.pfx': Permission denied",
                   advised="its owner and mode", subject="closed/out.pfx")
        self.assertEqual(list(folder.iterdir()), [])

    def test_a_key_folder_that_may_not_be_written(self):
        self.new("one")
        keys = self.home / "keys"
        keys.chmod(0o500)
        self.tells(7, ["new", "--subject", "CN=x", "--container", "two"], before=AS_ANYONE,
                   happened=f"can't make the container 'two' in {keys}: no right",
                   advised="its owner and mode", name="ERROR_ACCESS_DENIED", subject="two",
                   logged=f"{keys}/[0-9a-f]{{64}}.key: Permission denied")
        self.tells(7, ["restore", DOCUMENT, "--pass-file", PASSWORD], before=AS_ANYONE,
                   happened=f"can't make a container in {keys}: no right",
                   advised="its owner and mode", name="ERROR_ACCESS_DENIED", subject=DOCUMENT,
                   logged=f"{keys}/[0-9a-f]{{64}}.key: Permission denied")
        keys.chmod(0o700)
        self.assertEqual([c["container"] for c in self.report("keys")["containers"]], ["one"])

    def test_a_key_folder_that_may_not_be_read(self):
        self.new("one")
        keys = self.home / "keys"
        keys.chmod(0)
        self.tells(7, ["keys"], before=AS_ANYONE, happened="no right to the file or folder",
                   advised="its owner and mode", name="ERROR_ACCESS_DENIED",
                   logged=f"{keys}: Permission denied")
        keys.chmod(0o700)

    def damaged_container(self):
        path = self.home / "keys" / ("0" * 64 + ".key")
        path.write_bytes(b"VLXKEYS")
        path.chmod(0o600)
        return path

    def test_a_damaged_container_is_told_where_it_counts(self):
        self.new("one", "--exportable")
        self.new("two", "--exportable")
        damaged = self.damaged_container()
        for args in (["create", "-o", "out.pfx", "--pass-file", "password"], ["certs"],
                     ["restore", "out.pfx", "--pass-file", "password"],
                     ["keys", "delete", "two"], ["new", "--subject", "CN=x"]):
            with self.subTest(args):
                self.expect(0, *args)
        for options in ([], ["--quiet"]):
            result = self.run_tool("keys", *options)
            self.assertEqual(result.returncode, 8, result)
            self.assertIn(b"CN=one", result.stdout)
            self.assertEqual(result.stderr.decode().count(str(damaged)), 1, result)
            self.assertIn(f"\n  {damaged}: is damaged\n", result.stderr.decode())
        self.assertEqual(self.report("keys", code=8)["log"], [f"{damaged}: is damaged"])

    def test_a_damaged_file_of_a_store(self):
        self.new("one", "--exportable")
        damaged = self.home / "stores" / "MY" / ("0" * 40)
        damaged.write_bytes(b"no certificate")
        self.expect(0, "keys")
        logged = f"{damaged}: cannot be read or is damaged; it is passed over"
        result = self.run_tool("certs")
        self.assertEqual(result.returncode, 7, result)
        self.assertEqual(result.stderr.decode().splitlines()[1], f"  {logged}")
        self.assertEqual(self.report("certs", code=7)["log"], [logged])
        self.tells(7, ["create", "-o", "out.pfx", "--pass-file", "password"], subject="out.pfx",
                   happened="can't read all of the store MY: a file is damaged",
                   advised="put the file back", name="CRYPT_E_FILE_ERROR", logged=logged)

    def test_damaged_settings_are_the_system_log_s_unless_a_command_fails_below(self):
        settings = self.file("settings.toml", "no TOML")
        env = {"VELMORIX_SETTINGS": str(settings)}
        self.expect(0, "keys", env=env)
        result = self.run_tool("verify", DOCUMENT, "--pass-file", "wrong", env=env)
        self.assertNotIn(str(settings), result.stderr.decode())
        (logged,) = self.report("keys", "delete", "none", code=8, env=env)["log"]
        self.assertTrue(logged.startswith(f"{settings}: "), logged)
        self.assertTrue(logged.endswith("; built-in settings are used"), logged)

    def on_disk(self, disk, *args):
        """Exit code, what is said, and the files there before and after, where the tool is run with
        a small file system in the folder "disk": full, but for names of files, or read-only, or
        neither."""
        (self.folder / "disk").mkdir(exist_ok=True)
        script = """
            mount -t tmpfs -o size=64k,nr_inodes=100 tmpfs disk || exit 77
            cp -a given/. disk/ && find disk | sort >before
            case $1 in
            full) cat /dev/zero >disk/.fill 2>/dev/null; find disk | sort >before ;;
            read-only) mount -o remount,ro disk ;;
            esac
            shift
            "$@"; code=$?
            find disk | sort >after; rm -rf kept; cp -a disk kept; exit $code
        """
        result = self.run_tool(*args, before=["unshare", "-m", "sh", "-c", script, "sh", disk],
                               home=self.folder / "disk",
                               env={"VELMORIX_MACHINE_HOME": str(self.folder / "disk")})
        if result.returncode == 77 or b"unshare" in result.stderr:
            self.skipTest("SKIPPED: this process may mount nothing")
        before, after = (set((self.folder / name).read_text().splitlines())
                         for name in ("before", "after"))
        return result, after - before, before - after

    def test_a_disk_that_takes_nothing(self):
        """Whatever a command writes: it is told, and nothing half is left."""
        self.home = self.folder / "given"
        self.new("one", "--exportable")
        self.file("cert.der", certificate(b"\x04\x01\x01"))
        (self.home / "old.pfx").write_text("what was there")
        create = ["create", "--pass-file", "password", "-o"]
        commands = (["new", "--subject", "CN=x", "--container", "two"],
                    ["certs", "add", "cert.der"], ["register"],
                    ["restore", DOCUMENT, "--pass-file", PASSWORD],
                    [*create, "disk/new.pfx"], [*create, "disk/old.pfx", "--force"])
        for args in commands:
            with self.subTest(args[:2], disk="empty"):
                result, made, gone = self.on_disk("empty", *args)
                self.assertEqual((result.returncode, result.stderr, gone), (0, b"", set()), result)
        for disk, reason in (("full", "full|No space left"), ("read-only", "[Rr]ead-only")):
            for args in commands:
                with self.subTest(args[:2], disk=disk):
                    result, made, gone = self.on_disk(disk, *args)
                    self.assertEqual((result.returncode, result.stdout), (7, b""), result)
                    self.assertRegex(result.stderr.decode(), reason)
                    self.assertIn("  what to do: ", result.stderr.decode())
                    # An empty folder or lock is made before it is known that nothing goes into it.
                    made = {name for name in made if (self.folder / "kept" /
                                                      pathlib.Path(name).relative_to("disk")
                                                      ).is_file() and not name.endswith(".lock")}
                    self.assertEqual((made, gone), (set(), set()))
                    self.assertEqual((self.folder / "kept" / "old.pfx").read_text(),
                                     "what was there")
        # Deleting makes room, and needs none but where nothing may be written.
        result, made, gone = self.on_disk("full", "keys", "delete", "one")
        self.assertEqual((result.returncode, len(gone)), (0, 1), result)
        result, made, gone = self.on_disk("read-only", "keys", "delete", "one")
        self.assertEqual((result.returncode, gone), (7, set()), result)

    def test_what_needs_no_password_is_refused_before_one_is_asked_for(self):
        """Where there is neither a source nor a terminal, asking is wrong usage."""
        def asks(code, *args, err):
            result = self.run_tool(*args, start_new_session=True)
            self.assertEqual(result.returncode, code, result)
            self.assertIn(err, result.stderr.decode())
        create = ["create", "-o", "out.pfx"]
        asks(1, *create, err="there is no certificate in MY")
        self.new("one", "--exportable")
        self.new("stays")
        self.new("lost", "--exportable")
        self.new("guarded", "--exportable", "--pin-file", "pin")
        self.expect(0, "keys", "delete", "lost")
        here = [*create, "--subject", "one"]
        asks(2, *here, err="--pass-file")
        asks(8, *create, "--subject", "stays", err="not exportable")
        asks(8, *create, "--subject", "lost", err="can't be reached")
        asks(2, *create, "--subject", "lost", "--allow-missing-keys", err="--pass-file")
        asks(8, *create, "--subject", "guarded", err="a container has a PIN")
        asks(7, "create", "-o", "no/such/out.pfx", err="No such file")
        asks(7, "create", "-o", "password/out.pfx", err="Not a directory")
        asks(7, "create", "-o", str(self.folder), "--force", err="Is a directory")
        self.file("out.pfx", "mine")
        asks(9, *here, err="exists already")
        asks(2, *here, "--force", err="--pass-file")
        self.assertEqual((self.folder / "out.pfx").read_text(), "mine")

        asks(2, "restore", DOCUMENT, err="--pass-file")
        behind = self.file("behind.pfx", DOCUMENT.read_bytes() + b"\0")
        asks(4, "restore", behind, err="1 byte behind the document's end")
        asks(5, "verify", DOCUMENTS / "openssl_p256.pfx", err="SHA-256")
        (self.home / "keys").chmod(0o777)
        asks(8, "restore", DOCUMENT, err="open to others")
        asks(2, "restore", DOCUMENT, "--dry-run", err="--pass-file")

    def test_output_that_is_lost(self):
        lost = "can't write to standard output: No space left"
        for code, said, args in ((7, lost, ["info", DOCUMENT]), (7, lost, ["keys", "--json"]),
                                 (7, "can't open: No such file", ["info", "nowhere", "--json"]),
                                 (2, "is required", ["info", "--json"]), (7, lost, ["--help"]),
                                 (7, lost, ["--version"]), (7, lost, ["--version", "--json"])):
            with self.subTest(args), open("/dev/full", "wb") as full:
                result = subprocess.run([self.tool, *args], stdout=full, stderr=subprocess.PIPE,
                                        check=False, cwd=self.folder, env=self.environment())
                self.assertEqual(result.returncode, code, result)
                self.assertIn(said, result.stderr.decode())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
