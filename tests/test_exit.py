"""The process always ends immediately and with the right status."""

import concurrent.futures

from support.program import FOUND, ProgramTest, error
from support.scenario import ECID, device, report

ROUNDS = 60
AT_ONCE = 3


class ExitTest(ProgramTest):
    def test_every_run_ends(self):
        flapping = [{"After": 0.0005 * i, "Type": i % 2} for i in range(61)]
        script = [report(9, 50)] * 200 + [report(4, 1, After=1000)]
        busy = device(Notifications=flapping, Restore=script)
        target = ("--ecid", ECID, *FOUND)
        restore = ("--restore", "/any", *target)
        timed_out = error(7, "Aborting, restore did not complete in 0 seconds")
        runs = [
            (("--foo",), 3, None),
            (("--list-devices", "--detect-timeout", "0", "--debug"), 0, None),
            (("--device-info", *target), 0, None),
            (("--device-info", "--ecid", "0" * 15 + "1", "--detect-timeout", "0"), 4, None),
            # The restore continues while the process ends.
            ((*restore, "--restore-timeout", "0"), 0, timed_out),
            ((*restore, "--enter-restore-mode", "--debug"), 0, None),
        ]

        def run(line, status, expected):
            messages = self.run_program(*line, status=status, devices=[busy]).messages
            self.assertTrue(messages if expected is None else expected in messages, line)

        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            for job in [pool.submit(run, *each) for each in runs * ROUNDS]:
                job.result()
