#!/usr/bin/env python3
"""text_stub.py INSTALL_NAME HEADER... prints a text stub (.tbd) of a library for macOS.

The linker accepts a text stub instead of a dynamic library. It contains the library's installation
path and its symbols: the names that the headers declare inside extern "C". With - instead of
headers, the symbols are read from standard input, one in each line.
"""
import re
import sys


def declared(header):
    """The functions and constants that a C++ header declares inside extern "C"."""
    text = re.sub(r"//.*|/\*[\s\S]*?\*/|^#.*", "", header, flags=re.MULTILINE)
    for block in re.findall(r'extern "C" \{([\s\S]*?)\n\}', text):
        for declaration in filter(None, map(str.strip, block.split(";"))):
            constant = re.fullmatch(r"extern\b[^(]*?(\w+)", declaration)
            function = re.match(r"[\w\s*:]+?(\w+)\(", declaration)
            if not (constant or function):
                sys.exit(f"text_stub.py: not a declaration: {declaration}")
            yield "_" + (constant or function).group(1)


install_name, *headers = sys.argv[1:]
if headers == ["-"]:
    symbols = sys.stdin.read().split()
else:
    symbols = [name for header in headers for name in declared(open(header).read())]
lines = ", ".join(f"'{name}'" for name in sorted(set(symbols)))
print(
    f"""--- !tapi-tbd
tbd-version: 4
targets: [ x86_64-macos, arm64-macos ]
install-name: '{install_name}'
exports:
  - targets: [ x86_64-macos, arm64-macos ]
    symbols: [ {lines} ]
..."""
)
