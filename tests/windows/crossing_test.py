#!/usr/bin/env python3
"""Documents that cross over between Windows, here Wine, and Linux:

    crossing_test.py MVLPFX_EXE MVLPFX SUPPORT DOCUMENTS

MVLPFX_EXE stands beside its libraries; WINEPREFIX names a prefix for it to work in.
"""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

WINE = "/usr/lib/wine/wine64"
EXE, LINUX = (str(pathlib.Path(path).resolve()) for path in sys.argv[1:3])
sys.path.insert(0, sys.argv[3])
from tool_profile import ALGORITHMS, Profile, missing_peer  # noqa: E402

DOCUMENTS = pathlib.Path(sys.argv[4]).resolve()
# Languages whose ANSI code pages hold Cyrillic letters, as Windows has them: Hindi has none but UTF-8.
CODE_PAGES = {"ru_RU": "cp1251", "hi_IN": "utf-8"}
# Of 600,000 iterations for each derivation, which take their time.
SLOW = "openssl-600000"
MY = r"HKCU\Software\Microsoft\SystemCertificates\MY"
# Which Wine shows in the user's too.
MACHINES_MY = r"HKLM\Software\Microsoft\SystemCertificates\MY"
DIGESTS = {"gost2001": "md_gost94", "gost2012-256": "md_gost12_256",
           "gost2012-512": "md_gost12_512"}
Profile.tool = LINUX


def wine(*args, **more):
    """Through files: Wine's own processes keep pipes open for as long as they live."""
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
        result = subprocess.run([WINE, *map(str, args)], stdin=subprocess.DEVNULL, stdout=out,
                                stderr=err, check=False, timeout=1800, **more)
        out.seek(0)
        err.seek(0)
        result.stdout, result.stderr = out.read(), err.read()
        return result


def setUpModule():
    if missing_peer():
        raise AssertionError(f"{missing_peer()} is not installed")
    result = wine("regsvr32", "/s", pathlib.Path(EXE).with_name("velmorixcsp.dll"))
    assert result.returncode == 0, result


def tearDownModule():
    result = wine("regsvr32", "/s", "/u", pathlib.Path(EXE).with_name("velmorixcsp.dll"))
    assert result.returncode == 0, result


