"""The include check refuses what it should: a check that lets everything pass looks just as green."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "scripts"))
import check_includes  # noqa: E402  (found only now)

REFUSED = (
    ("src/libstringutils/format.cpp", "liblog/log_interface.hpp"),
    ("src/liblog/memory_logger.cpp", "kavuhelper/module/service_container.hpp"),
    ("src/kavuhelper/sensors/sensor_base.hpp", "platform/sensor_table.hpp"),
    ("src/platform/message.cpp", "mqtt/topic_filter.hpp"),
    ("src/mqtt/client.cpp", "mqtt/sensors/statistics_sensor.hpp"),
    ("src/mqtt/settings/broker.hpp", "mqtt/sensors/statistics_sensor.hpp"),
    ("src/mqtt/sensors/statistics_sensor.cpp", "mqtt/sensors/roundtrip_sensor.hpp"),
    ("src/mqtt/sensors/statistics_sensor.cpp", "mqtt/paho_options.hpp"),
    ("src/mqtt/sensors/statistics_sensor.cpp", "MQTTAsync.h"),
    ("src/mqtt/client.hpp", "MQTTAsync.h"),
    ("src/module/exports.cpp", "platform/message.hpp"),
    ("src/module/exports.cpp", "envelope.pb.h"),
    ("src/probe/scan.cpp", "mqtt/topic_filter.hpp"),
    ("src/probe/scan.cpp", "kavuhelper/responses/check_result.hpp"),
    ("src/mqtt/sensors/custom.cpp", "jsoncons/json.hpp"),
    ("src/libjsonparser/jsonpath_parser.hpp", "jsoncons/json.hpp"),
    ("src/mqtt/topic_filter.cpp", "regex"),
    ("src/module/adapter.cpp", "helpers/mosquitto_broker.hpp"),
    ("bench/delivery.cpp", "helpers/mosquitto_broker.hpp"),
)
ALLOWED = (
    ("src/mqtt/client.cpp", "MQTTAsync.h"),
    ("src/mqtt/sensors/statistics_sensor.cpp", "mqtt/sensors/statistics_sensor.hpp"),
    ("src/mqtt/sensors/statistics_sensor.cpp", "mqtt/mqtt_client_interface.hpp"),
    ("src/platform/wire_codec.hpp", "envelope.pb.h"),
    ("src/probe/host_session.cpp", "kavu/module_api.h"),
    ("tests/mqtt/client_test.cpp", "helpers/mosquitto_broker.hpp"),
)


class IncludeRules(unittest.TestCase):
    def test_refused(self):
        for path, included in REFUSED:
            with self.subTest(path=path, included=included):
                self.assertIsNotNone(check_includes.refusal(path, included))

    def test_allowed(self):
        for path, included in ALLOWED:
            with self.subTest(path=path, included=included):
                self.assertIsNone(check_includes.refusal(path, included))


if __name__ == "__main__":
    unittest.main()
