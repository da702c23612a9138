"""The trials, in the order of the table in docs/brokers.md: each is named by the first words of its
line there and returns what stands in the broker's column.

A message's copies are counted by size: the one in question has 1 byte, a marker of `marker_size`
bytes is published behind it, and when that has come, all copies of the first have come, too.
"""

import contextlib
import time

import processes

marker_size = 100_000
_marker = "m" * marker_size
_trials = []


def trial(name):
    def register(function):
        _trials.append((name, function))
        return function
    return register


def all_trials():
    return list(_trials)


def _yes(good, otherwise):
    return "yes" if good else otherwise


@trial("Right and wrong password")
def password(clients):
    right, _ = clients.probe("check")
    wrong, why = clients.probe("check", password="wrong")
    if not right["ok"] or wrong["ok"]:
        return "no"
    return _yes("Check your credentials" in why, "another reason shown")


@trial("Anonymous")
def anonymous(clients):
    report, why = clients.probe("check", user="")
    return _yes(report["ok"], "refused" if "Check your credentials" in why else why)


@trial("TLS, the server checked against an authority")
def tls(clients):
    here = clients.broker.certificates
    right, _ = clients.probe("check", "--tls", "--ca", str(here / "ca.pem"), tls=True)
    wrong, _ = clients.probe("check", "--tls", "--ca", str(here / "stranger.pem"), tls=True)
    return _yes(right["ok"] and not wrong["ok"], f"right {right['ok']}, wrong {wrong['ok']}")


@trial("Round trip")
def round_trip(clients):
    report, _ = clients.probe("scan", "roundtrip")
    return _yes(report["ok"] and report["channels"][-1]["text"] == "Roundtrip complete",
                str(report.get("message")))


@trial("Notification")
def notification(clients):
    topic, text = "trial/alert", 'Tank 3 is "empty", 12 °C'
    listening, _ = clients.listening(topic)
    with listening:
        report, _ = clients.probe("notify", "--topic", topic, "--message", text)
        arrived = listening.until(lambda line: line.startswith("> ") and line)
    return _yes(report["ok"] and arrived == f"> {topic} {text}", arrived)


@trial("Statistics: messages, bytes, topics")
def statistics(clients):
    topics = [f"trial/plant/{line}/{value}" for line in "ab" for value in ("level", "flow")]
    series = [f"value {number}" for number in range(50)]
    with clients.counting("trial/plant/#") as every, clients.counting("trial/plant/+/flow") as some:
        for topic in topics:
            clients.publish(topic, *series)
        size = sum(map(len, series))
        for topic in topics[2:]:
            clients.publish(topic, _marker)
        seen = [every.until_bytes(4 * size + 2 * marker_size), some.until_bytes(2 * size + marker_size)]
    wanted = [(202, 4 * size + 2 * marker_size), (101, 2 * size + marker_size)]
    return _yes(seen == wanted and every.topics <= 4 <= every.topics_of_all_scans,
                f"{seen} instead of {wanted}")


@trial("Custom sensor")
def custom(clients):
    topic = "trial/energy"
    channel = "name=Power,path=$.power_w,type=absolute_float,unit=kW,scale=0.001"
    with clients.custom(topic, "--channel", channel, "--message-path", "$.state") as sensor:
        clients.publish(topic, '{"power_w": 2500, "state": "drawing"}')

        def shown(line):
            return '"Power"' in line and line.startswith("{") and line
        line = sensor.until(shown)
    return _yes('"value":2.5' in line and '"drawing"' in line, line)


@trial("Granted quality of service")
def granted(clients):
    listening, quality = clients.listening("trial/granted")
    with listening:
        return quality


@trial("Publishers that get through, by quality")
def published(clients):
    through = []
    for quality in (0, 1, 2):
        with clients.counting(f"trial/quality/{quality}") as sensor:
            content = clients.publish(f"trial/quality/{quality}", "abc", quality=quality)
            sensor.until_bytes(3)
            through += [str(quality)] if content else []
    return ", ".join(through)


def _copies(counted):
    """How many copies of a message of 1 byte are among so many bytes."""
    return str(counted % marker_size)


@contextlib.contextmanager
def _retained(clients, topic, payload):
    clients.publish(topic, payload, retain=True)
    yield
    clients.publish(topic, "", retain=True)


def _counted_at_subscribing(clients, topic, filter_):
    with clients.counting(filter_) as sensor:
        clients.publish(topic, _marker)
        return _copies(sensor.until_bytes(marker_size)[1])


@trial("Retained message, counted: by name")
def retained_by_name(clients):
    with _retained(clients, "trial/kept/1", "r"):
        return _counted_at_subscribing(clients, "trial/kept/1", "trial/kept/1")


@trial("Retained message, counted: by wildcard")
def retained_by_wildcard(clients):
    with _retained(clients, "trial/kept/2", "r"):
        return _counted_at_subscribing(clients, "trial/kept/2", "trial/kept/+")


@trial("Retained message, counted by both sensors on its topic")
def retained_repeated(clients):
    topic = "trial/kept/3"
    with _retained(clients, topic, "r"), clients.several() as sensors:
        sensors.create(topic)
        processes.eventually(lambda: sensors.scan()[0][0], "retained message")
        sensors.create(topic)
        clients.publish(topic, _marker)
        processes.eventually(lambda: min(size for _, size in sensors.scan()) >= marker_size, "marker")
        return " and ".join(_copies(size) for _, size in sensors.totals)


