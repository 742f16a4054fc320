"""vg-webd's API as clients use it and as strangers abuse it: sessions,
roles, CSRF and Origin, limits, JSON-RPC errors, the safe apply with
confirm or revert, events, metrics, and secrets kept from viewers and logs.

Run by CTest: pytest with VG_WEBD, KESTD and VG_WEBD_WWW in the environment."""
import json
import os
import shutil
import socket
import subprocess
import threading
import time

import pytest

from webd_harness import Console

WEBD, KESTD, WWW = os.environ["VG_WEBD"], os.environ["KESTD"], os.environ["VG_WEBD_WWW"]
CHANNEL = ("wifi", "interfaces", "1", "channel")
PASSWORD = ("wifi", "interfaces", "1", "auth", "password")
SECRET = "never-shown-passphrase-42"


def edited(doc, path, value):
    node = doc
    for k in path[:-1]:
        node = node[k]
    node[path[-1]] = value
    return doc


def value_at(doc, path):
    for k in path:
        doc = doc[k]
    return doc


@pytest.fixture
def console(request):
    args = getattr(request, "param", ())
    c = Console(WEBD, KESTD, WWW, *args)
    yield c
    c.stop()


@pytest.fixture
def admin(console):
    return console.login("admin")


# --- who may call what ------------------------------------------------------------------------

# (method, caller: None no session, "viewer", "admin"; how it calls: "ok", "no-csrf", "bad-csrf",
#  "no-origin", "bad-origin"; HTTP status and JSON-RPC error code, or 200 and None)
ACCESS = [
    ("status", None, "ok", 401, 401),
    ("session.info", None, "ok", 401, 401),
    ("status", "viewer", "ok", 200, None),
    ("config.export", "viewer", "ok", 200, None),
    ("config.history", "viewer", "ok", 200, None),
    ("config.apply", "viewer", "ok", 403, 403),
    ("config.rollback", "viewer", "ok", 403, 403),
    ("config.confirm", "viewer", "ok", 403, 403),
    ("config.revert", "viewer", "ok", 403, 403),
    ("status", "admin", "no-csrf", 403, 403),
    ("status", "admin", "bad-csrf", 403, 403),
    ("config.confirm", "admin", "no-origin", 403, 403),
    ("config.confirm", "admin", "bad-origin", 403, 403),
    ("session.info", "admin", "no-csrf", 200, None),
    ("config.confirm", "admin", "ok", 200, 1),  # allowed; nothing awaits confirmation
]


def test_who_may_call_what(console):
    sessions = {name: console.login(name) for name in ("viewer", "admin")}
    doc = sessions["admin"].result("config.export")
    for method, who, how, http, code in ACCESS:
        s = sessions.get(who)
        csrf = {"no-csrf": None, "bad-csrf": "0" * 32}.get(how, s.csrf if s else None)
        origin = {"no-origin": False, "bad-origin": "http://evil.example"}.get(how, True)
        params = {"document": doc} if method == "config.apply" else {}
        status, answer = console.rpc(method, params, cookie=s.cookie if s else None, csrf=csrf, origin=origin)
        row = (method, who, how)
        assert status == http, (row, answer)
        assert answer.get("error", {}).get("code") == code, (row, answer)
        assert ("result" in answer) == (code is None), (row, answer)


def test_login_sets_a_safe_cookie_and_a_wrong_password_gets_none(console):
    status, answer = console.rpc("session.login", {"username": "admin", "password": "wrong-password"})
    assert (status, answer["error"]["code"]) == (401, 401)
    assert "Set-Cookie" not in console.last_headers
    status, answer = console.rpc("session.login", {"username": "nobody", "password": "admin-pass-1"})
    assert status == 401 and answer["error"]["message"] == "wrong user name or password"
    status, answer = console.rpc("session.login", {"username": "admin", "password": "admin-pass-1"},
                                 origin="http://evil.example")
    assert status == 403
    status, answer = console.rpc("session.login", {"username": "admin", "password": "admin-pass-1"})
    cookie = console.last_headers["Set-Cookie"]
    for attribute in ("HttpOnly", "SameSite=Strict", "Path=/"):
        assert attribute in cookie
    assert "Secure" not in cookie  # plain HTTP on loopback
    token = cookie.split(";")[0].split("=", 1)[1]
    assert len(token) == 32 and int(token, 16) >= 0 and answer["result"]["csrf"] != token
    assert answer["result"]["role"] == "admin"
    session = console.login("admin")
    assert session.result("session.logout") == {}
    assert session.call("status")[0] == 401


