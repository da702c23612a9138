"""Processes that never outlive this one, and waiting with a deadline."""

import contextlib
import ctypes
import os
import signal
import socket
import subprocess
import time

_libc = ctypes.CDLL(None)
_kill_with_parent = 1  # PR_SET_PDEATHSIG


def _die_with_parent():
    _libc.prctl(_kill_with_parent, signal.SIGKILL)


def start(command, **options):
    """Starts a process in a group of its own; the kernel kills it if this program is killed."""
    return subprocess.Popen(
        command, start_new_session=True, preexec_fn=_die_with_parent, **options)


def kill(process):
    """Kills a process with its group and waits for its end."""
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, signal.SIGKILL)
    process.wait()


def eventually(condition, what, seconds=20.0):
    """Polls until the condition gives something true, which is returned; TimeoutError after that."""
    deadline = time.monotonic() + seconds
    while not (found := condition()):
        if time.monotonic() > deadline:
            raise TimeoutError(f"no {what} within {seconds:g} s")
        time.sleep(0.05)
    return found


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def listens(port):
    with socket.socket() as probe:
        return probe.connect_ex(("127.0.0.1", port)) == 0
