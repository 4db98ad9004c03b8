"""Plugs virtual devices into the running kernel. Its USB/IP host controller, vhci_hcd, uses one end
of a socket pair as a device. The kernel's Documentation/usb/usbip_protocol.rst describes the
messages on the socket."""

import errno
import os
import pathlib
import socket
import struct
import threading
import time

from support.program import wait_until
from support.scenario import ECID
from usb.devices import Device, make_identity

CONTROLLER = pathlib.Path("/sys/devices/platform/vhci_hcd.0")
SYSFS = pathlib.Path("/sys/bus/usb/devices")
HIGH_SPEED = 3
PORTS = 15  # of each root hub
NOTHING = "004"  # the state of a port without a device

# All messages have one size. Command, sequence number, device, direction, endpoint; then the rest:
MESSAGE = struct.Struct(">IIIII28s")
SUBMIT, UNLINK, SUBMITTED, UNLINKED = 1, 2, 3, 4
SUBMIT_REST = struct.Struct(">IiiiI8s")  # flags, length of the data, ..., setup packet
SUBMITTED_REST = struct.Struct(">ii20x")  # status, transferred bytes, ...
UNLINK_REST = struct.Struct(">I24x")  # the sequence number of a SUBMIT
UNLINKED_REST = struct.Struct(">i24x")  # status
TO_HOST = 1

STATUS = {"stall": -errno.EPIPE, "garble": -errno.EPROTO}


def is_free(port) -> bool:
    """Whether the kernel has removed the previous device."""
    controller, line = divmod(port, 2 * PORTS)
    status = CONTROLLER / (f"status.{controller}" if controller else "status")
    return status.read_text().splitlines()[line + 1].split()[2] == NOTHING


class VirtualDevice(Device):
    def __init__(self, bus, port, identity, sysfs, faults):
        super().__init__(port, identity)
        self.bus = bus
        self.faults = [list(fault) for fault in faults]
        # The kernel reads the strings before it sets the configuration, and not after.
        if not sysfs:
            self.faults.insert(0, ["string", "stall", -1])
        self.sysfs = sysfs
        self.left = False
        self.hanging = {}  # operations without an answer, by sequence number
        self.socket, self.kernels_end = socket.socketpair()

    def plug_in(self):
        hub, number = map(int, self.port.split("-"))
        port = (hub - 1) * PORTS + number - 1  # each controller has another hub, for SuperSpeed
        with self.kernels_end as end:
            wait_until(lambda: is_free(port))
            (CONTROLLER / "attach").write_text(f"{port} {end.fileno()} {number} {HIGH_SPEED}")
        threading.Thread(target=self._serve, daemon=True).start()

    def leave(self):
        """Closes the connection, which the kernel treats as a departure."""
        self.left = True
        self.bus.by_port.pop(self.port, None)
        self.socket.shutdown(socket.SHUT_RDWR)

    def _serve(self):
        with self.socket, self.socket.makefile("rb") as messages:
            try:
                while not self.left and (header := messages.read(MESSAGE.size)):
                    command, number, _, direction, _, rest = MESSAGE.unpack(header)
                    if command == SUBMIT:
                        _, length, *_, setup = SUBMIT_REST.unpack(rest)
                        sent = b"" if direction == TO_HOST else messages.read(length)
                        self._submit(number, setup, sent)
                    else:
                        self._unlink(number, *UNLINK_REST.unpack(rest))
            except OSError:  # it has left
                pass

    def _submit(self, number, setup, sent):
        operation, result, answer = self.control(setup, sent)
        if operation == "configure" and not self.sysfs:
            self.faults.pop(0)
        if result.startswith("slow "):
            time.sleep(float(result.removeprefix("slow ")))
        self.bus.saw(self, operation, result)
        leaves = result.endswith("-and-leave") or (operation, result) == ("reboot", "ok")
        action = result.removesuffix("-and-leave")
        if action == "hang":
            self.hanging[number] = operation
        elif action in STATUS:
            self._send(SUBMITTED, number, SUBMITTED_REST.pack(STATUS[action], 0))
        else:
            transferred = len(answer) or len(sent)
            self._send(SUBMITTED, number, SUBMITTED_REST.pack(0, transferred), answer)
        if leaves:
            self.leave()

    def _unlink(self, number, submitted):
        operation = self.hanging.pop(submitted, None)
        if operation:
            self.bus.saw(self, operation, "discarded")
        status = -errno.ECONNRESET if operation else 0  # 0: the answer was sent already
        self._send(UNLINKED, number, UNLINKED_REST.pack(status))

    def _send(self, command, number, rest, data=b""):
        self.socket.sendall(MESSAGE.pack(command, number, 0, 0, 0, rest) + data)


class VirtualBus:
    """The machine's USB ports. 1-1 to 1-15 are ports of the first hub, 3-1 of the second."""

    def __init__(self):
        self.environment = os.environ | {"LIBUSB_DEBUG": "1"}  # errors, on standard error
        self.seen = []  # "PORT OPERATION -> RESULT": what the devices saw
        self.by_port = {}

    def close(self):
        """Returns when the kernel has removed all devices."""
        for device in [*self.by_port.values()]:
            device.leave()
        wait_until(lambda: not [*SYSFS.glob("*-[1-9]*")])

    def add(self, port, kind="recovery", ecid=ECID, sysfs=True, faults=(), **changes):
        """Plugs in one of DEVICES, with its `changes` and `faults`. `sysfs`: whether the kernel can
        read the strings."""
        device = VirtualDevice(self, port, make_identity(kind, ecid, **changes), sysfs, faults)
        self.by_port[port] = device
        device.plug_in()

    def remove(self, port):
        self.by_port[port].leave()

    def fault(self, port, operation, action, count=1):
        """Like Emulator.fault, with stall, hang, garble and ok, optionally with -and-leave. Also
        "slow SECONDS"."""
        self.by_port[port].faults.append([operation, action, count])

    def seen_by(self, port) -> list:
        return [line.removeprefix(port + " ") for line in self.seen if line.startswith(port + " ")]

    def saw(self, device, operation, result):
        self.seen.append(f"{device.port} {operation} -> {result}")

    def node(self, port) -> pathlib.Path:
        numbers = [int(self.attribute(port, name)) for name in ("busnum", "devnum")]
        return pathlib.Path("/dev/bus/usb/{:03}/{:03}".format(*numbers))

    def attribute(self, port, name) -> str:
        """An attribute of the kernel's device; empty if there is none."""
        try:
            return (SYSFS / port / name).read_text().rstrip("\n")
        except OSError:
            return ""

    def wait_for(self, port):
        """Returns when the kernel has set the device's configuration."""
        wait_until(lambda: self.attribute(port, "bConfigurationValue"))

    def suspend(self, port):
        self.wait_for(port)
        (SYSFS / port / "power/autosuspend_delay_ms").write_text("0")
        (SYSFS / port / "power/control").write_text("auto")
        wait_until(lambda: self.is_suspended(port))

    def is_suspended(self, port) -> bool:
        return self.attribute(port, "power/runtime_status") == "suspended"
