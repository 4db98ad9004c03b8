"""Runs README.md's first session in a shell and compares the output with README.md."""

import os
import pathlib
import re
import subprocess

from support.program import PROGRAM, ProgramTest

ROOT = pathlib.Path(__file__).parent.parent
SESSION = re.compile(r"(?s)\n## A first session\n(.*?)\n## ")
BLOCK = re.compile(r"(?s)\n```\n(.*?)```\n")
COMMAND = re.compile(r"(?m)^\$ ((?:.*\\\n)*.*\n)")  # a backslash continues the line
# The progress lines of korvrestore-bench, which README.md omits.
PROGRESS = re.compile(r"(?m)^[0-9A-F]{16}  (?: *\d+ %|begun|.*\(\d+:\d\d\)$).*\n")
PLACE = re.compile(r"at \d+ % \(.*?\)")  # where a restore failed, which depends on timing


class ReadmeTest(ProgramTest):
    def test_first_session(self):
        [session] = SESSION.findall((ROOT / "README.md").read_text())
        shown = "".join(BLOCK.findall(session))
        self.directory.joinpath("examples").symlink_to(ROOT / "examples")
        self.directory.joinpath("python").symlink_to(ROOT / "python")
        self.directory.joinpath("build").mkdir()
        self.directory.joinpath("build/release").symlink_to(pathlib.Path(PROGRAM).parent)
        run = subprocess.run(
            ["bash", "-v"],
            cwd=self.directory,
            input="".join(COMMAND.findall(shown)),
            text=True,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            env=os.environ | {"PYTHONDONTWRITEBYTECODE": "1"},
        )
        left = {path.name for path in self.directory.iterdir()}
        said = PROGRESS.sub("", run.stdout)  # the commands too, for bash has the option -v
        expected = COMMAND.sub(r"\1", shown)
        self.assertEqual(PLACE.sub("at", said), PLACE.sub("at", expected))
        self.assertEqual(left, {"build", "examples", "python"}, "files that git doesn't ignore")
