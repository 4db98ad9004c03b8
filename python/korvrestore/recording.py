"""Records one device's restore so that the simulator can replay it."""

from __future__ import annotations

import pathlib
import plistlib
import time
from typing import Any

from korvrestore.messages import Message, MessageReader


class Recording:
    """Three files in a folder:

    ECID.messages  the message stream, byte for byte
    ECID.times     when each message came, in seconds after the tool was started, and its Type;
                   "-" for one that can't be parsed
    ECID.plist     a scenario file that replays the same restore
    """

    def __init__(self, folder: pathlib.Path, ecid: str) -> None:
        """Raises OSError, also if the recording exists already."""
        self._device: dict[str, Any] = {"ECID": ecid, "State": "Recovery"}
        self._reader = MessageReader()
        self._messages: list[tuple[float, Message]] = []
        self._start = time.monotonic()
        self._scenario_file = folder / f"{ecid}.plist"
        self._stream = (folder / f"{ecid}.messages").open("xb", buffering=0)
        self._times = (folder / f"{ecid}.times").open("x", buffering=1)

    def take_device_info(self, answer: bytes) -> None:
        """Takes the output of --device-info, which may be an error instead."""
        for message in MessageReader().feed(answer):
            if isinstance(message, Message) and message.type == "DeviceInfo":
                for key, value in message.value.items():
                    if isinstance(value, int):  # unsigned, though the tool reports it as signed
                        value &= 0xFFFF if key == "ProductID" else 0xFFFFFFFF
                    self._device[key] = value

    def start(self) -> None:
        """Call it when the tool is started."""
        self._start = time.monotonic()

    def write(self, data: bytes) -> None:
        """Records output of the tool. Raises OSError."""
        self._stream.write(data)
        now = time.monotonic() - self._start
        for message in self._reader.feed(data):
            if isinstance(message, Message):
                self._messages.append((now, message))
            kind = message.type if isinstance(message, Message) else "-"
            self._times.write(f"{now:.6f} {kind}\n")

    def finish(self) -> None:
        """Writes the scenario. Raises OSError and the exceptions of plistlib."""
        self._stream.close()
        self._times.close()
        self._scenario_file.write_bytes(plistlib.dumps(scenario(self._device, self._messages)))


def scenario(device: dict[str, Any], messages: list[tuple[float, Message]]) -> dict[str, Any]:
    """The content of a scenario file in which `device` behaves as `messages` report. Each message
    has its time in seconds since the tool's start."""
    script: list[dict[str, Any]] = []
    texts: dict[str, str] = {}
    content: dict[str, Any] = {"Devices": [device | {"Restore": script}], "OperationTexts": texts}
    before = 0.0
    for seconds, message in messages:
        value = message.value
        if message.type == "InternalError":
            if value.get("Domain") != "korvrestore":  # the registration for devices failed
                keys = ("Domain", "Code", "Description")
                content["RegistrationError"] = {key: value[key] for key in keys}
            elif value["Code"] == 4:  # the device didn't come
                content["Devices"] = []
            # After code 7, the restore timeout, the script must stay without an end.
            break
        report = value | {"After": round(seconds - before, 6)}
        if value["Operation"] != 0 and "TY_OperationName" in value:  # which the tool has added
            texts[str(value["Operation"])] = report.pop("TY_OperationName")
        script.append(report)
        before = seconds
    return content
