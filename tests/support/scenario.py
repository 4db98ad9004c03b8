"""Parts of a scenario file."""

ECID = "001A2B3C4D5E6F70"


def device(ecid=ECID, state="Recovery", **keys) -> dict:
    return {"ECID": ecid, "State": state, **keys}


def report(operation, progress, status="Restoring", **keys) -> dict:
    """One entry of a device's scripted `Restore`."""
    return {"Status": status, "Operation": operation, "Progress": progress, **keys}


THE_END = report(0, 100, "Successful")
