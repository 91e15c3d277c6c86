#!/usr/bin/env python3
"""Rules of the house that no compiler checks: which folder may include which, and calls that the
library never makes."""
import os
import pathlib
import re
import sys

# A folder includes only from itself, the folders named here and what those may use.
MAY_USE = {
    "include": [],
    "platform": ["include"],
    "frame": ["platform"],
    "image": ["frame"],
    "io": ["image"],
    "measure": ["image", "io"],
    "greyscale": ["measure"],
    "filters": ["measure"],
    "scripts": ["filters", "greyscale"],
    "geometry": ["image"],
    "calibration": ["image"],
    "dose": ["measure"],
    "quality": ["measure", "scripts"],
    "steps": ["scripts", "geometry", "calibration", "dose", "quality"],
    "interchange": [],
    "cli": ["include", "interchange"],
}

# Pattern, what is wrong with it, files in which it has its place.
FORBIDDEN = [
    (r"\b(?!(vs|s)nprintf)\w*printf\s*\(|\b(puts|putchar|fputs|perror|abort|_?exit|_Exit|quick_exit|terminate)\s*\(",
     "the library never prints, exits or aborts", ()),
    (r"\bstd::(cout|cerr|clog)\b", "the library never prints", ()),
    (r"\b(fread|fgetc|getc|fwrite|fputc|fscanf)(_unlocked)?\s*\(|\bstd::[io]?fstream\b", "use the checked block reads and writes of platform/file.h", ()),
    (r"\bf(re)?open(64)?\s*\(", "use openFile() of platform/file.h", ("platform/file_open.cpp",)),
    (r"\breinterpret_cast\b(?!<(const )?__m)", "no reinterpret_cast in readers",
     ("io/png_encoder.cpp", "io/png_decoder.cpp")),
    (r"\bgetenv\s*\(", "use secure_getenv(): a privileged program's caller is not trusted", ()),
    (r"\busing namespace\b", "no using namespace in headers", ()),
    (r"\bvector_size\b", "use Vector of platform/vectors.h", ("platform/vectors.h",)),
    (r"\bgnu::target|\btarget_clones\b|__builtin_cpu_supports", "use LUMO_LEVELS of platform/cpu_level.h",
     ("platform/cpu_level.h", "platform/cpu_level.cpp")),
]
READERS = ("io/", "frame/", "image/", "platform/file")

# What the operating system gives is asked for in these folders; a port replaces them and no more.
SYSTEM_ROOMS = ("platform/", "cli/system/", "interchange/system")
SYSTEM_HEADERS = re.compile(
    r'#include [<"](sys/.*|linux/.*|unistd|fcntl|dlfcn|sched|pthread|malloc|langinfo|x?locale|strings|c?signal|poll|'
    r'dirent|termios|pwd|grp|spawn|ftw|glob|utime|semaphore)(\.h)?[>"]')
SYSTEM_CALLS = re.compile(
    r"\b(fileno|fdopen|pread|pwrite|readv|writev|lseek|[lf]?stat|unlink|mkdir|fork|getpid|isatty|ioctl|"
    r"mmap|madvise|(secure_)?getenv|setenv|setlocale|(dup|free)locale|nl_langinfo\w*|(local|gm)time(_r)?|tzset|"
    r"dlopen|dladdr|dlsym|sysconf|sched_\w+|pthread_\w+|sig(action|procmask|timedwait)|malloc_usable_size|"
    r"strn?casecmp)\s*\(")


def allowed(folder):
    found = {folder}
    for other in MAY_USE[folder]:
        found |= allowed(other)
    return found


def folder_of_header(name):
    if name in ("lumo.h", "lumo_legacy.h", "lumo_steps.h", "lumo_quality.h"):
        return "include"
    return name.split("/")[0] if "/" in name else None


def check_includes(path, folder, text):
    for name in re.findall(r'^#include ["<]((?:lumo|[a-z_]+/)[^">]*)[">]', text, re.MULTILINE):
        target = folder_of_header(name) or folder
        if target not in MAY_USE:
            continue  # a system header
        if target not in allowed(folder):
            yield f'{path}: {folder}/ may not include "{name}"'


def check_calls(path, folder, text):
    if folder in ("cli", "include"):
        return
    for number, line in enumerate(text.splitlines(), 1):
        code = line.split("//")[0]
        for pattern, why, exceptions in FORBIDDEN:
            if "reinterpret_cast" in pattern and not str(path).startswith(READERS):
                continue
            if "using" in pattern and path.suffix != ".h":
                continue
            if str(path) not in exceptions and re.search(pattern, code):
                yield f"{path}:{number}: {why}"


def check_kernels(texts):
    """Tests know a kernel by its name: it is unique, and tests/kernels_test.cpp proves which copy ran."""
    proofs = pathlib.Path("tests/kernels_test.cpp").read_text()
    seen = set()
    for path, text in texts:
        for name in re.findall(r"^\s*LUMO_LEVELS\([^,]+,\s*(\w+),", text, re.MULTILINE):
            if name in seen:
                yield f"{path}: there is another kernel {name}"
            if f'"{name}"' not in proofs:
                yield f"{path}: tests/kernels_test.cpp does not run {name}"
            seen.add(name)


def check_system(path, text):
    if str(path).startswith(SYSTEM_ROOMS):
        return
    for number, line in enumerate(text.splitlines(), 1):
        code = re.sub(r'"[^"]*"', '""', line.split("//")[0]) if "#include" not in line else line
        if SYSTEM_HEADERS.search(code) or SYSTEM_CALLS.search(code):
            yield f"{path}:{number}: ask the operating system in {' or '.join(SYSTEM_ROOMS)} only"


def main():
    os.chdir(pathlib.Path(__file__).resolve().parent.parent)
    known = set(MAY_USE) | {"tests", "fuzz", "bench"}
    faults = [f"{source.parent}/: say in tools/house_rules.py what it may include"
              for source in pathlib.Path(".").glob("*/*.cpp") if source.parent.name not in known | {"build", "demo"}]
    texts = []
    for folder in MAY_USE:
        for path in sorted(pathlib.Path(folder).rglob("*.[ch]*")):
            text = path.read_text()
            faults += check_includes(path, folder, text)
            faults += check_calls(path, folder, text)
            texts.append((path, text))
            faults += check_system(path, text)
    faults += check_kernels(texts)
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
