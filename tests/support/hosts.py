"""Hosts on loopback addresses, each with its own sshd and simulated devices."""

import contextlib
import ctypes
import os
import pathlib
import plistlib
import pwd
import signal
import socket
import subprocess

PR_SET_PDEATHSIG = 1
PR_SET_CHILD_SUBREAPER = 36


def adopt() -> None:
    """Runs in the child before exec. All descendants stay below this process, even if the processes
    in between die. The process ends with the test."""
    prctl = ctypes.CDLL(None).prctl
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    prctl(PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)


def descendants(pid) -> dict:
    """The living descendants and their names."""
    processes = {}
    for number in sorted(int(path.name) for path in pathlib.Path("/proc").glob("[0-9]*")):
        try:
            stat = pathlib.Path(f"/proc/{number}/stat").read_text()
        except (FileNotFoundError, ProcessLookupError):
            continue  # it has just ended
        name, _, rest = stat.partition(" (")[2].rpartition(") ")
        state, parent = rest.split()[:2]
        processes[number] = (int(parent), state, name)
    below = {pid}
    while more := {each for each in processes if processes[each][0] in below} - below:
        below |= more
    return {each: processes[each][2] for each in below - {pid} if processes[each][1] != "Z"}


def send(pid, number) -> None:
    with contextlib.suppress(ProcessLookupError):  # it has just ended
        os.kill(pid, number)


def cut_power(process) -> None:
    """Kills the process and all its descendants. Ignores a process that has ended: another process
    may have its number now."""
    if process.poll() is None:
        send(process.pid, signal.SIGSTOP)  # otherwise it might end and lose its adopted children
        while below := descendants(process.pid):
            for pid in below:
                send(pid, signal.SIGKILL)
    with process:
        process.kill()


class Lab:
    """The desk's side of ssh, with its own key."""

    def __init__(self, directory):
        self.directory = directory
        self.key = directory / "key"
        self.config = directory / "ssh_config"
        make_key(self.key)
        options = f"IdentityFile {self.key}\nIdentitiesOnly yes\nBatchMode yes\n"
        options += "StrictHostKeyChecking no\nUserKnownHostsFile /dev/null\n"
        self.config.write_text(options + "ServerAliveInterval 1\nServerAliveCountMax 2\n")
        self.ssh = f"ssh -F {self.config}"


class Host:
    def __init__(self, lab, number, devices):
        self.home = lab.directory / f"host{number}"
        self.home.mkdir()
        self.name = f"bench{number}"
        make_key(self.home / "key")
        (self.home / "scenario").write_bytes(plistlib.dumps({"Devices": devices}))
        # No two processes share these addresses, so a free port stays free.
        address = f"127.{os.getpid() >> 8 & 0xFF}.{os.getpid() & 0xFF}.{number}"
        with socket.create_server((address, 0)) as server:
            port = server.getsockname()[1]
        with lab.config.open("a") as config:
            config.write(f"Host {self.name}\nHostName {address}\nPort {port}\n")
            config.write(f"User {pwd.getpwuid(os.geteuid()).pw_name}\n")
        (self.home / "sshd_config").write_text(
            f"ListenAddress {address}:{port}\nHostKey {self.home}/key\nPidFile none\nUsePAM no\n"
            f"AuthorizedKeysFile {lab.key}.pub\nStrictModes no\nMaxStartups 100\n"
            f"SetEnv HOME={self.home} MOBILEDEVICE_SCENARIO={self.home}/scenario\n"
        )
        self.start()

    def start(self) -> None:
        if os.geteuid() == 0:
            os.makedirs("/run/sshd", exist_ok=True)  # as Debian's service does
        command = ["/usr/sbin/sshd", "-D", "-e", "-f", str(self.home / "sshd_config")]
        self.sshd = subprocess.Popen(
            command, stderr=subprocess.PIPE, text=True, preexec_fn=adopt, start_new_session=True
        )
        for line in self.sshd.stderr:
            if line.startswith("Server listening"):
                return
        raise AssertionError(f"sshd didn't start: {self.home}")

    def cut_power(self) -> None:
        cut_power(self.sshd)

    def hang(self) -> None:
        """Stops the host's processes: open connections stay open and silent."""
        for pid, name in descendants(self.sshd.pid).items():
            if name == "sshd":
                send(pid, signal.SIGSTOP)


def make_key(path) -> None:
    subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", str(path)], check=True)
