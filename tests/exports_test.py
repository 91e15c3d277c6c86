#!/usr/bin/env python3
"""Compares the shared library's exported symbols with the functions that the headers declare."""
import re
import subprocess
import sys

library, *headers = sys.argv[1:]
# Declared for programs to define, not exported.
HOOKS = {"lumoLogDirectory"}


def declared(text):
    text = re.sub(r"^#.*$", "", text, flags=re.MULTILINE)
    text = re.sub(r"/\*.*?\*/", "", text, flags=re.DOTALL)
    return set(re.findall(r"LUMO_API[^;(]*?\b(\w+)\s*\(", text))


def exported():
    output = subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True, text=True)
    return {line.split()[2] for line in output.stdout.splitlines() if line.split()[1] not in "A"}


def plain(symbol):
    match = re.match(r"_Z(\d+)", symbol)
    return symbol[match.end():match.end() + int(match.group(1))] if match else symbol


decorated = {"_Z17LumoPngWriteRows2P7lmImage", "_Z13WriteImageRot5ImagePci", "_Z14WriteImageInfo9ImageInfoPKc"}
symbols = exported()
names = {plain(symbol) for symbol in symbols}
wanted = set().union(*(declared(open(header).read()) for header in headers)) - HOOKS
missing, extra = wanted - names, names - wanted
wrongly_decorated = {symbol for symbol in symbols if symbol.startswith("_Z")} ^ decorated
print(f"{len(symbols)} symbols; missing {sorted(missing)}; extra {sorted(extra)}; decorated {sorted(wrongly_decorated)}")
sys.exit(1 if missing or extra or wrongly_decorated or len(wanted) < 40 else 0)