class Crossing(Profile):
    def windows(self, code, *args, language="C"):
        """What mvlpfx.exe prints in a profile of its own, which lasts for the test. Wine looks for
        the key of a certificate among the user's containers alone, so the machine's lie there too."""
        environment = {**os.environ, "VELMORIX_HOME": f"Z:{self.folder}/windows",
                       "VELMORIX_MACHINE_HOME": f"Z:{self.folder}/windows",
                       "LC_ALL": f"{language}.UTF-8"}
        result = wine(EXE, *args, cwd=self.folder, env=environment)
        self.assertEqual(result.returncode, code, result)
        if code == 0:
            self.assertEqual(result.stderr, b"")
        return result.stdout.decode().replace("\r\n", "\n")

    def key_in(self, document, password="password"):
        """The private key, opened by OpenSSL."""
        self.openssl("pkcs12", "-in", document, "-nocerts", "-nodes", "-passin",
                     f"file:{password}", "-out", "key.pem")
        return self.openssl("pkey", "-in", "key.pem")

    def sign_and_verify(self, key, certificate, digest):
        self.file("key.pem", key)
        self.file("cert.pem", certificate)
        self.file("data", "some data")
        self.openssl("dgst", f"-{digest}", "-sign", "key.pem", "-out", "signature", "data")
        self.file("public.pem", self.openssl("x509", "-in", "cert.pem", "-pubkey", "-noout"))
        self.assertIn(b"Verified OK", self.openssl(
            "dgst", f"-{digest}", "-verify", "public.pem", "-signature", "signature", "data"))

    def test_made_under_windows_opens_everywhere(self):
        for algorithm in ALGORITHMS:
            name = f"from-windows-{algorithm}"
            thumbprint = self.windows(0, "new", "--subject", f"CN={name}", "--algorithm", algorithm,
                                      "--container", name, "--exportable").strip()
            self.windows(0, "create", "-o", "out.pfx", "--force", "--container", name,
                         "--pass-file", "password")
            key = self.key_in("out.pfx")
            certificate = self.openssl("pkcs12", "-in", "out.pfx", "-nokeys", "-passin",
                                       "file:password")
            self.sign_and_verify(key, certificate, DIGESTS[algorithm])
            self.openssl("verify", "-check_ss_sig", "-CAfile", "cert.pem", "cert.pem")
            said = subprocess.run(["certtool", "--p12-info", "--inder", "--infile", "out.pfx",
                                   "--password", "long live the king"], cwd=self.folder,
                                  capture_output=True, check=False)
            self.assertEqual(said.returncode, 0, said)
            self.assertIn(b"BEGIN ENCRYPTED PRIVATE KEY", said.stdout + said.stderr)

            self.expect(3, "verify", "out.pfx", "--pass-stdin", stdin=b"wrong\n", err="password")
            restored = self.report("restore", "out.pfx", "--exportable", "--pass-file", "password")
            self.assertIn(thumbprint, str(restored))
            self.expect(0, "create", "-o", "again.pfx", "--force", "--thumbprint", thumbprint,
                        "--pass-file", "password")
            self.assertEqual(self.key_in("again.pfx"), key)

    def test_a_key_of_the_machine_leaves_windows(self):
        thumbprint = self.windows(0, "new", "--machine", "--subject", "CN=machines", "--container",
                                  "machines", "--exportable").strip()
        self.addCleanup(wine, "reg", "delete", f"{MACHINES_MY}\\Certificates\\{thumbprint}", "/f")
        self.windows(0, "create", "-o", "out.pfx", "--machine", "--thumbprint", thumbprint,
                     "--pass-file", "password")
        (row,) = self.report("restore", "out.pfx", "--pass-file", "password")["certificates"]
        self.assertEqual((row["thumbprint"], row["hasKey"]), (thumbprint, True))

    def test_made_on_linux_restores_under_windows(self):
        for algorithm in ALGORITHMS:
            name = f"from-linux-{algorithm}"
            thumbprint = self.new(name, "--exportable", algorithm=algorithm)
            self.expect(0, "create", "-o", "out.pfx", "--force", "--container", name,
                        "--pass-file", "password")
            key = self.key_in("out.pfx")
            self.windows(0, "verify", "out.pfx", "--pass-file", "password")
            self.file("wrong", "wrong\n")
            self.windows(3, "verify", "out.pfx", "--pass-file", "wrong")
            self.windows(0, "restore", "out.pfx", "--exportable", "--pass-file", "password")
            self.windows(0, "create", "-o", "again.pfx", "--force", "--thumbprint", thumbprint,
                         "--pass-file", "password")
            self.assertEqual(self.key_in("again.pfx"), key)

    def test_containers_lie_in_the_same_file_on_both(self):
        """A container that one system wrote, the other opens: the file is the same to the octet."""
        self.windows(0, "new", "--subject", "CN=moved", "--container", "moved")
        (file,) = (self.folder / "windows" / "keys").glob("*.key")
        keys = self.home / "keys"
        keys.mkdir(parents=True, mode=0o700)
        self.home.chmod(0o700)
        (keys / file.name).write_bytes(file.read_bytes())
        (keys / file.name).chmod(0o600)
        self.assertIn("moved", self.expect(0, "keys"))

    def test_passwords_of_the_code_page_cross_over(self):
        password = "пароль №1"
        self.file("utf-8", password)
        for language, encoding in CODE_PAGES.items():
            self.file("narrow", password.encode(encoding))
            name = f"key-{language}"
            self.windows(0, "new", "--subject", f"CN={name}", "--container", name, "--exportable",
                         language=language)
            self.windows(0, "create", "-o", "out.pfx", "--force", "--container", name,
                         "--pass-file", "narrow", language=language)
            self.key_in("out.pfx", "utf-8")
            self.expect(0, "restore", "out.pfx", "--exportable", "--pass-file", "utf-8")
            self.expect(0, "create", "-o", "again.pfx", "--force", "--pass-file", "utf-8")
            self.windows(0, "restore", "again.pfx", "--pass-file", "narrow", language=language)

    def test_documents_of_others_are_verified_as_on_linux(self):
        for document in sorted(DOCUMENTS.glob("*.pfx")):
            password = document.with_suffix(".password")
            text = password.read_text("utf-8")
            code = 3 if document.stem == "openssl-33-bytes" else 0
            self.assertEqual(
                self.run_tool("verify", document, "--pass-file", password).returncode, code)
            for language, encoding in CODE_PAGES.items():
                if language != "ru_RU" and text.isascii():
                    continue
                self.file("narrow", text.encode(encoding))
                self.windows(code, "verify", f"Z:{document}", "--pass-file", "narrow",
                             language=language)

    def test_documents_of_others_are_restored_as_on_linux(self):
        restored = 0
        for document in sorted(DOCUMENTS.glob("*.pfx")):
            password = document.with_suffix(".password")
            if document.stem == SLOW:
                continue
            # What stands in MY is then the document's.
            wine("reg", "delete", MY, "/f")
            code = self.run_tool("restore", document, "--pass-file", password).returncode
            self.windows(code, "restore", f"Z:{document}", "--exportable", "--pass-file",
                         f"Z:{password}", language="hi_IN")
            if code != 0:
                continue
            self.windows(0, "create", "-o", "again.pfx", "--force", "--pass-file", f"Z:{password}",
                         language="hi_IN")
            self.assertEqual(self.key_in("again.pfx", password), self.key_in(document, password))
            restored += 1
        self.assertGreater(restored, 8)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