def test_failed_logins_are_slowed_per_address_and_per_user(console):
    for _ in range(4):
        console.rpc("session.login", {"username": "admin", "password": "wrong-password"})
    status, answer = console.rpc("session.login", {"username": "admin", "password": "admin-pass-1"})
    assert (status, answer["error"]["code"]) == (429, 429), answer
    assert int(console.last_headers["Retry-After"]) >= 1
    # Another address for the same user waits too; another user from that address too.
    status, _ = console.rpc("session.login", {"username": "admin", "password": "admin-pass-1"},
                            source=("127.0.0.2", 0))
    assert status == 429
    status, _ = console.rpc("session.login", {"username": "viewer", "password": "viewer-pass-1"})
    assert status == 429
    status, _ = console.rpc("session.login", {"username": "viewer", "password": "viewer-pass-1"},
                            source=("127.0.0.3", 0))
    assert status == 200
    time.sleep(int(console.last_headers.get("Retry-After", "0")) + 2.5)
    assert console.login("admin")


@pytest.mark.parametrize("console", [("--session-idle", "2", "--session-max", "4")], indirect=True)
def test_sessions_expire_when_idle_and_at_their_age(console):
    idle, busy = console.login("viewer"), console.login("viewer")
    for _ in range(3):
        time.sleep(1)
        assert busy.call("status")[0] == 200
    assert idle.call("status")[0] == 401
    time.sleep(1.5)
    assert busy.call("status")[0] == 401


# --- what a stranger may send --------------------------------------------------------------

def test_malformed_calls_are_json_rpc_errors_and_the_server_goes_on(console, admin):
    rows = [
        ("{not json", -32700),
        ('{"jsonrpc": "2.0", "id": 1, "method": "status", "method": "status"}', -32700),
        ("[" * 100000, -32700),
        ('[{"jsonrpc": "2.0", "id": 1, "method": "status"}]', -32600),
        ('{"jsonrpc": "1.0", "id": 1, "method": "status"}', -32600),
        ('{"jsonrpc": "2.0", "id": 1, "method": 7}', -32600),
        ('{"jsonrpc": "2.0", "id": 1, "method": "status", "params": [1]}', -32600),
        ('{"jsonrpc": "2.0", "id": 1, "method": "no.such"}', -32601),
        ('{"jsonrpc": "2.0", "id": 1, "method": "config.apply", "params": {"document": 5}}', -32602),
        ('{"jsonrpc": "2.0", "id": 1, "method": "config.apply", "params": {"document": {}, "confirm": -1}}',
         -32602),
        ('{"jsonrpc": "2.0", "id": 1, "method": "config.rollback", "params": {"n": 11}}', -32602),
        ('{"jsonrpc": "2.0", "id": 1, "method": "config.apply", "params": {"document": "{\\"a\\": 1, \\"a\\": 2}"}}',
         2),
        ('{"jsonrpc": "2.0", "id": 1, "method": "config.validate", "params": {"document": {"wifi": 1}}}', 2),
        ('{"jsonrpc": 2, "id": 1, "method": "status"}', -32600),
        ('{"jsonrpc": "2.0", "id": 1}', -32600),
        ('{"jsonrpc": "2.0", "id": 1, "method": "config.export", "params": {"show_secrets": "yes"}}', -32602),
        ('{"jsonrpc": "2.0", "id": 1, "method": "session.login", "params": {"username": 5, "password": []}}',
         -32602),
    ]
    for body, code in rows:
        status, answer = console.rpc(None, raw=body, cookie=admin.cookie, csrf=admin.csrf)
        assert answer["error"]["code"] == code, (body[:80], answer)
        assert "result" not in answer
    assert admin.result("status")["service"]["reachable"] is True


def status_of_upload(console, head, chunks):
    """The status a raw request gets; the server may answer and close before the body is sent."""
    s = socket.create_connection((console.host, console.port), timeout=30)
    try:
        s.sendall(head)
        for chunk in chunks:
            s.sendall(chunk)
    except (BrokenPipeError, ConnectionResetError):
        pass
    answer = b""
    try:
        while b"\r\n" not in answer:
            got = s.recv(4096)
            if not got:
                break
            answer += got
    except ConnectionResetError:
        pass
    s.close()
    return int(answer.split(b" ")[1]) if answer.startswith(b"HTTP/") else None