@trial("Age of a retained message")
def retained_age(clients):
    topic = "trial/kept/4"
    with _retained(clients, topic, '{"v": 1}'):
        time.sleep(3)  # the message has to grow old
        with clients.custom(topic, "--channel", "name=V,path=$.v") as sensor:
            line = sensor.until(lambda text: text.startswith("{") and '"V"' in text and text)
    return "since it came" if '"value":0,"unit":"s"' in line else line


@trial("Copies sent when two filters overlap")
def overlap_sent(clients):
    listening, _ = clients.listening("trial/twice/#", "trial/twice/b")
    copies = 0
    with listening:
        clients.publish("trial/twice/b", "first", "last")
        while "last" not in listening.until(lambda line: line.startswith("> ") and line):
            copies += 1
    return str(copies)


def _counted_by_two(clients, filters, topic):
    with clients.several() as sensors:
        for filter_ in filters:
            sensors.create(filter_)
        clients.publish(topic, "x", _marker)
        processes.eventually(lambda: min(size for _, size in sensors.scan()) >= marker_size, "marker")
        return " and ".join(_copies(size) for _, size in sensors.totals)


@trial("Counted by two sensors on overlapping filters")
def overlap_counted(clients):
    return _counted_by_two(clients, ["trial/over/#", "trial/over/b"], "trial/over/b")


@trial("Counted by two sensors on one filter")
def same_counted(clients):
    return _counted_by_two(clients, ["trial/same/#", "trial/same/#"], "trial/same/b")


@trial("Subscription that is not allowed")
def refused(clients):
    with clients.reporting("forbidden/#") as sensor:
        report = sensor.scan()
        if not report["ok"]:
            text = report["message"]["text"]
            return "refused" if "refused the subscription" in text else "cut off"
        clients.publish("forbidden/x", "secret")
        sensor.scan()
        sensor.scan()
        return "granted, nothing comes" if sensor.messages == 0 else "granted"


@trial("Another sensor of that connection")
def beside_refused(clients):
    clients.broker.kill()  # so that both filters are asked for together, when it is there again
    with clients.several() as sensors:
        for filter_ in ("trial/good", "forbidden/#"):
            sensors.create(filter_)
        clients.broker.start()

        def counts():
            clients.publish("trial/good", "x")
            return sensors.scan()[0][0]
        try:
            processes.eventually(counts, "message", 40)
        except TimeoutError:
            return "counts nothing"
        return "counts"


def _counted(clients, filter_, topic, payload):
    """Whether one published message is counted, once and in its size."""
    with clients.counting(filter_) as sensor:
        if not clients.publish(topic, payload):
            return "publisher cut off"
        with contextlib.suppress(TimeoutError):
            processes.eventually(lambda: sensor.scan() and sensor.messages, "message", 5)
        return _yes((sensor.messages, sensor.payload_bytes) == (1, len(payload)), "not received")


@trial("Topic of 65,535 bytes")
def long_topic(clients):
    start = "trial/long/"
    return _counted(clients, start + "#", start + "x" * (65_535 - len(start)), "abc")


@trial("Topic of 200 bytes")
def fairly_long_topic(clients):
    start = "trial/fair/"
    return _counted(clients, start + "#", start + "x" * (200 - len(start)), "abc")


@trial("Topic of 20 levels")
def deep_topic(clients):
    return _counted(clients, "trial/deep/#", "trial/deep" + "/x" * 18, "abc")


@trial("Topic with a full stop")
def full_stop(clients):
    return _counted(clients, "trial/dots/+/level", "trial/dots/tank.3/level", "abc")


@trial("Empty payload")
def empty_payload(clients):
    with clients.counting("trial/empty") as sensor:
        clients.publish("trial/empty", "")
        processes.eventually(lambda: sensor.scan() and sensor.messages, "message", 5)
        return _yes((sensor.messages, sensor.payload_bytes) == (1, 0), "no")


@trial("Payload of 1 MB")
def large_payload(clients):
    return _counted(clients, "trial/large", "trial/large", "x" * 1_000_000)


@trial("Nothing published for half a minute")
def quiet(clients):
    """The module asks a quiet broker whether it is still there, which must not disturb it."""
    with clients.counting("trial/quiet") as sensor:
        end = time.monotonic() + 35
        while time.monotonic() < end:
            report = sensor.scan()
            if not report["ok"] or "message" in report:
                return "lost"
        clients.publish("trial/quiet", "still")
        return _yes(sensor.until_bytes(5) == (1, 5), "not received")


@trial("Killed and started again")
def killed(clients):
    topic = "trial/again"
    with clients.counting(topic) as sensor:
        clients.publish(topic, "before")
        sensor.until_bytes(6)
        clients.broker.kill()
        report = processes.eventually(lambda: not (last := sensor.scan())["ok"] and last, "loss")
        if report["message"]["key"] != "error.connection_lost":
            return report["message"]["key"]
        clients.broker.start()
        processes.eventually(lambda: sensor.scan()["ok"], "connection", 90)
        clients.publish(topic, "behind")
        return _yes(sensor.until_bytes(12) == (2, 12), str((sensor.messages, sensor.payload_bytes)))
