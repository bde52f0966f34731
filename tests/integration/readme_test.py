#!/usr/bin/env python3
"""The README's examples print what it says: readme_test.py MVLPFX SUPPORT README"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

sys.path.insert(0, sys.argv[2])
from tool_profile import Profile  # noqa: E402

Profile.tool = sys.argv[1]
README = pathlib.Path(sys.argv[3]).read_text()
PROMPT = "$ mvlpfx "


def examples():
    """The commands with what the README shows below each."""
    shown = []
    for line in re.findall(r"^    (.*)$", README, re.M):
        if line.startswith(PROMPT):
            shown.append((line, []))
        elif shown:
            shown[-1][1].append(line)
    return shown


def timeless(lines):
    """Thumbprints and days differ from run to run."""
    return [re.sub(r"\d{4}-\d\d-\d\d", "DAY", re.sub(r"\b[0-9a-f]{40}\b", "THUMBPRINT", line))
            for line in lines]


class Readme(Profile):
    def test_every_example_prints_what_it_shows(self):
        self.file("password", "Password1\n")
        for command, expected in examples():
            # The restore is another machine's.
            home = self.folder / ("other" if " restore " in command else "home")
            result = subprocess.run(
                f'"{self.tool}" {command[len(PROMPT):]}', shell=True, capture_output=True,
                check=False, cwd=self.folder,
                env={**os.environ, "VELMORIX_HOME": str(home),
                     "VELMORIX_MACHINE_HOME": str(self.folder / "machine")})
            self.assertEqual((result.returncode, result.stderr), (0, b""), command)
            self.assertEqual(timeless(result.stdout.decode().splitlines()), timeless(expected),
                             command)

    def test_there_is_one_for_each_subcommand(self):
        out = self.expect(0, "--help")
        subcommands = re.findall(r"^  ([a-z]+) ", out[out.index("Subcommands:"):], re.M)
        self.assertGreater(len(subcommands), 8)
        self.assertEqual(sorted(command.split()[2] for command, _ in examples()),
                         sorted(subcommands))

    def test_the_map_has_every_folder(self):
        root = pathlib.Path(sys.argv[3]).parent
        told = README[README.index("The map: "):README.index("## More")]
        if shutil.which("git") is None:
            self.skipTest("SKIPPED: git is not installed")
        kept = subprocess.run(["git", "ls-files"], cwd=root, capture_output=True, check=False,
                              text=True).stdout.splitlines()
        if not kept:
            self.skipTest("SKIPPED: no clone that this user may look into")
        folders = {name.split("/")[0] for name in kept if "/" in name}
        for folder in folders:
            if not folder.startswith("."):
                self.assertIn(f"`{folder}/", told)

    def test_what_one_needs_stands_in_the_first_forty_lines(self):
        top = "\n".join(README.splitlines()[:40])
        for word in ("It is not", "scripts/demo", "scripts/test", "mvlpfx unregister", "`src/`",
                     "docs/architecture.md", "docs/conventions.md"):
            self.assertIn(word, top)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