def test_bodies_headers_and_connections_are_bounded(console, admin):
    size = 2 << 20
    head = b"POST /api HTTP/1.1\r\nHost: x\r\nContent-Length: %d\r\n\r\n" % size
    assert status_of_upload(console, head, [b"a" * size]) == 413
    head = b"POST /api HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n"
    chunks = [b"10000\r\n" + b"a" * 0x10000 + b"\r\n"] * 40 + [b"0\r\n\r\n"]
    assert status_of_upload(console, head, chunks) == 413  # no length given: counted as it comes
    head = b"GET / HTTP/1.1\r\nHost: x\r\nX-Big: " + b"a" * 65536 + b"\r\n\r\n"
    assert status_of_upload(console, head, []) in (413, 431)
    held = [socket.create_connection((console.host, console.port)) for _ in range(40)]
    refused = 0
    for s in held:  # more than one address may hold: the later ones are closed at once
        s.settimeout(5)
        try:
            refused += s.recv(1) == b""
        except socket.timeout:
            pass
    assert refused > 0
    for s in held:
        s.close()
    assert admin.result("status")["service"]["reachable"] is True


@pytest.mark.parametrize("console", [("--client-timeout", "2")], indirect=True)
def test_a_slow_client_is_dropped(console):
    s = socket.create_connection((console.host, console.port))
    s.sendall(b"GET / HTTP/1.1\r\nHost: x\r\n")  # and then nothing
    s.settimeout(15)
    started = time.monotonic()
    assert s.recv(100) == b""
    assert time.monotonic() - started < 10
    s.close()


def test_only_the_pages_own_files_are_served(console):
    assert console.request("GET", "/")[0] == 200
    secret = os.path.join(console.dir.name, "secret.txt")
    with open(secret, "w") as f:
        f.write("not for the web")
    www = os.path.join(console.dir.name, "www")
    os.mkdir(www)
    os.symlink(secret, os.path.join(www, "link.html"))
    for path in ["/../users", "/%2e%2e/users", "/..%2fusers", "/.hidden", "/index.html/..", "//etc/passwd",
                 "/users", "/link.html"]:
        status, _, body = console.request("GET", path)
        assert status == 404 and b"not for the web" not in body and b"$y$" not in body, path
    status, headers, _ = console.request("GET", "/")
    assert "frame-ancestors 'none'" in headers["Content-Security-Policy"]
    assert console.request("DELETE", "/api")[0] == 405


# --- the safe apply ------------------------------------------------------------------------------------

def events_of(console, cookie, seconds, found, last_id=None):
    """Reads /api/events until found(list) holds or seconds pass."""
    c = console.connection(timeout=seconds)
    headers = {"Cookie": "vg_session=" + cookie}
    if last_id is not None:
        headers["Last-Event-ID"] = str(last_id)
    c.request("GET", "/api/events", headers=headers)
    r = c.getresponse()
    assert r.status == 200 and r.headers["Content-Type"] == "text/event-stream"
    seen, kind, end = [], None, time.monotonic() + seconds
    try:
        while time.monotonic() < end and not found(seen):
            line = r.fp.readline().decode().rstrip("\n")
            if line.startswith("id: "):
                console.last_event_id = int(line[4:])
            elif line.startswith("event: "):
                kind = line[7:]
            elif line.startswith("data: "):
                seen.append((kind, json.loads(line[6:])))
    except (socket.timeout, TimeoutError):
        pass
    c.close()
    return seen


def test_an_apply_confirmed_stays_and_one_left_unconfirmed_is_reverted(console, admin):
    before = admin.result("config.export")
    doc = edited(json.loads(json.dumps(before)), CHANNEL, 11)
    assert admin.result("config.diff", document=doc)["changes"] == [
        {"path": ".".join(CHANNEL), "old": 6, "new": 11}]
    result = admin.result("config.apply", document=doc, confirm=30)
    assert result["changed"] and "reverted in 30 s" in result["message"]
    assert admin.result("status")["config"]["pending"] is True
    assert admin.result("config.confirm")["status"] == 0
    assert value_at(admin.result("config.export"), CHANNEL) == 11
    assert admin.call("config.confirm")[1]["error"]["code"] == 1  # nothing awaits any more

    listener = []
    t = threading.Thread(target=lambda: listener.extend(events_of(
        console, admin.cookie, 20, lambda seen: any(d.get("what") == "reverted" for k, d in seen))))
    t.start()
    time.sleep(0.5)
    result = admin.result("config.apply", document=edited(doc, CHANNEL, 1), confirm=2)
    assert value_at(admin.result("config.export"), CHANNEL) == 1
    t.join()
    assert ("config", "reverted") in [(k, d.get("what")) for k, d in listener], listener
    assert value_at(admin.result("config.export"), CHANNEL) == 11
    history = admin.result("config.history")["history"]
    assert len(history) >= 2


