"""A small host: statistics sensors on one connection of the module, ruled by lines on standard input.

    several_sensors.py MODULE PORT USER PASSWORD

"create FILTER" makes one more sensor and answers "created" or "not created"; "scan" scans all and
answers a list with [messages, bytes] of each, null for a scan that failed. The end of the input ends
it.
"""

import ctypes
import json
import pathlib
import re
import subprocess
import sys

_proto = pathlib.Path(__file__).resolve().parents[2] / "src" / "platform" / "proto"
_callback_type = ctypes.CFUNCTYPE(
    None, ctypes.c_uint64, ctypes.POINTER(ctypes.c_uint8), ctypes.c_uint32)


def protoc(direction, data):
    """Between an envelope's bytes and its text form; the wire code needs no library that way."""
    return subprocess.run(
        ["protoc", f"--{direction}=kavu.wire.Envelope", "-I", _proto, "envelope.proto"],
        input=data, stdout=subprocess.PIPE, check=True).stdout


def sensor_envelope(port, user, password, topic):
    settings = {
        "host": "127.0.0.1", "ipversion": "IPv4", "timeout": "10", "interval": "60",
        "logging": "disabled",
        "credentials.connection_mqtt.port": port,
        "credentials.user_credentials.active": "yes",
        "credentials.user_credentials.user": user,
        "credentials.tls.active": "no",
        "credentials.tls.server_auth_active": "no", "credentials.tls.ca_certificate": "",
        "credentials.tls.client_auth_active": "no", "credentials.tls.client_certificate": "",
        "credentials.tls.client_key": "",
        "statistics.connection_statistics.topic": topic,
    }
    secure = {"brunvikcloudapikey": "", "credentials.user_credentials.password": password,
              "credentials.tls.client_key_password": ""}

    def entries(name, values):
        return [f"{name} {{ key: {json.dumps(key)} value: {json.dumps(value)} }}"
                for key, value in values.items()]

    content = ['kind: "statistics_sensor"', *entries("settings", settings),
               *entries("secure_settings", secure)]
    return protoc("encode", f"api_level: 6 sensor_data {{ {' '.join(content)} }}".encode())


class Host:
    def __init__(self, path):
        self._module = ctypes.CDLL(path)
        self._messages = []
        self._callback = _callback_type(
            lambda _, data, size: self._messages.append(ctypes.string_at(data, size)))
        self._sensors = 0
        if self._module.InitializeModule(ctypes.c_uint64(0), self._callback) != 0:
            sys.exit("the module cannot be initialised")

    def create(self, envelope):
        """Whether it could be made; its number is used up in any case."""
        self._sensors += 1
        data = (ctypes.c_uint8 * len(envelope)).from_buffer_copy(envelope)
        return self._module.CreateSensorInstance(self._sensors, data, len(envelope)) == 0

    def scan(self):
        return [self._scan(number) for number in range(1, self._sensors + 1)]

    def _scan(self, number):
        self._messages.clear()
        self._module.ExecuteSensorScan(number)
        for message in list(self._messages):
            text = protoc("decode", message).decode()
            if "\nscan_result {" in text:
                values = [int(value) for value in re.findall(r"\binteger: (\d+)", text)]
                return values[:2] or None
        return None

    def clean_up(self):
        self._module.CleanupModule()


def main():
    module, *connection = sys.argv[1:]
    host = Host(module)
    try:
        for line in sys.stdin:
            command, _, topic = line.rstrip("\n").partition(" ")
            if command == "create":
                made = host.create(sensor_envelope(*connection, topic))
                print("created" if made else "not created", flush=True)
            elif command == "scan":
                print(json.dumps(host.scan()), flush=True)
    except KeyboardInterrupt:
        pass
    finally:
        host.clean_up()


if __name__ == "__main__":
    main()
