"""What every command line comes to: message, code, reason and exit status."""

import re
import shlex
import unittest

from support.program import ProgramTest
from support.scenario import ECID, device

# name, takes a value, description
OPTIONS = [
    ("debug", False, "Enable debugging output"),
    ("debug-dump", False, "Dump mobiledevice implementations (debugging)"),
    ("help", False, "Print this description"),
    ("no-cleanup", False, "Disable auto temp file cleanup on exit"),
    ("amr-logfile", True, "Specify logfile for AMRestore"),
    ("ecid", True, "Device to perform operation on"),
    ("detect-timeout", True, "How many seconds to wait for the selected device to be detected"),
    ("list-devices", False, "List all detected Apple devices"),
    ("device-info", False, "Output properties of specified Apple device"),
    ("exit-recovery", False, "Attempt to reboot a recovery device into booted mode"),
    ("no-exit-recovery", False, "Set a device to stay in recovery mode when it reboots"),
    ("restore", True, "Start a device restore with specified IPSW bundle"),
    ("restore-timeout", True, "How many seconds to wait for a restore to complete before aborting"),
    ("erase", False, "Use with --restore to force the device to be erased during the restore"),
    ("restore-plist", True, "Start a device restore with options read from a plist file"),
    ("enter-restore-mode", False, "Attempt to put a recovery mode device into restore mode"),
    ("output-pipe", True, "Send formatted output to a specific pipe"),
]

UNPARSABLE = [
    ("--foo", 3, "unrecognised option '--foo'"),
    ("--f\udcffo", 3, "unrecognised option '--f?o'"),
    ("--ecid X --ecid Y", 3, "Option '--ecid' may only be specified once"),
    ("--detect 1 --detect-timeout 1", 3, "Option '--detect-timeout' may only be specified once"),
    ("--debug --debug --list-devices", 3, "Option '--debug' may only be specified once"),
    ("--detect-timeout abc", 2, "the argument ('abc') for option '--detect-timeout' is invalid"),
    ("--detect-timeout=-1", 2, "the argument ('-1') for option '--detect-timeout' is invalid"),
    (
        "--restore-timeout=4294967296",
        2,
        "the argument ('4294967296') for option '--restore-timeout' is invalid",
    ),
    (
        "--output-pipe 9223372036854775808",
        2,
        "the argument ('9223372036854775808') for option '--output-pipe' is invalid",
    ),
    (
        "--list-devices --detect-timeout",
        1,
        "the required argument for option '--detect-timeout' is missing",
    ),
    (
        "--rest x",
        1,
        "option '--rest' is ambiguous and matches '--restore', '--restore-plist',"
        " and '--restore-timeout'",
    ),
    ("--debug=1", 1, "option '--debug' does not take any arguments"),
    ("-h", 3, "unrecognised option '-h'"),
    ("-%original_token%", 3, "unrecognised option '-%original_token%'"),
    (
        "--detect-timeout %value%",
        2,
        "the argument ('%value%') for option '--detect-timeout' is invalid",
    ),
    (
        "--list-devices word",
        1,
        "too many positional options have been specified on the command line",
    ),
]

ONLY_ERASE = "Option --erase only compatible with --restore"
ONLY_TIMEOUT = "Option --restore-timeout only compatible with --restore"
NOT_WITH_LIST = "Option --list-devices not compatible with --ecid"

REFUSED = [
    ("", 3, "Invalid command option"),
    ("--no-cleanup", 3, "Invalid command option"),
    ("--enter-restore-mode", 3, "Invalid command option"),
    (f"--ecid {ECID} --detect-timeout 0", 3, "Invalid command option"),
    ("--list-devices --ecid 4D2", 2, "Invalid ecid"),
    ("--list-devices --ecid 0x001A2B3C4D5E6F", 2, "Invalid ecid"),
    ("--list-devices --ecid 001A2B3C4D5E6F700", 2, "Invalid ecid"),
    ("--list-devices --ecid 001A2B3C4D5E6F7g", 2, "Invalid ecid"),
    ("--list-devices --ecid=\udcff01A2B3C4D5E6F70", 2, "Invalid ecid"),
    (f"--list-devices --ecid {ECID}", 3, NOT_WITH_LIST),
    # What is checked first: the ECID, --erase, --restore-timeout, then the commands in order.
    ("--ecid x --erase --restore-timeout 1", 2, "Invalid ecid"),
    ("--erase --restore-timeout 1 --list-devices", 3, ONLY_ERASE),
    (f"--erase --restore-plist x --ecid {ECID}", 3, ONLY_ERASE),
    (f"--restore-timeout 1 --restore-plist x --ecid {ECID}", 3, ONLY_TIMEOUT),
    (f"--restore-timeout 1 --list-devices --ecid {ECID}", 3, ONLY_TIMEOUT),
    (f"--device-info --list-devices --ecid {ECID}", 3, NOT_WITH_LIST),
    ("--device-info --exit-recovery", 3, "Option --device-info requires --ecid"),
    ("--no-exit-recovery --exit-recovery", 3, "Option --exit-recovery requires --ecid"),
    ("--no-exit-recovery --restore x", 3, "Option --no-exit-recovery requires --ecid"),
    ("--restore-plist x --restore ''", 3, "Option --restore requires --ecid"),
    ("--restore-plist x", 3, "Option --restore-plist requires --ecid"),
    (f"--restore '' --ecid {ECID}", 3, "Missing restore IPSW path"),
    (f"--restore \udcff --ecid {ECID}", 1, "Path is not valid UTF-8"),
]


