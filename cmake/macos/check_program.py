#!/usr/bin/env python3
"""check_program.py PROGRAM ARCHITECTURE LIBRARY checks a program for macOS and describes it.

It must be a Mach-O program that uses CoreFoundation, LIBRARY, libSystem and libc++ only.
"""
import pathlib
import plistlib
import re
import subprocess
import sys
import tempfile

LLVM = "/usr/lib/llvm-19/bin/"


def run(tool, *arguments):
    return subprocess.run(
        [LLVM + tool, *arguments], check=True, text=True, stdout=subprocess.PIPE
    ).stdout


def check(holds, lack):
    if not holds:
        sys.exit(f"{program}: {lack}")


program, architecture, library = sys.argv[1:]

header = run("llvm-objdump", "--macho", "--private-headers", program)
kind = re.search(r"^ *MH_MAGIC_64 +(\S+) +\S+ +\S+ +(\S+)", header, re.MULTILINE)
check(
    kind and kind.groups() == ({"arm64": "ARM64", "x86_64": "X86_64"}[architecture], "EXECUTE"),
    f"not a Mach-O program for {architecture}",
)
system = re.search(r"LC_BUILD_VERSION\n.*\n *platform macos\n.*\n *minos (\S+)", header)
check(system, "doesn't state which macOS it needs")

with tempfile.TemporaryDirectory() as folder:
    section = pathlib.Path(folder, "Info.plist")
    run("llvm-objcopy", f"--dump-section=__TEXT,__info_plist={section}", program, "/dev/null")
    information = plistlib.loads(section.read_bytes())
check(information.get("LSUIElement") is True, "its Info.plist doesn't make it an agent")

used = re.findall(
    r"^ +\(undefined\).* (\S+) \((?:from (\S+)|.*)\)$", run("llvm-nm", "-m", program), re.MULTILINE
)
origins = {origin or symbol for symbol, origin in used}
check(origins == {"CoreFoundation", library, "libSystem", "libc++"}, f"it uses {origins}")

print(
    f"a Mach-O program for {architecture} and macOS {system.group(1)} or newer, "
    f"with {len(used)} symbols of {', '.join(sorted(origins))}: {program}"
)
