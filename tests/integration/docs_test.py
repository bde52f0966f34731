#!/usr/bin/env python3
"""What the documentation shows is what the tool shows: docs_test.py MVLPFX DOCS"""
import pathlib
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


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
