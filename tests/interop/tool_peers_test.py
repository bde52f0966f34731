#!/usr/bin/env python3
"""OpenSSL's GOST engine and GnuTLS against the tool, both ways: tool_peers_test.py MVLPFX SUPPORT DOCUMENTS

Exits with 77, which ctest shows as skipped, where a peer is missing.
"""
import pathlib
import re
import subprocess
import sys
import unittest

sys.path.insert(0, sys.argv[2])
from tool_profile import ALGORITHMS, Profile, missing_peer  # noqa: E402

Profile.tool = sys.argv[1]
DOCUMENTS = pathlib.Path(sys.argv[3])
DIGESTS = {"gost2001": "md_gost94", "gost2012-256": "md_gost12_256",
           "gost2012-512": "md_gost12_512"}
CURVES = {"gost2001": ("1.2.643.2.2.35.1", "1.2.643.2.2.35.2", "1.2.643.2.2.35.3"),
          "gost2012-256": ("1.2.643.2.2.35.1", "1.2.643.7.1.2.1.1.1"),
          "gost2012-512": ("1.2.643.7.1.2.1.2.1", "1.2.643.7.1.2.1.2.2", "1.2.643.7.1.2.1.2.3")}
# Those of them that the arithmetic behind GnuTLS has.
CURVES_OF_GNUTLS = ("1.2.643.2.2.35.1", "1.2.643.7.1.2.1.2.1")


