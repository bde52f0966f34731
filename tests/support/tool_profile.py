"""What tests of the command line share: the tool in a profile of its own, and OpenSSL's engine."""
import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

OPENSSL_CONFIGURATION = """openssl_conf = init
[init]
engines = engines
[engines]
gost = gost
[gost]
engine_id = gost
default_algorithms = ALL
CRYPT_PARAMS = id-Gost28147-89-CryptoPro-A-ParamSet
[req]
distinguished_name = name
[name]
"""

ALGORITHMS = ("gost2001", "gost2012-256", "gost2012-512")


class Profile(unittest.TestCase):
    """Each test has an empty profile, and a folder that is its current one."""

    tool = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.home = self.folder / "profile"
        self.file("password", "long live the king\n")

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def environment(self, home=None, env=None):
        return {**os.environ, "VELMORIX_HOME": str(home or self.home),
                "VELMORIX_MACHINE_HOME": str(self.folder / "machine"), **(env or {})}

    def run_tool(self, *args, home=None, stdin=b"", env=None, before=(), **more):
        """`before` is a command that runs the tool."""
        return subprocess.run([*before, self.tool, *map(str, args)], input=stdin,
                              capture_output=True, check=False, cwd=self.folder,
                              env=self.environment(home, env), **more)

    def expect(self, code, *args, err=None, **more):
        """What the tool prints when it ends with that code; `err` stands in what it complains."""
        result = self.run_tool(*args, **more)
        self.assertEqual(result.returncode, code, result)
        if err is not None:
            self.assertIn(err, result.stderr.decode())
        elif code == 0:
            self.assertEqual(result.stderr, b"")
        return result.stdout.decode()

    def report(self, *args, code=0, **more):
        return json.loads(self.expect(code, *args, "--json", **more))

    def new(self, name, *args, algorithm="gost2012-256", **more):
        return self.expect(0, "new", "--subject", f"CN={name}, C=RU", "--algorithm", algorithm,
                           "--container", name, *args, **more).strip()

    def openssl(self, *args, stdin=b"", merge=False):
        """What it prints, with `merge` also what it says on standard error."""
        configuration = self.file("openssl.cnf", OPENSSL_CONFIGURATION)
        result = subprocess.run(["openssl", *map(str, args)], input=stdin, capture_output=True,
                                check=False, cwd=self.folder,
                                env={**os.environ, "OPENSSL_CONF": str(configuration)})
        self.assertEqual(result.returncode, 0, result)
        return result.stdout + (result.stderr if merge else b"")


def missing_peer():
    """The name of a peer that this machine lacks, or nothing."""
    for peer in ("openssl", "certtool"):
        if shutil.which(peer) is None:
            return peer
    engine = subprocess.run(["openssl", "engine", "gost"], capture_output=True, check=False)
    return None if engine.returncode == 0 else "OpenSSL's GOST engine"
