"""How the broker of each maker is started: private files, loopback ports, one user, one forbidden topic.

The user may do everything below trial/ and TRAVO/ and must not read below forbidden/. Who gives no
name is let in as well.
"""

import json
import os
import pathlib
import re
import subprocess

import processes

USER, PASSWORD = "monitor", "right"


class Broker:
    """A broker that can be started, killed and started again with what it kept on disk."""

    name = ""

    def __init__(self, directory, certificates):
        self.directory = pathlib.Path(directory)
        self.certificates = certificates
        self.port = processes.free_port()
        self.tls_port = processes.free_port()
        self.process = None
        self.write_configuration()

    def write_configuration(self):
        raise NotImplementedError

    def command(self):
        raise NotImplementedError

    def environment(self):
        return {}

    def version(self):
        raise NotImplementedError

    def is_ready(self):
        return processes.listens(self.port) and processes.listens(self.tls_port)

    def write(self, name, text):
        path = self.directory / name
        path.write_text(text)
        return path

    def start(self):
        with open(self.directory / "log", "ab") as log:
            self.process = processes.start(
                self.command(), cwd=self.directory, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                env=os.environ | {"HOME": str(self.directory)} | self.environment())
        try:
            processes.eventually(self._started, f"start of {self.name}", 120)
        except (TimeoutError, RuntimeError):
            print((self.directory / "log").read_text(errors="replace")[-2000:])
            raise

    def _started(self):
        if self.process.poll() is not None:
            raise RuntimeError(f"{self.name} ended by itself")
        return self.is_ready()

    def kill(self):
        if self.process is not None:
            processes.kill(self.process)
            self.process = None

    stop = kill


class Mosquitto(Broker):
    name = "mosquitto"

    def write_configuration(self):
        passwords = self.directory / "passwords"
        subprocess.run(["mosquitto_passwd", "-b", "-c", passwords, USER, PASSWORD],
                       check=True, capture_output=True)
        self.write("acl", f"user {USER}\ntopic readwrite #\ntopic deny forbidden/#\n")
        self.write("conf", f"""user root
password_file {passwords}
allow_anonymous true
acl_file {self.directory}/acl
listener {self.port} 127.0.0.1
listener {self.tls_port} 127.0.0.1
certfile {self.certificates}/server.pem
keyfile {self.certificates}/server.key
""")

    def command(self):
        return ["/usr/sbin/mosquitto", "-c", self.directory / "conf"]

    def version(self):
        return _debian_version("mosquitto")