class Peers(Profile):
    def certtool(self, *args):
        result = subprocess.run(["certtool", *map(str, args)], capture_output=True, check=False,
                                cwd=self.folder)
        return result.returncode, (result.stdout + result.stderr).decode(errors="replace")

    def create(self, *args, home=None):
        self.expect(0, "create", "-o", "out.pfx", "--force", "--pass-file", "password", *args,
                    home=home)

    def opened(self):
        """Private keys and certificates that OpenSSL finds in the document, as PEM blocks."""
        text = self.openssl("pkcs12", "-in", "out.pfx", "-nodes", "-passin",
                            "file:password").decode()
        block = "-----BEGIN {0}-----.*?-----END {0}-----\n"
        return [re.findall(block.format(label), text, re.S)
                for label in ("PRIVATE KEY", "CERTIFICATE")]

    def public_key(self, option, pem):
        arguments = ["pkey", "-pubout"] if option == "key" else ["x509", "-pubkey", "-noout"]
        return self.openssl(*arguments, stdin=pem.encode())

    def expect_key_and_certificate_to_fit(self, key, certificate, digest):
        self.file("key.pem", key)
        self.file("cert.pem", certificate)
        self.file("data", "some data")
        self.openssl("dgst", f"-{digest}", "-sign", "key.pem", "-out", "signature", "data")
        self.file("public.pem", self.public_key("certificate", certificate))
        said = self.openssl("dgst", f"-{digest}", "-verify", "public.pem", "-signature",
                            "signature", "data")
        self.assertIn(b"Verified OK", said)

    def test_both_verify_the_self_signature_on_every_curve(self):
        for algorithm in ALGORITHMS:
            for curve in CURVES[algorithm]:
                self.new(curve, "--exportable", "--curve", curve, algorithm=algorithm)
                self.create("--container", curve)
                _, (certificate,) = self.opened()
                self.file("cert.pem", certificate)
                self.assertIn(b"OK", self.openssl("verify", "-check_ss_sig", "-CAfile", "cert.pem",
                                                  "cert.pem"))
                self.expect(0, "keys", "delete", curve)
                if curve not in CURVES_OF_GNUTLS:
                    continue
                # GnuTLS counts GOST R 34.11-94 as broken.
                code, said = self.certtool("--verify", "--verify-allow-broken",
                                           "--load-ca-certificate", "cert.pem", "--infile",
                                           "cert.pem")
                self.assertEqual(code, 0, said)
                self.assertIn("Verified. The certificate is trusted", said)

    def test_a_changed_certificate_is_seen_by_both(self):
        self.new("one", "--exportable")
        self.create()
        _, (certificate,) = self.opened()
        self.file("cert.pem", certificate)
        der = bytearray(self.openssl("x509", "-in", "cert.pem", "-outform", "DER"))
        der[-1] ^= 1
        self.file("bad.der", bytes(der))
        self.file("bad.pem", self.openssl("x509", "-inform", "DER", "-in", "bad.der"))
        code, said = self.certtool("--verify", "--load-ca-certificate", "bad.pem", "--infile",
                                   "bad.pem")
        self.assertNotEqual(code, 0, said)
        with self.assertRaises(AssertionError):
            self.openssl("verify", "-check_ss_sig", "-CAfile", "bad.pem", "bad.pem")

    def test_both_open_documents_of_each_family(self):
        for algorithm in ALGORITHMS:
            self.new(algorithm, "--exportable", algorithm=algorithm)
            self.create("--container", algorithm)
            (key,), (certificate,) = self.opened()
            self.assertEqual(self.public_key("key", key),
                             self.public_key("certificate", certificate))
            self.expect_key_and_certificate_to_fit(key, certificate, DIGESTS[algorithm])
            code, said = self.certtool("--p12-info", "--inder", "--infile", "out.pfx",
                                       "--password", "long live the king")
            self.assertEqual(code, 0, said)
            self.assertIn(certificate, said)
            wrapped = re.search("-----BEGIN ENCRYPTED.*?-----END ENCRYPTED[^\n]*\n", said, re.S)
            self.file("wrapped.pem", wrapped.group())
            code, said = self.certtool("--pubkey-info", "--load-privkey", "wrapped.pem", "--pkcs8",
                                       "--password", "long live the king")
            self.assertEqual(code, 0, said)
            self.assertIn(self.public_key("key", key).decode(), said)

    def test_a_mixed_store_of_many_keys(self):
        # More than 1024 octets of certificates, where the cipher's key is first changed.
        names = []
        for algorithm in ALGORITHMS:
            for number in range(3):
                names.append(f"{algorithm}.{number}")
                self.new(names[-1], "--exportable", algorithm=algorithm)
        self.create("--names")
        keys, certificates = self.opened()
        self.assertEqual({self.public_key("key", key) for key in keys},
                         {self.public_key("certificate", c) for c in certificates})
        self.assertEqual(len(keys), len(names))

    def test_a_hundred_keys(self):
        for number in range(100):
            self.new(f"key.{number}", "--exportable")
        said = self.expect(0, "create", "-o", "out.pfx", "--pass-file", "password")
        self.assertIn("100 keys, 100 certificates", said)
        keys, certificates = self.opened()
        public_keys = [self.public_key("key", key) for key in keys]
        self.assertEqual(public_keys, [self.public_key("certificate", c) for c in certificates])
        self.assertEqual(len(set(public_keys)), 100)

    def test_openssl_tells_what_guards_each_family(self):
        old = ("GOST R 34.11-94", 32, "id-HMACGostR3411-94")
        new = ("GOST R 34.11-2012 with 512 bit hash", 64, "id-tc26-hmac-gost-3411-2012-512")
        scheme = "PBES2, PBKDF2, gost89, Iteration 2000, PRF "
        for algorithm, (digest, size, prf) in zip(ALGORITHMS, (old, new, new)):
            self.new(algorithm, "--exportable", algorithm=algorithm)
            self.create("--container", algorithm)
            said = self.openssl("pkcs12", "-info", "-in", "out.pfx", "-nodes", "-passin",
                                "file:password", merge=True).decode()
            self.assertIn(f"MAC: {digest}, Iteration 2000\n"
                          f"MAC length: {size}, salt length: 32\n", said)
            self.assertIn(f"Shrouded Keybag: {scheme}{prf}\n", said)
            self.assertIn(f"PKCS7 Encrypted data: {scheme}{prf}\n", said)

    def test_certificates_without_keys(self):
        self.openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=plain",
                     "-keyout", "key", "-out", "cert.pem")
        self.expect(0, "certs", "add", "cert.pem")
        self.create()
        keys, certificates = self.opened()
        self.assertEqual((len(keys), len(certificates)), (0, 1))

    def test_cyrillic_passwords_and_names(self):
        self.file("password", "пароль ключа\n")
        self.new("Иван Петров", "--exportable")
        self.create("--names")
        keys, certificates = self.opened()
        self.assertEqual((len(keys), len(certificates)), (1, 1))

    def test_a_key_comes_back_the_same(self):
        for algorithm in ALGORITHMS:
            self.new(algorithm, "--exportable", algorithm=algorithm)
        self.create()
        before = self.opened()
        other = self.folder / "other"
        self.expect(0, "restore", "out.pfx", "--pass-file", "password", "--exportable", home=other)
        self.create(home=other)
        after = self.opened()
        self.assertEqual([sorted(blocks) for blocks in before],
                         [sorted(blocks) for blocks in after])

    def test_keys_of_openssl_come_back_the_same(self):
        for name in ("openssl-2001", "openssl-2012-256", "openssl-2012-512", "openssl-named"):
            document = DOCUMENTS / f"{name}.pfx"
            self.file("password", document.with_suffix(".password").read_bytes())
            self.file("out.pfx", document.read_bytes())
            keys, certificates = self.opened()
            home = self.folder / name
            self.expect(0, "restore", "out.pfx", "--pass-file", "password", "--exportable",
                        home=home)
            self.create(home=home)
            keys_again, certificates_again = self.opened()
            self.assertEqual(
                [self.public_key("key", key) for key in keys],
                [self.public_key("key", key) for key in keys_again], name)
            self.assertEqual(certificates, certificates_again)


if __name__ == "__main__":
    if missing_peer():
        print(f"SKIPPED: {missing_peer()} is not installed")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
