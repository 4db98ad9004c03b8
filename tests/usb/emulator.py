"""Emulates USB devices for an unmodified program in another process. umockdev emulates /sys,
/dev/bus/usb, uevents, and the kernel's answers to usbfs ioctls. So a test uses the real libusb.

Debian provides umockdev only for its own Python, /usr/bin/python3. umockdev-wrapper must start it,
because the uevents come from libudev, which must see the emulated /sys. Only one program can run at
a time: umockdev names the socket for uevents by its descriptor number, so a second program would
replace the first one's socket.
"""

import collections
import dataclasses
import errno
import os
import pathlib
import re
import struct
import subprocess
import sys

import gi

from support.program import PROGRAM
from support.scenario import ECID
from usb.devices import DEVICES, SETUP, Device, make_identity

gi.require_version("UMockdev", "1.0")
from gi.repository import GLib, UMockdev  # noqa: E402: of that version

# linux/usbdevice_fs.h
SUBMIT, DISCARD, REAP, REAP_NOW, CLAIM, CAPABILITIES = 10, 11, 12, 13, 15, 26
CAN = struct.pack("I", 1 | 2 | 16)  # zero packets, bulk continuation, reaping after disconnection
CONTROL = 2
URB = struct.Struct("BBiIPiiiiiIP")
URB_STATUS, URB_BUFFER, URB_ACTUAL_LENGTH = 4, 16, 28


def resolve(data, offset, size) -> UMockdev.IoctlData:
    """The data that the pointer at `offset` points to, read from the program's memory."""
    target = data.resolve(offset, size)
    if target is None:  # for example, the program has ended
        raise OSError(errno.EFAULT, "no such memory")
    return target


class EmulatedDevice(Device):
    def __init__(self, path, bus, number, identity, sysfs):
        super().__init__(os.path.basename(path), identity)
        self.path = "/sys" + path
        self.node = f"/dev/bus/usb/{bus:03}/{number:03}"
        self.gone = False
        descriptors = b"".join(self.descriptors.values())
        self.description = (
            f"P: {path}\nN: {self.node[5:]}\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\n"
            f"E: DEVNAME={self.node}\nA: bConfigurationValue=1\\n\nA: speed=480\\n\n"
            f"A: busnum={bus}\\n\nA: devnum={number}\\n\nH: descriptors={descriptors.hex()}\n"
        )
        if sysfs:
            self.description += f"A: serial={identity.serial}\\n\nA: product={identity.name}\\n\n"


@dataclasses.dataclass
class Urb:
    """A transfer request that was submitted and not yet reaped. It keeps a reference to `data`, the
    program's usbdevfs_urb, so that no other request gets the same address."""

    client: UMockdev.IoctlClient
    data: UMockdev.IoctlData
    buffer: UMockdev.IoctlData
    operation: str
    hangs: bool  # until it is discarded or the device leaves
    status: int = 0  # or a negative errno value
    transferred: int = 0
    answer: bytes = b""


