"""README.md's first session, typed into a shell: it says what README.md shows."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

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


class ReadmeTest(unittest.TestCase):
    maxDiff = None

    def test_first_session(self):
        [session] = SESSION.findall((ROOT / "README.md").read_text())
        shown = "".join(BLOCK.findall(session))
        with tempfile.TemporaryDirectory() as directory:
            place = pathlib.Path(directory)
            place.joinpath("examples").symlink_to(ROOT / "examples")
            place.joinpath("build").mkdir()
            release = pathlib.Path(os.environ["KORVRESTORE"]).parent
            place.joinpath("build/release").symlink_to(release)
            run = subprocess.run(
                ["bash", "-v"],
                cwd=place,
                input="".join(COMMAND.findall(shown)),
                text=True,
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                env=os.environ | {"PYTHONDONTWRITEBYTECODE": "1"},
            )
            left = {path.name for path in place.iterdir()}
        said = as_on_a_terminal(run.stdout)  # the commands too, for bash has the option -v
        self.assertEqual(said, COMMAND.sub(r"\1", shown))
        self.assertEqual(left, {"build", "examples"}, "files that git doesn't ignore")
