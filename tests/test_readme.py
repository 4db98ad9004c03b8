"""README.md's first session, typed into a shell: it says what README.md shows."""

import os
import pathlib
import re
import subprocess

from support.program import PROGRAM, ProgramTest

ROOT = pathlib.Path(__file__).parent.parent
SESSION = re.compile(r"(?s)\n## A first session\n(.*?)\n## ")
BLOCK = re.compile(r"(?s)\n```\n(.*?)```\n")
COMMAND = re.compile(r"(?m)^\$ ((?:.*\\\n)*.*\n)")  # a backslash continues the line
BAR = re.compile(r"([0-9A-F]{16})  \[")


def as_on_a_terminal(output: str) -> str:
    """Of a device's bars, which a terminal shows in one place, the last."""
    lines = {}
    for number, line in enumerate(output.split("\n")):
        bar = BAR.match(line)
        lines[bar[1] if bar else number] = line
    return "\n".join(lines.values())


class ReadmeTest(ProgramTest):
    def test_first_session(self):
        [session] = SESSION.findall((ROOT / "README.md").read_text())
        shown = "".join(BLOCK.findall(session))
        self.directory.joinpath("examples").symlink_to(ROOT / "examples")
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
        said = as_on_a_terminal(run.stdout)  # the commands too, for bash has the option -v
        self.assertEqual(said, COMMAND.sub(r"\1", shown))
        self.assertEqual(left, {"build", "examples"}, "files that git doesn't ignore")
