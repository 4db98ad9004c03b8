"""The Debian package's other files. KORVRESTORE is the program in the unpacked package."""

import gzip
import os
import pathlib
import subprocess
import unittest

ROOT = pathlib.Path(os.environ["KORVRESTORE"]).parents[2]
COMPLETE = """
source /usr/share/bash-completion/bash_completion
source "$0"/usr/share/bash-completion/completions/korvrestore
COMP_WORDS=(korvrestore "$@")
COMP_CWORD=$#
COMP_LINE="${COMP_WORDS[*]}" COMP_LINE=${COMP_LINE// = /=}
COMP_POINT=${#COMP_LINE}
_korvrestore korvrestore
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
        }.items():
            command = ["bash", "-c", COMPLETE, ROOT, *words]
            completed = subprocess.run(command, env=environment, stdout=subprocess.PIPE, text=True)
            self.assertEqual(sorted(completed.stdout.splitlines()), expected, words)

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
