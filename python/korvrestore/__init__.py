"""Drive korvrestore from Python: many devices, one process of the tool for each.

messages   the message stream: splits and parses it
tool       one run of the tool: command line, pipe, limits, end
restore    the state of one device's restore
recording  writes a restore to files, so that the simulator can replay it
display    rows that fit a terminal
loop       runs several tools at the same time
bench      runs several restores at the same time; watch restores each device that appears
status     the restores of a folder
fleet      many hosts over ssh

A restore of one device:

    from korvrestore import Restore, Tool

    restore = Restore("001A2B3C4D5E6F70")
    with Tool(["korvrestore", "--restore", ipsw, "--ecid", restore.ecid], limit=7263) as tool:
        for message in tool:
            restore.take(message, time.monotonic())
    restore.take_end(tool.outcome, time.monotonic())
    print(restore.result)

Only Python's standard library is needed. The programs korvrestore-bench, korvrestore-status and
korvrestore-fleet use these modules.
"""

from korvrestore.messages import Message, MessageReader, Unreadable
from korvrestore.restore import Restore, Stage
from korvrestore.tool import Tool

__all__ = ["Message", "MessageReader", "Restore", "Stage", "Tool", "Unreadable"]