class Emulator:
    """The emulated machine. umockdev answers ioctls on its own thread. That thread also removes
    devices that leave during a request: don't plug in others at that time."""

    def __init__(self):
        os.umask(0)  # other users may use the nodes and the sockets
        self.testbed = UMockdev.Testbed.new()
        if not UMockdev.in_mock_environment():
            raise RuntimeError("start this with umockdev-wrapper")
        self.root = pathlib.Path(self.testbed.get_root_dir())
        self.root.chmod(0o777)
        self.handler = UMockdev.IoctlBase.new()
        self.handler.connect("handle-ioctl", self._on_ioctl)
        self.seen = []  # "PORT OPERATION -> RESULT": what the devices saw
        self.by_port = {}
        self.by_node = {}  # includes devices that have left
        self.last_number = collections.Counter()  # of each bus
        self.urbs = []  # requests of ended programs remain

        ldd = subprocess.run(["ldd", PROGRAM], capture_output=True, text=True)
        # A sanitizer's runtime must be the first library.
        libraries = re.findall(r"=> (\S*/lib[at]san\.so\S*)", ldd.stdout)
        preload = " ".join([*libraries, "libumockdev-preload.so.0"])
        self.environment = os.environ | {"UMOCKDEV_DIR": str(self.root), "LD_PRELOAD": preload}
        self.environment.pop("MOBILEDEVICE_SCENARIO", None)

    def close(self):
        del self.handler, self.testbed  # which removes the emulated files

    def add(self, port, kind="recovery", ecid=ECID, sysfs=True, **changes):
        """Plugs in one of DEVICES, with its `changes`. `port` is its name in sysfs: 1-1, 1-2.3.
        `sysfs`: whether sysfs contains its strings."""
        bus, *hubs = [port[: match.start()] for match in re.finditer("[-.]", port)]
        path = "/devices/pci0000:00/0000:00:14.0"
        for hub in (f"usb{bus}", *hubs):  # without them libusb finds no port numbers
            path += "/" + hub
            if hub not in self.by_port:
                self._plug(path, int(bus), DEVICES["hub"], sysfs=False)
        self._plug(f"{path}/{port}", int(bus), make_identity(kind, ecid, **changes), sysfs)

    def _plug(self, path, bus, identity, sysfs):
        self.last_number[bus] += 1
        device = EmulatedDevice(path, bus, self.last_number[bus], identity, sysfs)
        self.by_port[device.port] = self.by_node[device.node] = device
        self.testbed.attach_ioctl(device.node, self.handler)
        self.testbed.add_from_string(device.description)  # which sends the uevent, too

    def remove(self, port):
        device = self.by_port.pop(port)
        device.gone = True
        self.testbed.uevent(device.path, "remove")
        self.testbed.remove_device(device.path)

    def fault(self, port, operation, action, count=1):
        """Sets the result of the next `count` operations (-1: all) that begin with `operation`.
        `action` is ok, stall, hang or garble (a protocol error), optionally with -and-leave (the
        device is then unplugged). "claim" can also be busy or unconfigured. For "open", "swap
        SERIAL" replaces the device without a uevent."""
        self.by_port[port].faults.append([operation, action, count])

    def node(self, port) -> pathlib.Path:
        return self.root / self.by_port[port].node[1:]

    def seen_by(self, port) -> list:
        return [line.removeprefix(port + " ") for line in self.seen if line.startswith(port + " ")]

    def _saw(self, device, operation, result):
        self.seen.append(f"{device.port} {operation} -> {result}")

    def _on_ioctl(self, _, client) -> bool:
        try:
            error = self._answer(self.by_node[client.get_devnode()], client, client.get_arg())
        except (GLib.Error, OSError):
            error = errno.EFAULT
        client.complete(-1 if error else 0, error)
        return True

    def _answer(self, device, client, argument) -> int:
        """0 or an errno value."""
        request = client.get_request() & 0xFF
        # These are answered even if the device has left.
        if request in (REAP, REAP_NOW):
            return self._reap(device, client, argument)
        if request == DISCARD:
            return self._discard(device, client, argument)
        if device.gone:
            return errno.ENODEV
        if request == CAPABILITIES:  # libusb requests them only when it opens a device
            return self._open(device, argument)
        if request == CLAIM:
            return self._claim(device, argument)
        if request == SUBMIT:
            return self._submit(device, client, argument)
        self._saw(device, f"ioctl {request}", "ENOTTY")
        return errno.ENOTTY

    def _open(self, device, argument) -> int:
        flags = resolve(argument, 0, len(CAN))
        result = device.take_fault("open")
        if result.startswith("swap "):
            self.testbed.set_attribute(device.path, "serial", result.removeprefix("swap "))
        self._saw(device, "open", result)
        flags.update(0, CAN)
        return 0

    def _claim(self, device, argument) -> int:
        number = int.from_bytes(resolve(argument, 0, 4).retrieve(), sys.byteorder)
        result = device.take_fault(f"claim {number}")
        self._saw(device, f"claim {number}", result)
        return {"ok": 0, "busy": errno.EBUSY, "unconfigured": errno.ENOENT}[result]

    def _submit(self, device, client, argument) -> int:
        data = resolve(argument, 0, URB.size)
        kind, _, _, _, _, size, *_ = URB.unpack(bytes(data.retrieve()))
        if kind != CONTROL or size < SETUP.size:
            return errno.EINVAL
        buffer = resolve(data, URB_BUFFER, size)
        transfer = bytes(buffer.retrieve())
        operation, result, answer = device.control(transfer[: SETUP.size], transfer[SETUP.size :])
        self._saw(device, operation, result)
        urb = Urb(client, data, buffer, operation, hangs=result.startswith("hang"))
        if result.startswith("ok"):
            urb.answer = answer
            urb.transferred = len(answer) if transfer[0] & 0x80 else size - SETUP.size
        else:
            urb.status = -errno.EPROTO if result.startswith("garble") else -errno.EPIPE
        self.urbs.append(urb)
        if result.endswith("-and-leave") or (operation, result) == ("reboot", "ok"):
            self.remove(device.port)
        return 0

    def _reap(self, device, client, argument) -> int:
        of_client = [urb for urb in self.urbs if urb.client == client]
        done = next((urb for urb in of_client if device.gone or not urb.hangs), None)
        if done is None:
            return errno.ENODEV if device.gone else errno.EAGAIN
        pointer = resolve(argument, 0, struct.calcsize("P"))
        status = -errno.ESHUTDOWN if done.hangs else done.status
        done.data.update(URB_STATUS, struct.pack("i", status))
        done.data.update(URB_ACTUAL_LENGTH, struct.pack("i", done.transferred))
        done.buffer.update(SETUP.size, done.answer)
        pointer.set_ptr(0, done.data)
        self.urbs.remove(done)
        return 0

    def _discard(self, device, client, argument) -> int:
        address = int.from_bytes(argument.retrieve(), sys.byteorder)
        for urb in self.urbs:
            if urb.client == client and urb.data.client_addr == address:
                urb.hangs, urb.status = False, -errno.ENOENT
                self._saw(device, urb.operation, "discarded")
                return 0
        return errno.EINVAL