def test_rollback_applies_back_what_an_apply_replaced(console, admin):
    admin.result("config.apply", document=edited(admin.result("config.export"), CHANNEL, 11), confirm=0)
    assert admin.call("config.rollback", n=0)[1]["error"]["code"] == -32602
    assert admin.result("config.rollback", confirm=0)["changed"] is True  # n: the last apply by default
    assert value_at(admin.result("config.export"), CHANNEL) == 6


def test_revert_puts_the_change_back_now(console, admin):
    doc = edited(admin.result("config.export"), CHANNEL, 11)
    admin.result("config.apply", document=doc, confirm=600)
    output = admin.result("config.revert")["output"]
    assert output and output[0].startswith("reverted: ")
    assert value_at(admin.result("config.export"), CHANNEL) == 6
    assert admin.call("config.revert")[1]["error"]["code"] == 1


def test_a_service_fault_during_an_apply_is_undone(console, admin):
    doc = edited(admin.result("config.export"), CHANNEL, 11)
    doc["usb"]["product"] = "Refused Product"
    console.kestctl("fail", "usb", "product", "set", "103")
    status, answer = admin.call("config.apply", document=doc, confirm=0)
    assert answer["error"]["code"] == 1, answer
    assert "undone" in answer["error"]["message"] or "as it was" in answer["error"]["message"], answer
    assert value_at(admin.result("config.export"), CHANNEL) == 6


# --- what is kept from viewers and logs -------------------------------------------------------------

def test_secrets_never_reach_a_viewer_nor_a_log(console, admin):
    admin.result("config.apply", document=edited(admin.result("config.export"), PASSWORD, SECRET), confirm=0)
    assert value_at(admin.result("config.export", show_secrets=True), PASSWORD) == SECRET
    viewer = console.login("viewer")
    assert viewer.call("config.export", show_secrets=True)[0] == 403
    assert viewer.call("status", show_secrets=True)[0] == 403
    doc = viewer.result("config.export")
    answers = [doc, viewer.result("status"), viewer.result("config.history"),
               viewer.result("config.diff", document=edited(json.loads(json.dumps(doc)), PASSWORD, "x" * 12))]
    seen = events_of(console, viewer.cookie, 3, lambda s: False)
    metrics = console.request("GET", "/metrics", headers={"Cookie": "vg_session=" + viewer.cookie})[2].decode()
    admin.result("config.apply", document=edited(admin.result("config.export"), PASSWORD, SECRET + "-2"), confirm=0)
    with open(console.audit) as f:
        audit = f.read()
    assert ".".join(PASSWORD) in audit  # the path is named, never the value
    for text in [json.dumps(a) for a in answers] + [json.dumps(seen), metrics, audit, console.log()]:
        assert SECRET not in text


# --- metrics and events ------------------------------------------------------------------------------

@pytest.mark.skipif(shutil.which("promtool") is None, reason="promtool (Debian package prometheus) is missing")
def test_metrics_pass_promtool_and_need_a_session_or_the_token(console, admin):
    assert console.request("GET", "/metrics")[0] == 401
    console.kestctl("sta-join", "1", "02:00:00:00:00:01")
    status, _, body = console.request("GET", "/metrics", headers={"Cookie": "vg_session=" + admin.cookie})
    assert status == 200
    text = body.decode()
    assert 'vg_wifi_stations{interface="1"} 1' in text and "vg_service_up 1" in text
    check = subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True, text=True)
    assert check.returncode == 0, check.stdout + check.stderr


def test_a_station_joining_is_an_event(console, admin):
    t = threading.Timer(0.5, console.kestctl, ("sta-join", "2", "02:00:00:00:00:02"))
    t.start()
    seen = events_of(console, admin.cookie, 10, lambda s: any(k == "station" for k, d in s))
    t.join()
    assert [d for k, d in seen if k == "station"][0]["mac"] == "02:00:00:00:00:02", seen
    # A stream that comes back gets what happened while it was away.
    seen_id = console.last_event_id
    console.kestctl("sta-leave", "02:00:00:00:00:02")
    time.sleep(0.5)
    again = events_of(console, admin.cookie, 5, lambda s: any(k == "station" for k, d in s), last_id=seen_id)
    assert [d["action"] for k, d in again if k == "station"] == ["left"], again


