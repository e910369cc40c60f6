# SPDX-License-Identifier: Apache-2.0
"""A client of the service daemon qscd, of the standard library alone.

    with qsc.Client() as router:
        print(router.get("Device.Time"))
        router.set({"Device.X_QRN_RemoteLog.Port": 5140})

docs/daemon.md describes the methods. A client belongs to one thread at a time.
"""

import json
import select
import socket
import time

SOCKET = "/var/run/qscd.sock"
LONGEST_LINE = 1024 * 1024


class Error(Exception):
    """What the daemon answered in the place of a result."""

    def __init__(self, error):
        super().__init__(error.get("message", ""))
        self.code = error.get("code")
        self.data = error.get("data", {})

    @property
    def failed(self):
        """The parameters that failed: dictionaries of path, message, code, cwmp and usp."""
        return self.data.get("failed", [])


class Values(dict):
    """Full paths and their values. `failed` lists the parameters of an object or a branch that cannot be read, as
    Error.failed does."""

    def __init__(self):
        super().__init__()
        self.failed = []


class Client:
    """A connection. Whatever waits is for at most `timeout` seconds; None: for ever."""

    def __init__(self, path=SOCKET, timeout=None, commander=None):
        self._timeout = timeout
        self._commander = commander
        self._last_id = 0
        self._buffer = b""
        self._events = []
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        try:
            self._socket.connect(path)
        except OSError:
            self._socket.close()
            raise

    def close(self):
        self._socket.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def fileno(self):
        """For select and its like: readable when an event may have come."""
        return self._socket.fileno()

    def call(self, method, **params):
        """Sends a request of any method and returns its result. Parameters that are None are left out."""
        self._last_id += 1
        number = self._last_id
        params = {name: value for name, value in params.items() if value is not None}
        message = {"jsonrpc": "2.0", "id": number, "method": method, "params": params}
        self._socket.sendall(json.dumps(message).encode() + b"\n")
        end = self._end(self._timeout)
        while True:
            answer = self._receive(end)
            if answer.get("method") == "event":
                self._events.append(answer["params"])
            elif answer.get("id") == number or answer.get("id") is None:
                if "error" in answer:
                    raise Error(answer["error"])
                return answer["result"]

    def get(self, *paths, depth=None):
        """Returns full paths and values as Values, however many answers they take."""
        values = Values()
        start = None
        while True:
            result = self.call("get", paths=list(paths), depth=depth, **{"from": start})
            values.update(result["values"])
            values.failed += result.get("failed", [])
            start = result.get("next")
            if start is None:
                return values

    def types(self, *paths):
        """Returns a dictionary of full paths and the names of their types."""
        return self.call("get", paths=list(paths), types=True)["types"]

    def set(self, values):
        """Stores a dictionary of full paths and values."""
        return self.call("set", values=values, commander=self._commander)

    def commit(self, path, *packages):
        """Makes what was stored permanent."""
        return self.call("commit", path=path, packages=list(packages) or None, commander=self._commander)

    def service(self, path, action="restart"):
        """Has the running programs follow."""
        return self.call("service", path=path, action=action, commander=self._commander)

    def plan(self, values, id=None):
        """Returns what apply() would do: nothing is written and nothing started."""
        return self.call("plan", values=values, id=id, commander=self._commander)["plan"]

    def apply(self, values, id=None, hash=None, confirm=None, checks=None, retries=None):
        """Makes all of it take effect, or nothing. With `confirm` (seconds) or `checks` the answer comes before services
        are restarted that may cut the line, and the change is taken back unless it is confirmed."""
        return self.call("apply", values=values, id=id, hash=hash, confirm=confirm, checks=checks, retries=retries,
                         commander=self._commander)

    def confirm(self, id):
        """Keeps a change that waits."""
        return self.call("confirm", id=id, commander=self._commander)

    def extend(self, id, seconds):
        """Lets it wait for so many seconds from now on."""
        return self.call("extend", id=id, seconds=seconds, commander=self._commander)

    def cancel(self, id):
        """Takes it back."""
        return self.call("cancel", id=id, commander=self._commander)

    def pending(self):
        """Returns {"pending": what waits, or None, "last": what became of the last}."""
        return self.call("pending")

    def list(self, path=None):
        return self.call("list", path=path)["tables"]

    def log(self, level=None, properties=None):
        return self.call("log", level=level, properties=properties)

    def stats(self):
        return self.call("stats")

    def subscribe(self, *paths, interval=None):
        """Subscribes and returns {"subscription", "sequence", "values"}; events() then yields what changes."""
        return self.call("subscribe", paths=list(paths), interval=interval)

    def unsubscribe(self, subscription):
        return self.call("unsubscribe", subscription=subscription)

    def events(self, timeout=None):
        """Yields events as they come, until none has come for `timeout` seconds."""
        while True:
            if self._events:
                yield self._events.pop(0)
                continue
            try:
                message = self._receive(self._end(timeout))
            except TimeoutError:
                return
            if message.get("method") == "event":
                yield message["params"]

    @staticmethod
    def _end(timeout):
        return None if timeout is None else time.monotonic() + timeout

    def _receive(self, end):
        while b"\n" not in self._buffer:
            left = None if end is None else max(0, end - time.monotonic())
            if not select.select([self._socket], [], [], left)[0]:
                raise TimeoutError("no answer came in time")
            part = self._socket.recv(65536)
            if not part:
                raise ConnectionError("the daemon has ended the connection")
            self._buffer += part
        line, _, self._buffer = self._buffer.partition(b"\n")
        return json.loads(line)
