#!/usr/bin/env python3
"""Configures the library as distributions and developers do, and looks at the level of optimisation
that its objects would be compiled with: -O3 in every build type but Debug."""
import json
import pathlib
import re
import subprocess
import sys
import tempfile

source, compiler = sys.argv[1:]
# Build type, flags of the environment that it is configured in, whether kernels are optimised.
CASES = [("None", "-g -O2", True), ("Release", "", True), ("RelWithDebInfo", "", True), ("MinSizeRel", "", True),
         ("Debug", "", False), ("Debug", "-O1", False)]


def levels(build_type, flags):
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["cmake", "-S", source, "-B", folder, f"-DCMAKE_BUILD_TYPE={build_type}",
                        f"-DCMAKE_CXX_COMPILER={compiler}", f"-DCMAKE_CXX_FLAGS={flags}", "-DLUMO_BUILD_PROGRAM=OFF",
                        "-DLUMO_WITH_TIFF=OFF", "-DLUMO_WITH_DICOM=OFF"],
                       check=True, stdout=subprocess.DEVNULL)
        commands = json.loads((pathlib.Path(folder) / "compile_commands.json").read_text())
    return {entry["file"]: (re.findall(r" -O(\S*)", entry["command"]) or ["0"])[-1] for entry in commands
            if "/interchange/" not in entry["file"]}


wrong = []
for build_type, flags, optimised in CASES:
    found = levels(build_type, flags)
    if len(found) < 50:
        wrong.append(f"{build_type}: only {len(found)} objects found")
    wrong += [f"{build_type} {flags}: {file} at -O{level}" for file, level in found.items() if (level == "3") != optimised]
print("\n".join(wrong))
sys.exit(1 if wrong else 0)
