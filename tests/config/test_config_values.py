"""Texts as bytes and the one rule for values, shared by vg-mgmt and the schema.

Usage: test_config_values.py VG_MGMT KESTD.
- Every text field that the service stores as any bytes takes a value that is
  not UTF-8: set, exported, applied to a fresh kestd, exported again: equal.
- A table of edge values goes through `config validate` and through the JSON
  Schema (python3-jsonschema, with the schema's maxBytes/minBytes): both take
  a value or both refuse it. Every export passes both too.
"""
import json
import subprocess
import sys
import unittest

import jsonschema

from config_harness import Service

VGM, KESTD = sys.argv[1], sys.argv[2]


def profile(**given):
    p = {"profile-type": 0, "profile-index": 0, "pdp-type": "ipv4v6", "auth-protocol": "none", "apn": "internet",
         "user": "", "password": ""}
    p.update(given)
    return {"datacall": {"apn": [p]}}


def ssid(iface, value):
    return {"wifi": {"interfaces": {str(iface): {"ssid": {"ssid": value}}}}}


# One row per text field that takes any bytes: (name, partial document).
TEXTS = [
    ("ssid of full length", ssid(1, {"hex": "ff" * 32})),
    ("apn password", profile(password={"hex": "fe"})),
]


class Bytes(unittest.TestCase):
    def test_a_text_that_is_not_utf8_round_trips_through_a_fresh_service(self):
        for name, part in TEXTS:
            with self.subTest(field=name):
                first, second = Service(KESTD, VGM), Service(KESTD, VGM)
                try:
                    rc, _, err = first.apply(dict(part, version=1))
                    self.assertEqual(rc, 0, err)
                    exported = first.export()
                    self.assertIn('"hex"', exported)
                    rc, _, err = second.run("apply", second.write(exported))
                    self.assertEqual(rc, 0, err)
                    self.assertEqual(second.export(), exported)
                finally:
                    first.stop()
                    second.stop()

    def test_set_on_the_command_line_then_exported_and_shown_as_hex(self):
        svc = Service(KESTD, VGM)
        try:
            p = subprocess.run([VGM, "wifi", "ssid", "set", "1", b"\xff\xfe x"], env=svc.env(), capture_output=True)
            self.assertEqual(p.returncode, 0, p.stderr)
            p = subprocess.run([VGM, "--json", "wifi", "ssid", "get", "1"], env=svc.env(), capture_output=True)
            self.assertEqual(json.loads(p.stdout)["ssid"], {"hex": "fffe2078"})
            self.assertIn('"hex": "fffe2078"', svc.export())
            rc, out, err = svc.run("apply", svc.write(svc.export()))
            self.assertEqual((rc, err), (0, ""), out)
        finally:
            svc.stop()


# One row per way of giving a secret: (name, arguments after the interface, stdin, status, password after).
SECRETS = [
    ("from a file", ["--password-file", "{file}"], None, 0, "file-passphrase-1"),
    ("from stdin", ["--password-file", "-"], b"stdin-passphrase\n", 0, "stdin-passphrase"),
    ("both ways", ["--password-file", "{file}", "--password", "other-passphrase"], None, 2, None),
    ("too long, named by length", ["--password", "TOPSECRET" * 8], None, 2, None),
]


class Secrets(unittest.TestCase):
    def test_a_secret_is_read_from_a_file_or_stdin_and_never_shown(self):
        svc = Service(KESTD, VGM)
        try:
            path = svc.write("file-passphrase-1\n", "pw")
            for name, args, stdin, status, after in SECRETS:
                with self.subTest(way=name):
                    line = [VGM, "wifi", "auth", "set", "1", "wpa-psk-2"] + [a.replace("{file}", path) for a in args]
                    p = subprocess.run(line, env=svc.env(), input=stdin, capture_output=True)
                    self.assertEqual(p.returncode, status, p.stderr)
                    self.assertNotIn(b"SECRET", p.stdout + p.stderr)
                    p = subprocess.run([VGM, "--show-secrets", "--json", "wifi", "auth", "get", "1"], env=svc.env(),
                                       capture_output=True)
                    if after is not None:
                        self.assertEqual(json.loads(p.stdout)["password"], after)
        finally:
            svc.stop()


    def test_a_masked_secret_where_there_is_none_to_keep_is_a_problem(self):
        svc = Service(KESTD, VGM)
        try:
            doc = {"version": 1, "wifi": {"interfaces": {"3": {"auth": {"auth": "wpa-psk-2", "password": "********"}}}}}
            rc, out, err = svc.run("apply", "--check", svc.write(doc))
            self.assertEqual(rc, 2, out + err)
            self.assertIn("wifi.interfaces.3.auth.password: ******** keeps the current secret, and there is none", err)
        finally:
            svc.stop()


GOOD = {"version": 1, "wifi": {"interfaces": {"1": {"channel": 11}}}}
BAD = {"version": 1, "wifi": {"interfaces": {"1": {"channel": 15}}}}
REFUSED = {"version": 1, "network": {"dmz": "10.1.2.3"}}
# One row per outcome with --json: (args, document, status, what the object holds besides the status).
JSON_OUT = [
    (["validate", "--json"], GOOD, 0, {"problems": []}),
    (["validate", "--json"], BAD, 2, {"error": "wifi.interfaces.1.channel"}),
    (["diff", "--json"], GOOD, 0, {"changes": [{"path": "wifi.interfaces.1.channel", "old": 6, "new": 11}]}),
    (["apply", "--check", "--json"], GOOD, 6, {"changed": True}),
    (["apply", "--json"], REFUSED, 1, {"changed": False}),
    (["apply", "--json"], None, 2, {"error": "cannot be read"}),
]


