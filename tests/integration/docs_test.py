#!/usr/bin/env python3
"""What the documentation shows is what the tool shows: docs_test.py MVLPFX DOCS"""
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

TOOL = sys.argv[1]
DOCS = pathlib.Path(sys.argv[2])


def run(*args, stdin=""):
    return subprocess.run([TOOL, *map(str, args)], input=stdin, capture_output=True, check=True,
                          text=True).stdout


class Format(unittest.TestCase):
    example = DOCS / "example.pfx"

    def test_the_tree_is_that_of_the_example(self):
        page = (DOCS / "format.md").read_text()
        lines = [line[4:] for line in page.splitlines() if line.startswith("    ")]
        tree = run("info", self.example, "--tree").splitlines()
        self.assertEqual(lines[-len(tree):], tree)

    def test_the_password_is_that_of_the_example(self):
        self.assertIn("password is `Password1`", (DOCS / "format.md").read_text())
        run("verify", self.example, "--pass-stdin", stdin="Password1\n")


SUBCOMMANDS = ("new", "keys", "certs", "create", "info", "verify", "restore", "register",
               "unregister")


PARTS = [["keys", "list"], ["keys", "delete"], ["certs", "list"], ["certs", "add"],
         ["certs", "delete"]]


def options_in(said):
    return set(re.findall(r"^ .*?(--[a-z][a-z-]*)", said, re.M))


def options_of(*words):
    """Those of a subcommand, or those that stand before any."""
    return options_in(run(*words, "--help"))


class Help(unittest.TestCase):
    def test_every_subcommand_shows_an_example_of_itself(self):
        for words in [[name] for name in SUBCOMMANDS] + PARTS:
            said = run(*words, "--help")
            example = said[said.index("\nExample"):]
            self.assertIn(" ".join(["mvlpfx", words[0]]), example)

    def test_what_a_subcommand_does_shows_all_of_its_options(self):
        for words in PARTS:
            self.assertEqual(options_of(*words), options_of(words[0]), words)
            self.assertIn("--json", options_of(*words))


class Peers(unittest.TestCase):
    def test_the_versions_are_those_of_debian_12(self):
        system = pathlib.Path("/etc/os-release").read_text()
        if not re.search(r"(?m)^ID=debian$", system) or 'VERSION_ID="12"' not in system:
            self.skipTest("SKIPPED: not Debian 12, which the page is about")
        page = (DOCS / "peers.md").read_text()
        for name, command in (("OpenSSL", ["openssl", "version"]),
                              ("GnuTLS", ["certtool", "--version"]),
                              ("Wine", ["/usr/lib/wine/wine64", "--version"])):
            if shutil.which(command[0]) is None:
                continue
            said = subprocess.run(command, capture_output=True, check=True, text=True).stdout
            version = re.search(r"\d+\.\d+", said)[0]
            with self.subTest(name):
                self.assertRegex(page, rf"\b{name}\s{re.escape(version)}\b")


class ManualPages(unittest.TestCase):
    pages = DOCS / "man"

    def page(self, name):
        return (self.pages / name).read_text().replace("\\-", "-").replace("\\~", " ")

    def test_every_subcommand_and_option_is_told(self):
        page = self.page("mvlpfx.1")
        told = set(re.findall(r"--[a-z][a-z-]*", page))
        offered = options_of()
        for subcommand in SUBCOMMANDS:
            self.assertIn(f"\n.TP\n.B {subcommand}\n", page)
            offered |= options_of(subcommand)
        self.assertEqual(told, offered)
        self.assertIn(f'"{run("--version").strip()}"', page.splitlines()[0])
        overview = run("--help").split("Subcommands:")[1]
        self.assertEqual(re.findall(r"^  ([a-z]+) ", overview, re.M), list(SUBCOMMANDS))

    def test_every_exported_function_is_told(self):
        exports = pathlib.Path(__file__).parent.parent / "arch" / "mvlpfx64.exports"
        page = self.page("mvlpfx.3")
        for function in exports.read_text().split():
            self.assertIn(f".B {function}\n", page)

    def test_they_are_formatted_without_a_warning(self):
        if shutil.which("groff") is None:
            self.skipTest("SKIPPED: groff is not installed")
        for page in self.pages.iterdir():
            result = subprocess.run(["groff", "-t", "-man", "-Tutf8", "-ww", "-z", page],
                                    capture_output=True, check=True)
            self.assertEqual(result.stderr, b"", page)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
