"""The Python package: reading messages, ending tools, display."""

import os
import pathlib
import plistlib
import random
import subprocess
import sys
import tempfile
import unittest
import unittest.mock

ROOT = pathlib.Path(__file__).parent.parent
sys.path.insert(0, str(ROOT / "python"))

from korvrestore import Message, MessageReader, Restore, Tool, Unreadable  # noqa: E402
from korvrestore import display, messages, tool  # noqa: E402
from support.scenario import THE_END, report  # noqa: E402

STATUS = ROOT / "python/bin/korvrestore-status"
DATE = "<date>20000-01-01T00:00:00Z</date>"
BAD = [
    f"<?xml version='1.0'?>\n<plist>{DATE}</plist>\n\n".encode(),
    b"\xff\n",
    b"<plist></plist>\n",
    b"a message that was cut <plist><dict>",
    plistlib.dumps([]),
    plistlib.dumps({"Type": 1, "Value": 1}),
]


def status(**value) -> bytes:
    return plistlib.dumps({"Type": "RestoreStatus", "Value": value}) + b"\n"


def naive(stream):
    """Reads the whole stream at once. None replaces a part that isn't a message."""
    for document in stream.split(b"</plist>\n")[:-1]:
        document += b"</plist>\n"
        begin = document.rfind(b"<?xml ")
        parts = [document] if begin < 0 else [document[:begin], document[begin:]]
        for part in filter(bytes.strip, parts):
            try:
                message = plistlib.loads(part.strip())
                message["Type"].upper()
                yield message["Type"], message["Value"]
            except Exception:
                yield None


class ReaderTest(unittest.TestCase):
    def test_splits_do_not_change_messages(self):
        source = random.Random(1)
        for _ in range(300):
            parts = [
                plistlib.dumps({"Type": "A", "Value": "</plist>\n" * source.randrange(4)}) + b"\n"
                for _ in range(source.randrange(1, 6))
            ]
            parts.insert(source.randrange(len(parts)), source.choice(BAD))
            stream = b"".join(parts)
            reader, received, at = MessageReader(), [], 0
            while at < len(stream):
                size = source.choice((1, 9, 100, 400, len(stream)))
                received += reader.feed(stream[at : at + size])
                at += size
            read = [(m.type, m.value) if isinstance(m, Message) else None for m in received]
            self.assertEqual(read, list(naive(stream)))
            self.assertEqual(reader.finish(), [])

    def test_endless_messages_are_cut(self):
        """Memory is bounded, and no byte is lost silently."""
        reader = MessageReader()
        self.assertEqual(reader.feed(b"<plist><dict>"), [])
        [cut] = reader.finish()
        self.assertEqual((type(cut), cut.document), (Unreadable, b"<plist><dict>\n"))
        chunk = bytes(1 << 20).replace(b"\0", b"x")
        parts = [len(part.document) for _ in range(130) for part in reader.feed(chunk)]
        self.assertEqual(len(parts), 2)
        self.assertLess(max(parts), messages.MAX_DOCUMENT + (2 << 20))


class ToolTest(unittest.TestCase):
    def test_limit_ends_a_tool_that_hangs(self):
        """It ignores SIGTERM, has a child, and prints nothing."""
        script = "trap '' TERM; sleep 300 & wait; sleep 300"
        with unittest.mock.patch.object(tool, "GRACE", 0.1):
            with Tool(["bash", "-c", script], limit=0.5) as run:
                self.assertEqual(list(run), [])
        self.assertEqual((run.is_late, run.status), (True, -9))
        self.assertIn("didn't end within", run.outcome)

    def test_tool_ends_with_the_block(self):
        with Tool(["bash", "-c", "exec sleep 300"]) as run:
            pass
        self.assertEqual(run.status, -15)


class DisplayTest(unittest.TestCase):
    def restores(self):
        script = [report(9, 10), report(11, 37, TY_OperationName="Sending \x9b the 系统 image")]
        failed = report(0, 100, "Failed", Error={"Description": "No"})
        for number, messages in enumerate((script, [*script, THE_END], [*script, failed], script)):
            restore = Restore(f"{number:016X}")
            restore.begin(0)
            for value in messages:
                restore.take(Message("RestoreStatus", value, b""), 60 * (number == 3))
            yield restore

    def test_rows_fit_in_any_size(self):
        """Failed, stalled, running, restored; narrow rows keep percentage and step longest."""
        restores = list(self.restores())
        rows = display.render(restores, 61, 79, 9)
        self.assertEqual([row[15:16] for row in rows[:4]], ["2", "0", "3", "1"])
        self.assertIn("37 % FAILED, Sending ? the 系统 image: No", rows[0])
        self.assertIn("37 % stalled 1:01, Sending", rows[1])
        self.assertEqual(rows[4:], ["1 restored, 1 failed, 1 stalled, 1 running"])
        narrow = display.render(restores, 61, 29, 5)
        self.assertEqual([row[:24] for row in narrow[:1]], ["0002  37 % FAILED, Sendi"])
        self.assertEqual(narrow[2][:20], "0003  37 % Sending ?")
        self.assertEqual(len(narrow), 5)
        for width in range(1, 100):
            for height in range(1, 8):
                shown = display.render(restores, 61, width, height)
                self.assertLessEqual(len(shown), height)
                for row in shown:
                    self.assertEqual(display.fit(row, width).rstrip(), row)

    def test_status_of_a_folder(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            running = status(**report(9, 37, TY_OperationName="Sending")) * 3
            failed = status(**report(0, 100, "Failed"))
            for ecid, stream in {
                "A": running,
                "B": running + failed + running,
                "C": running,
            }.items():
                (folder / f"{ecid}.messages").write_bytes(stream + running[:50])
            os.utime(folder / "C.messages", (0, 0))
            line = [sys.executable, "-B", STATUS, folder]
            rows = subprocess.check_output([*line, "--tsv"], text=True).splitlines()[1:]
            cells = [(row := line.split("\t"))[:1] + row[2:5] for line in rows]
            expected = [["B", "failed"], ["C", "stalled"], ["A", "running"]]
            self.assertEqual(cells, [[*each, "Sending", "37"] for each in expected])
            shown = subprocess.check_output(line, text=True).splitlines()
            self.assertEqual(shown[-1], "1 failed, 1 stalled, 1 running")
            self.assertEqual(subprocess.run([*line[:-1], folder / "no"], stderr=-3).returncode, 2)
