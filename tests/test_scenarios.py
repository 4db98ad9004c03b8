"""Runs each of examples/scenarios and compares it with the table in docs/scenario.md."""

import concurrent.futures
import itertools
import pathlib
import re
import shlex
import signal
import subprocess
import sys

from support.cases import CasesTest
from support.program import OWN_COREFOUNDATION
from support.scenario import ECID

ROOT = pathlib.Path(__file__).parent.parent
SCENARIOS = ROOT / "examples/scenarios"
AT_ONCE = 3  # few, so that the scenarios run on time on a busy machine


def rows() -> list:
    """File, options, messages and status of each row of the table."""
    text = (ROOT / "docs/scenario.md").read_text()
    [section] = re.findall("(?s)\n## Scenarios to start from\n(.*?)\n## ", text)
    lines = [line for line in section.splitlines() if line.startswith("| `")]
    return [[cell.strip() for cell in line.split("|")[1:5]] for line in lines]


def content(file: str) -> bytes:
    path = SCENARIOS / file
    if path.suffix != ".py":
        return path.read_bytes()
    return subprocess.run([sys.executable, path], check=True, stdout=subprocess.PIPE).stdout


def up_to_the_end(messages):
    for kind, value in messages:
        yield kind, value
        if kind == "RestoreStatus" and (value["Operation"], value["Progress"]) == (0, 100):
            break


def described(messages, like: str) -> str:
    """The messages in the table's format, with the values that the text `like` contains."""
    items, models = [], iter(like.split("; "))
    for kind, group in itertools.groupby(up_to_the_end(messages), key=lambda message: message[0]):
        model = next(models, "")
        values = [value for _, value in group]
        number = "several" if model.startswith("several") else f"{len(values):,}"
        item = f"{number} `{kind}`" if len(values) > 1 else f"`{kind}`"
        if isinstance(values[-1], list):
            item += f" of {len(values[-1])}"
        for path in re.findall(r"`([\w.]+)=", model):
            value = values[-1]
            for key in path.split("."):
                value = value.get(key)
            item += f" `{path}={value}`"
        items.append(item)
    return "; ".join(items) or "nothing"


class ScenariosTest(CasesTest):
    def play_row(self, file, options, comes, status):
        arguments = shlex.split(options.strip("`"))
        if not {"--list-devices", "--ecid"} & set(arguments):
            arguments += ["--ecid", ECID]
        code = -signal.SIGABRT if status == "SIGABRT" else int(status)
        run = self.start(*arguments, scenario=content(file), cwd=self.directory)
        return described(run.finish(self, code).messages, comes)

    def test_scenarios_match_the_table(self):
        table = rows()
        listed = {row[0].strip("`") for row in table}
        self.assertEqual(listed, {path.name for path in SCENARIOS.iterdir()})
        if not OWN_COREFOUNDATION:
            table = [row for row in table if "odd-characters.plist" not in row[0]]
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            jobs = [pool.submit(self.play_row, row[0].strip("`"), *row[1:]) for row in table]
        for row, job in zip(table, jobs):
            with self.subTest(row):
                self.assertEqual(job.result(), row[2])