class RabbitMq(Broker):
    """Erlang's name service, which it cannot do without, is a process of its own here."""

    name = "rabbitmq"

    def write_configuration(self):
        self.names_port, self.node_port = processes.free_port(), processes.free_port()
        self.names = None
        self.write("enabled_plugins", "[rabbitmq_mqtt].")
        definitions = self.write("definitions.json", json.dumps({
            "vhosts": [{"name": "/"}],
            "users": [{"name": USER, "password": PASSWORD, "tags": ""}],
            "permissions": [{"user": USER, "vhost": "/", "configure": ".*", "write": ".*",
                             "read": ".*"}],
            "topic_permissions": [{"user": USER, "vhost": "/", "exchange": "amq.topic",
                                   "write": ".*", "read": r"^(trial|TRAVO)\..*"}]}))
        self.write("rabbitmq.conf", f"""listeners.tcp = none
log.console = true
log.file = false
load_definitions = {definitions}
mqtt.allow_anonymous = true
mqtt.default_user = {USER}
mqtt.default_pass = {PASSWORD}
mqtt.listeners.tcp.1 = 127.0.0.1:{self.port}
mqtt.listeners.ssl.1 = 127.0.0.1:{self.tls_port}
ssl_options.cacertfile = {self.certificates}/ca.pem
ssl_options.certfile = {self.certificates}/server.pem
ssl_options.keyfile = {self.certificates}/server.key
""")

    def command(self):
        return ["/usr/lib/rabbitmq/bin/rabbitmq-server", "-noinput"]

    def environment(self):
        here = self.directory
        return {
            "ERL_EPMD_ADDRESS": "127.0.0.1",
            "ERL_EPMD_PORT": str(self.names_port),
            "RABBITMQ_ALLOW_INPUT": "1",  # the server itself, without a shell in front of it
            "RABBITMQ_CONF_ENV_FILE": "/dev/null",
            "RABBITMQ_CONFIG_FILE": str(here / "rabbitmq"),
            "RABBITMQ_DIST_PORT": str(self.node_port),
            "RABBITMQ_ENABLED_PLUGINS_FILE": str(here / "enabled_plugins"),
            "RABBITMQ_LOG_BASE": str(here),
            "RABBITMQ_MNESIA_BASE": str(here / "data"),
            "RABBITMQ_NODENAME": "trial@localhost",
            "RABBITMQ_PID_FILE": str(here / "pid"),
            "RABBITMQ_SERVER_ADDITIONAL_ERL_ARGS":
                "-start_epmd false -kernel inet_dist_use_interface {127,0,0,1}",
        }

    def start(self):
        if self.names is None:
            self.names = processes.start(
                ["epmd", "-address", "127.0.0.1", "-port", str(self.names_port)],
                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            processes.eventually(lambda: processes.listens(self.names_port), "start of epmd")
        super().start()

    def is_ready(self):
        # It listens before it knows its users.
        log = (self.directory / "log").read_text(errors="replace")
        return super().is_ready() and "Server startup complete" in log.rpartition("Starting RabbitMQ")[2]

    def stop(self):
        self.kill()
        if self.names is not None:
            processes.kill(self.names)
            self.names = None

    def version(self):
        return _debian_version("rabbitmq-server")


class Ejabberd(Broker):
    """Started without Erlang's distribution, so it needs no name service."""

    name = "ejabberd"

    def write_configuration(self):
        both = self.write("server_and_key.pem", "".join(
            (self.certificates / part).read_text() for part in ("server.pem", "server.key")))
        self.write("ejabberd.yml", f"""hosts: [localhost]
loglevel: info
certfiles: ["{both}"]
ca_file: "{self.certificates}/ca.pem"
auth_method: [internal, anonymous]
anonymous_protocol: login_anon
listen:
  - {{port: {self.port}, ip: "127.0.0.1", module: mod_mqtt}}
  - {{port: {self.tls_port}, ip: "127.0.0.1", module: mod_mqtt, tls: true}}
access_rules:
  everybody: {{allow: all}}
modules:
  mod_mqtt:
    access_subscribe: {{"trial/#": everybody, "TRAVO/#": everybody}}
""")

    def command(self):
        user = f'ejabberd_auth:try_register(<<"{USER}">>, <<"localhost">>, <<"{PASSWORD}">>)'
        return ["erl", "-noinput", "-mnesia", "dir", f'"{self.directory}/data"', "-s", "ejabberd",
                "-eval", f'{user}, file:write_file("ready", <<>>).']

    def environment(self):
        library = next(pathlib.Path("/usr/lib").glob("*/ejabberd-[0-9]*"))
        return {"EJABBERD_CONFIG_PATH": str(self.directory / "ejabberd.yml"),
                "EJABBERD_LOG_PATH": str(self.directory / "ejabberd.log"),
                "ERL_CRASH_DUMP": "/dev/null",
                "ERL_LIBS": str(library.parent)}

    def start(self):
        (self.directory / "ready").unlink(missing_ok=True)
        super().start()

    def is_ready(self):
        return super().is_ready() and (self.directory / "ready").exists()

    def version(self):
        return _debian_version("ejabberd")


class Aedes(Broker):
    """A library for Node.js; the few lines that make a broker of it are beside this file."""

    name = "aedes"
    modules = pathlib.Path(__file__).resolve().parents[2] / "build" / "brokers"

    def write_configuration(self):
        here = pathlib.Path(__file__).parent
        # Node.js looks for modules from the file on, upwards.
        self.program = self.modules / "aedes_broker.mjs"
        self.program.write_text((here / "aedes_broker.mjs").read_text())

    def command(self):
        return ["node", self.program, str(self.port), str(self.tls_port), str(self.certificates),
                USER, PASSWORD]

    def version(self):
        package = json.loads((self.modules / "node_modules/aedes/package.json").read_text())
        node = subprocess.run(["node", "--version"], capture_output=True, text=True).stdout
        return f"{package['version']} on Node.js {node.strip().lstrip('v')}"

    @classmethod
    def install(cls):
        shown = subprocess.run(["node", "--version"], capture_output=True, text=True).stdout.strip()
        if int(shown.lstrip("v").partition(".")[0]) < 20:
            raise RuntimeError(f"aedes needs Node.js 20, which Debian 13 has; this is {shown}")
        if not (cls.modules / "node_modules/aedes").exists():
            cls.modules.mkdir(parents=True, exist_ok=True)
            subprocess.run(["npm", "install", "--prefix", cls.modules, "--no-audit", "--no-fund",
                            "--loglevel=error", "aedes@1"], check=True, stdout=subprocess.DEVNULL)


ALL = [Mosquitto, RabbitMq, Ejabberd, Aedes]


def _debian_version(package):
    shown = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package],
                           capture_output=True, text=True).stdout
    return re.sub(r"^\d+:|[-+].*", "", shown)


def make_certificates(directory):
    """An authority, a server's certificate by it for 127.0.0.1, and a stranger authority."""

    def openssl(*arguments):
        subprocess.run(["openssl", *arguments], cwd=directory, check=True, capture_output=True)

    key = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes"]
    for authority in ("ca", "stranger"):
        openssl("req", "-x509", *key, "-days", "2", "-subj", f"/CN={authority}",
                "-keyout", f"{authority}.key", "-out", f"{authority}.pem")
    openssl("req", *key, "-subj", "/CN=127.0.0.1", "-keyout", "server.key", "-out", "server.csr")
    (directory / "extensions").write_text("subjectAltName=IP:127.0.0.1\n")
    openssl("x509", "-req", "-in", "server.csr", "-CA", "ca.pem", "-CAkey", "ca.key",
            "-CAcreateserial", "-days", "2", "-extfile", "extensions", "-out", "server.pem")
