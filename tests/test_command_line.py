"""The result of every command line: message, code, reason and exit status."""

from support.cases import TESTDATA, CasesTest


class CommandLineTest(CasesTest):
    def test_cases(self):
        self.play_all("command_line.toml")

    def test_refusals(self):
        for options, *expected in self.load("command_line.toml")["refused"]:
            with self.subTest(options):
                self.play(options, error=expected)

    def test_help(self):
        """Each version of Boost breaks the lines at other places."""
        expected = (TESTDATA / "help.txt").read_text().split()
        for others in ([], ["--debug-dump"], ["--debug", "--ecid", "zz", "--erase"]):
            result = self.run_program("--help", *others)
            self.assertEqual((result.messages, result.stderr.split()), ([], expected))
