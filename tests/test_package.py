"""The Debian package's other files. KORVRESTORE is the program in the unpacked package."""

import gzip
import os
import pathlib
import subprocess
import unittest

ROOT = pathlib.Path(os.environ["KORVRESTORE"]).parents[2]
COMPLETE = """
source /usr/share/bash-completion/bash_completion
source "$0"/usr/share/bash-completion/completions/"$1"
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
COMP_LINE="${COMP_WORDS[*]}" COMP_LINE=${COMP_LINE// = /=}
COMP_POINT=${#COMP_LINE}
[[ $(complete -p "$1") =~ -F\\ ([^ ]+) ]]
"${BASH_REMATCH[1]}" "$1"
printf '%s\\n' "${COMPREPLY[@]}"
"""


class PackageTest(unittest.TestCase):
    def test_completion(self):
        scenario = ROOT / "usr/share/doc/korvrestore/examples/scenarios/two-of-one-ecid.plist"
        environment = os.environ | {
            "PATH": f"{ROOT}/usr/bin:{os.environ['PATH']}",
            "MOBILEDEVICE_SCENARIO": str(scenario),
        }
        for words, expected in {
            ("--li",): ["--list-devices"],
            ("--ecid", ""): ["001A2B3C4D5E6F70"],
            ("--ecid", "=", "001a"): ["001A2B3C4D5E6F70"],
            ("--ecid", "F"): [""],
            ("--detect-timeout", ""): [""],
            ("--erase", "--restore", "/usr/shar"): ["/usr/share"],
            ("--restore",): ["--restore", "--restore-plist", "--restore-timeout"],
            ("korvrestore-bench", "--re"): ["--record", "--restore-timeout"],
            ("korvrestore-fleet", "--r"): ["--retries"],
            ("korvrestore-status", "/usr/shar"): ["/usr/share"],
        }.items():
            words = words if words[0].startswith("korv") else ("korvrestore", *words)
            command = ["bash", "-c", COMPLETE, ROOT, *words]
            completed = subprocess.run(command, env=environment, stdout=subprocess.PIPE, text=True)
            self.assertEqual(sorted(completed.stdout.splitlines()), expected, words)

    def test_programs_find_the_package(self):
        for program in ("bench", "fleet", "status"):
            line = [ROOT / f"usr/bin/korvrestore-{program}", "--help"]
            shown = subprocess.check_output(line, text=True, cwd="/")
            self.assertIn(f"usage: korvrestore-{program} ", shown)
            self.assertTrue((ROOT / f"usr/share/man/man1/korvrestore-{program}.1.gz").exists())

    def test_version(self):
        """The package's name, its changelog and the manual page have the same version."""
        [package] = ROOT.parent.glob("*.deb")
        version = package.name.split("_")[1]
        share = ROOT / "usr/share"
        changelog = gzip.open(share / "doc/korvrestore/changelog.gz", "rt").readline()
        self.assertIn(f"korvrestore ({version})", changelog)
        manual = gzip.open(share / "man/man1/korvrestore.1.gz", "rt").read()
        self.assertIn(f'"korvrestore {version}"', manual)
        self.assertNotIn("@", manual)
