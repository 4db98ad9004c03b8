"""Keeps one device's restore so that the simulator can play it again."""

from __future__ import annotations

import pathlib
import plistlib
import time

from restore_messages import MessageSplitter


class Recording:
    """Three files in a folder:

    ECID.messages  the message stream, byte for byte
    ECID.times     when each message came, in seconds after the tool was started, and its Type
    ECID.plist     a scenario file that plays the same restore again
    """

    def __init__(self, folder: pathlib.Path, ecid: str) -> None:
        """Raises OSError, also when the recording is there already."""
        self._device = {"ECID": ecid, "State": "Recovery"}
        self._splitter = MessageSplitter()
        self._messages: list[tuple[float, dict]] = []
        self._start = time.monotonic()
        self._scenario_file = folder / f"{ecid}.plist"
        self._stream = (folder / f"{ecid}.messages").open("xb", buffering=0)
        self._times = (folder / f"{ecid}.times").open("x", buffering=1)

    def take_device_info(self, value: dict) -> None:
        """The device's numbers are unsigned, though the tool reports them as signed."""
        for key, number in value.items():
            if isinstance(number, int):
                value[key] = number & (0xFFFF if key == "ProductID" else 0xFFFFFFFF)
        self._device |= value

    def start(self) -> None:
        """The tool is being started."""
        self._start = time.monotonic()

    def write(self, data: bytes) -> None:
        """What has come from the tool. Raises OSError, and what plistlib raises."""
        self._stream.write(data)
        now = time.monotonic() - self._start
        for message in self._splitter.feed(data):
            self._messages.append((now, message))
            self._times.write(f"{now:.6f} {message['Type']}\n")

    def finish(self) -> None:
        """Raises OSError."""
        self._stream.close()
        self._times.close()
        self._scenario_file.write_bytes(plistlib.dumps(scenario(self._device, self._messages)))


def scenario(device: dict, messages: list[tuple[float, dict]]) -> dict:
    """What a scenario file holds in which `device` does what `messages` tell, each with the seconds
    since the tool's start."""
    script: list[dict] = []
    texts: dict[str, str] = {}
    content = {"Devices": [device | {"Restore": script}], "OperationTexts": texts}
    before = 0.0
    for seconds, message in messages:
        value = message["Value"]
        if message["Type"] == "InternalError":
            if value.get("Domain") != "korvrestore":  # devices couldn't be asked for
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