class CommandLineTest(ProgramTest):
    def test_refusals(self):
        for line, code, reason in UNPARSABLE + REFUSED:
            with self.subTest(line):
                self.assert_refused(shlex.split(line), code, reason)

    def test_no_session_before_the_line_is_parsed(self):
        unparsable = self.run_program("--debug", "--foo", status=3)
        self.assertEqual(unparsable.stderr, "")
        refused = self.run_program("--debug", status=3)
        self.assertEqual(refused.stderr, "device_notifier_state: initializing\n")

    def test_abbreviated_and_joined_words(self):
        result = self.run_program("--list", "--detect-timeout=0", "--no-clean")
        self.assertEqual(result.messages, [("DeviceList", [])])

    def test_first_command_wins(self):
        phone = device()
        for commands, expected in {
            "--device-info --exit-recovery --restore /no/bundle": "DeviceInfo",
            "--no-exit-recovery --restore /no/bundle --enter-restore-mode": "CommandSuccess",
            "--restore /no/bundle --restore-plist /no/plist": "RestoreStatus",
        }.items():
            with self.subTest(commands):
                line = shlex.split(commands) + ["--ecid", ECID]
                messages = self.run_program(*line, devices=[phone]).messages
                self.assertEqual({kind for kind, _ in messages}, {expected})

    def test_help(self):
        expected = "Program options: " + "".join(
            f"--{name} {'arg ' if valued else ''}{text} " for name, valued, text in OPTIONS
        )
        for line in ("--help", "--help --debug-dump", "--help --debug --ecid zz --erase"):
            with self.subTest(line):
                result = self.run_program(*shlex.split(line))
                self.assertEqual(result.messages, [])
                self.assertEqual(re.sub(r"\s+", " ", result.stderr), expected)

    def test_debug_dump(self):
        scenario = {
            "OperationTexts": {
                "7": 'Say "hi"',
                "8": "Unrecognized operation 8",
                "999": "An Unrecognized operation",
                "1000": "Out of bounds",
            },
            "ErrorTexts": {
                "21": "Unrecognized error (21)",
                "22": "Unrecognized server error",
                "9999": "Last\\",
                "10000": "Out of bounds",
            },
        }
        result = self.run_program("--debug-dump", scenario=scenario)
        self.assertEqual(result.messages, [])
        lines = result.stderr.split("\n")
        errors = lines.index("==== AMRLocalizedCopyStringForAMRError ====")
        self.assertEqual(lines[0], "==== AMRLocalizedCopyStringForAMROperation ====")
        self.assertEqual([lines[errors - 1], *lines[-2:]], ["", "", ""])
        dumps = lines[1 : errors - 1], lines[errors + 1 : -2]
        codes = []
        for dump in dumps:
            labels = [
                re.fullmatch(r'case (\d+): return copyString\(CFSTR\("(.+)"\)\);', line)
                for line in dump
            ]
            self.assertTrue(all(labels), dump)
            codes.append([int(label[1]) for label in labels])
            self.assertEqual(codes[-1], sorted(set(codes[-1])))
        self.assertIn('case 7: return copyString(CFSTR("Say "hi""));', dumps[0])
        kept = 'case 999: return copyString(CFSTR("An Unrecognized operation"));'
        self.assertEqual(dumps[0][-1], kept)
        self.assertEqual(dumps[1][-1], 'case 9999: return copyString(CFSTR("Last\\"));')
        self.assertTrue({0, 9} <= set(codes[0]) and not {8} & set(codes[0]), codes[0])
        self.assertFalse({21, 22} & set(codes[1]), codes[1])


if __name__ == "__main__":
    unittest.main()
