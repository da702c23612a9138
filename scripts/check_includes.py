"""Fails on an include that points up, or on a library that shows where it should not.

`check_includes.py [ROOT]` reads every header and source file below ROOT (this repository by
default) and prints one line for each include that the two tables below do not allow.
"""

import pathlib
import re
import sys

SUPPORT = ("libexception", "libstringutils", "libi18n", "liblog", "libtimeutils", "libregex",
           "libjsonparser")

# A folder is a layer. It may include from itself, from `include/kavu`, and from the folders named
# here; the last matching entry wins, so that a folder inside another one has rules of its own.
LAYERS = {
    "src/libexception": (),
    "src/libstringutils": ("libexception",),
    "src/libi18n": ("libexception", "libstringutils"),
    "src/liblog": ("libexception", "libstringutils", "libi18n"),
    "src/libtimeutils": ("libexception", "libstringutils", "libi18n", "liblog"),
    "src/libregex": ("libexception", "libstringutils", "libi18n", "liblog", "libtimeutils"),
    "src/libjsonparser": SUPPORT,
    "src/kavuhelper": SUPPORT,
    "src/platform": SUPPORT + ("kavuhelper",),
    "src/mqtt": SUPPORT + ("kavuhelper",),
    "src/mqtt/settings": SUPPORT + ("kavuhelper", "mqtt"),
    "src/mqtt/sensors": SUPPORT + ("kavuhelper", "mqtt", "mqtt/settings"),
    "src/definition": ("libexception", "libi18n"),
    "src/module": SUPPORT + ("kavuhelper", "mqtt", "mqtt/settings", "mqtt/sensors", "definition"),
    "src/probe": ("libexception", "libstringutils", "libjsonparser"),
}

# One sensor knows nothing of another. How the names of its files begin, and whose they are.
SENSORS = {"roundtrip": "roundtrip", "statistics": "statistics", "subscribe_custom": "custom",
           "custom": "custom", "mqtt_connect_check": "check", "mqtt_notification": "notification"}

# Libraries that stay where they are used: what is included, and the files that may.
CONFINED = {
    r"MQTT(Async|Client|Properties|SubscribeOpts|ReasonCodes)\w*\.h":
        r"src/mqtt/[^/]+\.cpp|src/mqtt/paho_\w+\.hpp|bench/.*",
    r"mqtt/paho_\w+\.hpp": r"src/mqtt/[^/]+|tests/mqtt/.*|bench/.*",
    r"(jsoncons|jsoncons_ext)/.*":
        r"src/libjsonparser/([^/]+\.cpp|jsoncons_\w+\.hpp)|bench/.*",
    r"libjsonparser/jsoncons_\w+\.hpp": r"src/libjsonparser/[^/]+|bench/.*",
    r".*\.pb\.h|google/protobuf/.*": r"src/(platform|probe)/.*|tests/.*|bench/.*",
    r"date/.*": r"src/libtimeutils/[^/]+\.cpp|tests/.*",
    r"regex": r"src/(libregex|libjsonparser)/.*|src/libtimeutils/[^/]+\.cpp|tests/.*",
    r"fmt/.*": r"src/.*\.cpp|src/probe/.*|tests/.*|bench/.*",
    r"spdlog/.*|CLI/.*|toml\+\+/.*|sqlite3\.h|prometheus/.*|httplib\.h":
        r"src/probe/.*|tests/.*|bench/.*",
    r"nlohmann/.*": r"src/probe/.*|tests/.*",
    r"mosquitto(_broker|_plugin)?\.h": r"src/probe/demo/.*|tests/.*|bench/.*",
    r"openssl/.*": r"src/mqtt/[^/]+\.cpp|tests/.*",
    r"gtest/.*|gmock/.*|helpers/.*": r"tests/.*",
    r"benchmark/.*": r"bench/.*",
}

INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^">]+)[">]')


def layer_of(path):
    """The entry of LAYERS for a file or for what an include names; None if it is in none."""
    return next((layer for layer in reversed(LAYERS) if path.startswith(layer + "/")), None)


def sensor_of(path):
    name = path.rsplit("/", 1)[-1]
    return next((owner for start, owner in SENSORS.items() if name.startswith(start)), None)


def refusal(path, included):
    """Why `path` must not include `included`; None if it may."""
    for library, places in CONFINED.items():
        if re.fullmatch(library, included) and not re.fullmatch(places, path):
            return "stays where it is used"
    layer, target = layer_of(path), layer_of("src/" + included)
    if layer is None or target is None or layer == target:
        own_folder = layer == target == "src/mqtt/sensors"
        if own_folder and sensor_of(included) not in (None, sensor_of(path)):
            return "belongs to another sensor"
        return None
    if target.removeprefix("src/") not in LAYERS[layer]:
        return f"is not below {layer}"
    return None


def violations(root):
    for folder in ("include", "src", "tests", "bench"):
        for file in sorted((root / folder).rglob("*.[chp]*")):
            if file.suffix not in (".h", ".hpp", ".c", ".cpp"):
                continue
            path = file.relative_to(root).as_posix()
            for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
                match = INCLUDE.match(line)
                reason = match and refusal(path, match.group(1))
                if reason:
                    yield f"{path}:{number}: {match.group(1)} {reason}"


def main():
    root = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else pathlib.Path(__file__).parents[1]
    found = list(violations(root.resolve()))
    print("\n".join(found) or "includes: all point down")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
