"""A kestd of the test's own on a private socket, a users file, and vg-webd
on a free loopback port against them; calls to its API as a browser makes them."""
import http.client
import json
import os
import subprocess
import tempfile
import urllib.parse

USERS = {"admin": ("admin-pass-1", "admin"), "viewer": ("viewer-pass-1", "viewer")}


class Session:
    """A logged-in client: its cookie and its CSRF token."""

    def __init__(self, console, cookie, csrf):
        self.console, self.cookie, self.csrf = console, cookie, csrf

    def call(self, method, **params):
        """The call's (HTTP status, JSON-RPC answer)."""
        return self.console.rpc(method, params, cookie=self.cookie, csrf=self.csrf)

    def result(self, method, **params):
        status, answer = self.call(method, **params)
        if "result" not in answer:
            raise AssertionError("%s: HTTP %d %s\nvg-webd said: %s" % (method, status, answer,
                                                                         self.console.log()[-2000:]))
        return answer["result"]


class Console:
    def __init__(self, webd, kestd, www, *args, users=USERS):
        self.webd, self.kestd = webd, kestd
        self.dir = tempfile.TemporaryDirectory(prefix="vg-webd-")
        self.sock = self.path("kest.sock")
        self.users = self.path("users")
        self.audit = self.path("audit.log")
        self.stderr = open(self.path("webd.err"), "w+")
        self.kest = subprocess.Popen([kestd, "--socket", self.sock], stdout=subprocess.PIPE,
                                     stderr=subprocess.DEVNULL, text=True)
        if self.kest.stdout.readline().strip() != "kestd listening on " + self.sock:
            raise RuntimeError("kestd did not start")
        for name, (password, role) in users.items():
            subprocess.run([webd, "passwd", "--users", self.users, name, "--role", role], input=password + "\n",
                           check=True, capture_output=True, text=True)
        self.proc = subprocess.Popen([webd, "--users", self.users, "--socket", self.sock, "--state-dir",
                                      self.path("state"), "--listen", "127.0.0.1:0", "--www", www,
                                      "--audit-log", self.audit, *args],
                                     stdout=subprocess.PIPE, stderr=self.stderr, text=True)
        line = self.proc.stdout.readline().strip()
        if not line.startswith("vg-webd listening on "):
            self.stop()
            raise RuntimeError("vg-webd did not start: " + line + self.log())
        self.proc.stdout.close()  # as a shell's `| head -1` would: the console must not mind
        self.url = line.split()[-1]
        parts = urllib.parse.urlsplit(self.url)
        self.scheme, self.host, self.port = parts.scheme, parts.hostname, parts.port

    def path(self, name):
        return os.path.join(self.dir.name, name)

    def log(self):
        self.stderr.flush()
        with open(self.stderr.name) as f:
            return f.read()

    def env(self):
        """The environment of a vg-mgmt on the same module and state."""
        return dict(os.environ, VG_KEST_SOCKET=self.sock, VG_MGMT_STATE_DIR=self.path("state"))

    def kestctl(self, *words):
        kestctl = os.path.join(os.path.dirname(self.kestd), "kestctl")
        subprocess.run([kestctl, "--socket", self.sock, *words], check=True, capture_output=True, timeout=30)

    def connection(self, timeout=60, source=None):
        if self.scheme == "https":
            import ssl
            return http.client.HTTPSConnection(self.host, self.port, timeout=timeout,
                                               context=ssl._create_unverified_context(),
                                               source_address=source)
        return http.client.HTTPConnection(self.host, self.port, timeout=timeout, source_address=source)

    def request(self, method, path, body=None, headers=None, source=None):
        """(status, headers, body bytes) of one request."""
        c = self.connection(source=source)
        try:
            c.request(method, path, body=body, headers=headers or {})
            r = c.getresponse()
            return r.status, r.headers, r.read()
        finally:
            c.close()

    def rpc(self, method, params=None, cookie=None, csrf=None, origin=True, source=None, raw=None):
        """A JSON-RPC call as the page makes it: (HTTP status, answer)."""
        headers = {"Content-Type": "application/json"}
        if origin:
            headers["Origin"] = self.url if origin is True else origin
        if cookie:
            headers["Cookie"] = "vg_session=" + cookie
        if csrf:
            headers["X-CSRF-Token"] = csrf
        body = raw if raw is not None else json.dumps(
            {"jsonrpc": "2.0", "id": 1, "method": method, "params": params or {}})
        status, h, data = self.request("POST", "/api", body, headers, source)
        self.last_headers = h
        return status, json.loads(data)

    def login(self, name, password=None, source=None):
        status, answer = self.rpc("session.login", {"username": name, "password": password or USERS[name][0]},
                                  source=source)
        if status != 200:
            raise AssertionError("login of %s: %d %s" % (name, status, answer))
        cookie = self.last_headers["Set-Cookie"].split(";")[0].split("=", 1)[1]
        return Session(self, cookie, answer["result"]["csrf"])

    def stop(self):
        for p in (getattr(self, "proc", None), self.kest):
            if p is not None and p.poll() is None:
                p.terminate()
                try:
                    p.wait(timeout=20)
                except subprocess.TimeoutExpired:
                    p.kill()
                    p.wait()
            if p is not None and p.stdout:
                p.stdout.close()
        self.stderr.close()
        self.dir.cleanup()
