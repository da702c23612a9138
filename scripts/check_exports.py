"""Compares what the two shared libraries show with what they should.

`check_exports.py DIRECTORY` looks at libMQTT.so and libKavuHelper.so in DIRECTORY. The module shows
exactly the functions that include/kavu/module_api.h declares; the platform library shows nothing
outside the project's own namespaces, no wire messages, nothing of a library below it, and no static
variable without its guard.
"""

import pathlib
import re
import subprocess
import sys

HEADER = pathlib.Path(__file__).parents[1] / "include" / "kavu" / "module_api.h"
OWN_NAMESPACE = "brunvik::monitoring_modules::"
# What a compiler adds to a class: "vtable for x::y", "non-virtual thunk to x::y::z()".
ADDED = re.compile(r"^(vtable|typeinfo|typeinfo name|VTT|guard variable|"
                   r"(non-virtual|virtual|covariant return) thunk) (for|to) ")

STATIC_VARIABLE = re.compile(r"\)(\[abi:\w+\])?( const)?::\w+$")


def declared():
    """The names that the public header declares as exported."""
    return set(re.findall(r"^KAVU_MODULE_API\s[\w\s]*?(\w+)\(", HEADER.read_text(), re.MULTILINE))


def shown(library, *options):
    """The symbols that a library defines for others; version names are not symbols."""
    command = ["nm", "--dynamic", "--defined-only", "--extern-only", *options, str(library)]
    output = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    entries = [line.split(" ", 2) for line in output.splitlines()]
    return {name.split("@@")[0] for _, kind, name in entries if kind != "A"}


def foreign(symbol):
    return not ADDED.sub("", symbol).startswith(OWN_NAMESPACE)


def violations(directory):
    names, module = declared(), shown(directory / "libMQTT.so")
    if not names:
        yield f"{HEADER.name}: no exported function found in it"
    yield from (f"libMQTT.so: {name} is missing" for name in sorted(names - module))
    yield from (f"libMQTT.so: {name} should not be visible" for name in sorted(module - names))

    platform = shown(directory / "libKavuHelper.so", "--demangle")
    if not platform:
        yield "libKavuHelper.so: shows nothing at all"
    yield from (f"libKavuHelper.so: {name} should not be visible"
                for name in sorted(filter(foreign, platform)))
    # A static variable of an inline function: without its guard, each library that has the function
    # too makes and destroys the one that all of them share.
    yield from (f"libKavuHelper.so: {name} is visible without its guard"
                for name in sorted(platform)
                if STATIC_VARIABLE.search(name) and not ADDED.match(name)
                and f"guard variable for {name}" not in platform)


def main():
    directory = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build/lib")
    try:
        found = list(violations(directory))
    except subprocess.CalledProcessError as error:
        found = [error.stderr.strip()]
    print("\n".join(found) or "exports: as declared")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