# --- how it starts ----------------------------------------------------------------------------------

def start_problem(tmp_path, users_text, mode, *args):
    """What vg-webd says when it refuses to start with such a users file."""
    users = tmp_path / "users"
    if users_text is not None:
        users.write_text(users_text)
        users.chmod(mode)
    p = subprocess.run([WEBD, "--users", str(users), "--listen", "127.0.0.1:0", "--www", WWW, *args],
                       capture_output=True, text=True, timeout=30)
    return p.returncode, p.stderr


def test_it_refuses_to_start_without_a_safe_users_file_holding_an_admin(tmp_path):
    subprocess.run([WEBD, "passwd", "--users", str(tmp_path / "made"), "someone"], input="viewer-pass-1\n",
                   check=True, capture_output=True, text=True)
    assert oct((tmp_path / "made").stat().st_mode & 0o777) == "0o600"
    viewer_only = (tmp_path / "made").read_text()
    rows = [
        (None, 0o600, "No such file"),
        (viewer_only, 0o600, "has no admin: there is no default password"),
        (viewer_only.replace("someone:viewer", "someone:admin"), 0o620, "others may read or change it"),
        (viewer_only.replace("someone:viewer", "someone:admin"), 0o604, "others may read or change it"),
        ("admin:admin:plain-text\n", 0o600, "line 1 is not"),
    ]
    for text, mode, said in rows:
        rc, err = start_problem(tmp_path, text, mode)
        assert rc == 2 and said in err, (said, err)
    admin = viewer_only.replace("someone:viewer", "someone:admin")
    for option in (["--max-clients", "1025"], ["--max-clients", "3"], ["--session-idle", "0"], ["--listen", "8080"],
                   ["--listen", "localhost:80"]):
        rc, err = start_problem(tmp_path, admin, 0o600, *option)
        assert rc == 2 and option[0] in err, (option, err)
    p = subprocess.run([WEBD, "--listen", "127.0.0.1:0"], capture_output=True, text=True, timeout=30)
    assert p.returncode == 2 and "--users FILE is needed" in p.stderr
    for name, password, said in [("someone", "short", "at least 10"), ("bad name", "long-enough-1", "user name")]:
        p = subprocess.run([WEBD, "passwd", "--users", str(tmp_path / "made"), name], input=password + "\n",
                           capture_output=True, text=True)
        assert p.returncode == 2 and said in p.stderr
    assert (tmp_path / "made").read_text() == viewer_only  # refused: unchanged


@pytest.mark.skipif(shutil.which("openssl") is None, reason="openssl makes the test certificate")
def test_tls_serves_https_with_a_secure_cookie(tmp_path):
    key, cert = tmp_path / "key.pem", tmp_path / "cert.pem"
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj",
                    "/CN=127.0.0.1", "-keyout", str(key), "-out", str(cert)], check=True, capture_output=True)
    subprocess.run([WEBD, "passwd", "--users", str(tmp_path / "admins"), "root", "--role", "admin"],
                   input="admin-pass-1\n", check=True, capture_output=True, text=True)
    key.chmod(0o644)
    rc, err = start_problem(tmp_path, (tmp_path / "admins").read_text(), 0o600, "--cert", str(cert), "--key", str(key))
    key.chmod(0o600)
    c = Console(WEBD, KESTD, WWW, "--cert", str(cert), "--key", str(key))
    try:
        assert c.url.startswith("https://")
        c.login("viewer")
        assert "Secure" in c.last_headers["Set-Cookie"]
    finally:
        c.stop()
    assert rc == 2 and "key.pem: others may read" in err, err


def test_the_revert_happens_when_the_console_is_gone(console, admin):
    admin.result("config.apply", document=edited(admin.result("config.export"), CHANNEL, 11), confirm=2)
    console.proc.terminate()
    assert console.proc.wait(timeout=20) == 0
    deadline = time.monotonic() + 20
    while time.monotonic() < deadline:
        out = subprocess.run([os.path.join(os.path.dirname(WEBD), "vg-mgmt"), "config", "export"],
                             env=console.env(), capture_output=True, text=True).stdout
        if value_at(json.loads(out), CHANNEL) == 6:
            break
        time.sleep(0.5)
    assert value_at(json.loads(out), CHANNEL) == 6