class JsonOut(unittest.TestCase):
    def test_every_outcome_is_one_json_object_on_stdout(self):
        svc = Service(KESTD, VGM)
        try:
            for args, doc, status, holds in JSON_OUT:
                with self.subTest(args=" ".join(args), status=status):
                    path = svc.write(doc) if doc is not None else "/nonexistent/doc.json"
                    rc, out, err = svc.run(*args, path)
                    self.assertEqual(rc, status, err)
                    obj = json.loads(out)
                    self.assertEqual(obj["status"], status)
                    for key, want in holds.items():
                        if key == "error":
                            self.assertIn(want, json.dumps(obj["error"]))
                        else:
                            self.assertEqual(obj[key], want)
        finally:
            svc.stop()

    def test_a_stream_past_the_size_bound_is_refused_once_past_it(self):
        svc = Service(KESTD, VGM)
        try:
            rc, out, err = svc.run("apply", "--json", "-", stdin="[" * (4 << 20))
            self.assertEqual(rc, 2, err)
            self.assertIn("larger than 1048576 bytes", json.loads(out)["error"]["message"])
        finally:
            svc.stop()


def bytes_rule(limit, keep):
    def check(validator, n, instance, schema):
        if isinstance(instance, str) and not keep(len(instance.encode("utf-8")), n):
            yield jsonschema.ValidationError(f"{len(instance.encode('utf-8'))} bytes")
    return check


def schema_validator(schema):
    base = jsonschema.validators.validator_for(schema)
    cls = jsonschema.validators.extend(base, {"maxBytes": bytes_rule("max", lambda have, n: have <= n),
                                              "minBytes": bytes_rule("min", lambda have, n: have >= n)})
    return cls(schema, format_checker=base.FORMAT_CHECKER)


def at(path, value):
    doc = {"version": 1}
    node = doc
    keys = path.split(".")
    for k in keys[:-1]:
        node = node.setdefault(k, {})
    node[keys[-1]] = value
    return doc


def rule(**given):
    r = {"private-ip": "192.168.225.5", "private-port": 80, "global-port": 8080, "protocol": "tcp"}
    r.update(given)
    return {"version": 1, "network": {"snat": [r]}}


CHANNEL, LEASE, PID = "wifi.interfaces.1.channel", "network.lan.lease", "usb.id.pid"
SSID, COUNTRY = "wifi.interfaces.1.ssid.ssid", "wifi.country"
# One row per edge value: (name, document, taken by both).
EDGES = [
    ("number", at(CHANNEL, 11), True),
    ("number with a fraction", at(CHANNEL, 11.5), False),
    ("number as a string", at(CHANNEL, "11"), False),
    ("largest lease", at(LEASE, 4294967295), True),
    ("lease past its width", at(LEASE, 4294967296), False),
    ("USB id as a number", at(PID, 36901), False),
    ("USB id of five digits", at(PID, "0x10000"), False),
    ("named by name", rule(protocol="udp"), True),
    ("named by decimal digits", rule(protocol="17"), True),
    ("named by digits with a leading zero", rule(protocol="017"), False),
    ("flag true", at("wifi.interfaces.1.dfs", True), True),
    ("flag 1", at("wifi.interfaces.1.dfs", 1), False),
    ("SSID of 32 ASCII bytes", at(SSID, "x" * 32), True),
    ("SSID of 16 two-byte characters", at(SSID, "é" * 16), True),
    ("SSID of 17 two-byte characters", at(SSID, "é" * 17), False),
    ("SSID of 32 bytes in hex", at(SSID, {"hex": "ff" * 32}), True),
    ("SSID in upper-case hex", at(SSID, {"hex": "FF"}), False),
    ("SSID with a NUL byte", at(SSID, "a\u0000b"), False),
    ("SSID in hex and more", at(SSID, {"hex": "61", "more": 1}), False),
    ("country of one two-byte character", at(COUNTRY, "é"), True),
    ("country empty (kept)", at(COUNTRY, ""), True),
    ("address", rule(**{"private-ip": "192.168.225.9"}), True),
    ("address with a leading zero", rule(**{"private-ip": "192.168.225.09"}), False),
    ("MAC in upper case", at("wifi.interfaces.1.acl", ["AA:BB:CC:00:00:01"]), True),
    ("MAC without colons", at("wifi.interfaces.1.acl", ["aabbcc000001"]), False),
]


class OneRule(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.svc = Service(KESTD, VGM)
        rc, out, _ = cls.svc.run("schema")
        cls.validator = schema_validator(json.loads(out))

    @classmethod
    def tearDownClass(cls):
        cls.svc.stop()

    def both(self, doc):
        rc, out, err = self.svc.run("validate", "--json", self.svc.write(doc))
        schema_errors = [e.message for e in self.validator.iter_errors(doc)]
        return rc == 0, not schema_errors, (out, schema_errors)

    def test_the_tool_and_the_schema_take_the_same_values(self):
        for name, doc, taken in EDGES:
            with self.subTest(value=name):
                tool, schema, why = self.both(doc)
                self.assertEqual((tool, schema), (taken, taken), why)

    def test_every_export_passes_both(self):
        for secrets in (True, False):
            with self.subTest(secrets=secrets):
                tool, schema, why = self.both(json.loads(self.svc.export(secrets=secrets)))
                self.assertEqual((tool, schema), (True, True), why)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
