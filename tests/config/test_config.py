"""vg-mgmt config export / schema / validate / diff / apply against one kestd.

Usage: test_config.py VG_MGMT KESTD. Every row starts from the service's
defaults. The tool's validate and the JSON Schema (python3-jsonschema, with
the schema's maxBytes/minBytes) take the same values; texts that are not
UTF-8 go round as hex.
"""
import json

import jsonschema

from config_harness import Service, ServiceTest, get_path, main, set_path


def rule(ip="192.168.225.5", port=80, global_port=8080, protocol="tcp"):
    return {"private-ip": ip, "private-port": port, "global-port": global_port, "protocol": protocol}


def profile(ptype=0, index=0, pdp="ipv4v6", auth="none", apn="internet", user="", password=""):
    return {"profile-type": ptype, "profile-index": index, "pdp-type": pdp, "auth-protocol": auth, "apn": apn,
            "user": user, "password": password}


def at(path, value):
    return set_path({"version": 1}, path, value)


CHANNEL, LEASE, PID, DMZ = "wifi.interfaces.1.channel", "network.lan.lease", "usb.id.pid", "network.dmz"
SSID, ACL, SNAT, APN = "wifi.interfaces.1.ssid.ssid", "wifi.interfaces.2.acl", "network.snat", "datacall.apn"
ACCEPTED = [(CHANNEL, 1), (LEASE, 7200)]  # two changes the service takes, sent before the refused one

# Applies that go wrong: (changes, kestctl fail words, status, stderr holds, what is left changed).
REFUSALS = [
    (ACCEPTED + [(PID, "0x0000")], None, 1, ["refused usb.id.pid: ", "the configuration is as it was"], []),
    (ACCEPTED + [(SNAT, [rule("192.168.225.9", 80, 80), rule("10.0.0.5", 80, 81)])], None, 1,
     ["refused network.snat[1].private-ip: ", "the configuration is as it was"], []),
    # The DMZ host is added, the USB id refused, and the undo of the DMZ host refused too.
    ([(DMZ, "192.168.225.77"), (PID, "0x0000")], ["network", "dmz", "del", "110"], 7,
     ["undo refused: network.dmz", 'left changed: network.dmz: (none) -> "192.168.225.77"'],
     [(DMZ, "192.168.225.77")]),
]

# Partial documents applied one after the other; the export after each is the
# defaults with all of them. Lists are made exact; changes go out in an order
# the service takes.
PARTIALS = [
    [at("wifi.interfaces.2.channel", 40)],
    [{"version": 1, "datacall": {"apn": [profile(), profile(0, 3, "ipv4", apn="three")],
                                 "default-profile": {"profile": 3}}}],
    [{"version": 1, "network": {"lan": {"gateway": "10.0.0.1", "dhcp-start": "10.0.0.20", "dhcp-end": "10.0.0.60"},
                                "dmz": "10.0.0.9", "snat": [rule("10.0.0.20", 80, 8080)]}}],
    [{"version": 1, "wifi": {"interfaces": {"1": {"acl": ["aa:bb:cc:00:00:01"], "acl-rule": "allow-listed"}}}}],
    [at(ACL, ["aa:bb:cc:00:00:01", "aa:bb:cc:00:00:02"]), at(ACL, ["aa:bb:cc:00:00:02", "aa:bb:cc:00:00:03"])],
    [at(SNAT, [rule("192.168.225.20", 8080, 80), rule("192.168.225.21", 53, 5353, "udp")]),
     at(SNAT, [rule("192.168.225.21", 53, 5353, "udp"), rule("192.168.225.30", 22, 2222, 253)])],
    [at(APN, [profile(), profile(0, 2, "ipv4", "pap", "two", "u", "p2"), profile(1, 0, "ipv6", apn="ims")]),
     at(APN, [profile(), profile(0, 5, auth="chap", apn="five", password="p5"), profile(2, 1, 3, "chap", "mms")])],
]

GOOD, BAD = at(CHANNEL, 11), at(CHANNEL, 15)
MASKED_NONE = at("wifi.interfaces.3.auth", {"auth": "wpa-psk-2", "password": "********"})
# config verbs with --json, none of which changes anything: (words, document or stdin, status, what the
# one object on stdout holds: a key's value, or a text within it).
JSON_OUT = [
    (["validate"], GOOD, 0, {"problems": []}),
    (["validate"], BAD, 2, {"error": '{"path": "%s", "problem": "channel: 15 is out of range' % CHANNEL}),
    (["diff"], GOOD, 0, {"changes": [{"path": CHANNEL, "old": 6, "new": 11}]}),
    (["apply", "--check"], GOOD, 6, {"changed": True}),
    (["apply"], BAD, 2, {"error": '{"path": "%s", "problem": "channel: 15 is out of range' % CHANNEL}),
    (["apply"], at(DMZ, "10.1.2.3"), 1, {"changed": False}),
    (["apply"], None, 2, {"error": "cannot be read"}),
    (["apply", "--check"], MASKED_NONE, 2,
     {"error": '"wifi.interfaces.3.auth.password", "problem": "******** keeps the current secret, and there is none'}),
    (["apply", "-"], "[" * (4 << 20), 2, {"error": "larger than 1048576 bytes"}),
    (["recover"], (), 0, {"output": "nothing to recover: no apply was left unfinished"}),
    (["confirm"], (), 1, {"messages": "no change awaits confirmation on this module"}),
]

# Options before and after "config" ({sock}: the service's socket, {doc}: the defaults):
# (arguments, exit status, stdout: the masked export, the export, a text in it; or stderr's one line).
GLOBALS = [
    (["--socket", "{sock}", "config", "export"], 0, "masked"),
    (["config", "--socket", "{sock}", "export"], 0, "masked"),
    (["config", "export", "--socket", "{sock}"], 0, "masked"),
    (["--socket", "{sock}", "--show-secrets", "config", "export"], 0, "export"),
    (["--json", "--socket", "{sock}", "config", "diff", "{doc}"], 0, '{"status":0,"changes":[]}\n'),
    (["--socket", "{sock}", "--help", "config", "diff"], 0, "--json"),
    (["--version", "config", "export"], 0, "vg-mgmt "),
    (["--timeout", "1", "config", "export"], 2, "vg-mgmt config: --timeout is not an option of config"),
    (["--json", "config", "export"], 2, "vg-mgmt config: --json is an option of 'config diff'"),
    (["--show-secrets", "config", "diff", "{doc}"], 2, "vg-mgmt config: --show-secrets is an option of"),
]

# Ways of giving a secret on the command line: (arguments after the interface, stdin, status, password after).
SECRETS = [
    (["--password-file", "{file}"], None, 0, "file-passphrase-1"),
    (["--password-file", "-"], "stdin-passphrase\n", 0, "stdin-passphrase"),
    (["--password-file", "{file}", "--password", "other-passphrase"], None, 2, None),
    (["--password", "TOPSECRET" * 8], None, 2, None),
]

# Edge values: (path, value, taken by both the tool and the schema); a refused one is named by its path.
EDGES = [
    (CHANNEL, 11, True), (CHANNEL, 11.5, False), (CHANNEL, "11", False), (CHANNEL, 15, False),
    (LEASE, 4294967295, True), (LEASE, 4294967296, False), ("wifi.enable", "yes", False),
    (PID, 36901, False), (PID, "0x10000", False), (PID, "0x1ffff", False), ("version", 2, False),
    (SNAT, [rule(protocol="udp")], True), (SNAT, [rule(protocol="17")], True),
    (SNAT, [rule(protocol="017")], False), (SNAT, [rule(protocol=300)], False),
    ("wifi.interfaces.1.dfs", True, True), ("wifi.interfaces.1.dfs", 1, False), ("wifi.interfaces.4", {}, False),
    (SSID, "x" * 32, True), (SSID, "é" * 16, True), (SSID, "é" * 17, False), (SSID, {"hex": "ff" * 32}, True),
    (SSID, {"hex": "FF"}, False), (SSID, "a\u0000b", False), (SSID, {"hex": "61", "more": 1}, False),
    ("wifi.country", "é", True), ("wifi.country", "", True),
    (SNAT, [rule("192.168.225.9")], True), (SNAT, [rule("192.168.225.09")], False),
    ("wifi.interfaces.1.acl", ["AA:BB:CC:00:00:01"], True), ("wifi.interfaces.1.acl", ["aabbcc000001"], False),
]


def bytes_validator(schema):
    def rule_of(keep):
        def check(validator, n, instance, schema):
            if isinstance(instance, str) and not keep(len(instance.encode("utf-8")), n):
                yield jsonschema.ValidationError(f"{len(instance.encode('utf-8'))} bytes")
        return check
    base = jsonschema.validators.validator_for(schema)
    jsonschema.Draft202012Validator.check_schema(schema)
    cls = jsonschema.validators.extend(base, {"maxBytes": rule_of(lambda have, n: have <= n),
                                              "minBytes": rule_of(lambda have, n: have >= n)})
    return cls(schema, format_checker=base.FORMAT_CHECKER)


class Config(ServiceTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.validator = bytes_validator(json.loads(cls.svc.run("schema")[1]))

    def test_an_export_applied_back_sends_no_set(self):
        for secrets in (True, False):
            with self.subTest(show_secrets=secrets):
                rc, out, err = self.svc.run("--stats", "apply", self.svc.write(self.svc.export(secrets)))
                self.assertEqual((rc, "no change" in out, " 0 set" in err), (0, True, True), out + err)
                self.assert_export()

    def test_a_refused_apply_is_undone_and_named(self):
        for changes, fail, status, said, left in REFUSALS:
            with self.subTest(changes=changes):
                self.reset()
                if fail:
                    self.svc.control("fail", *fail)
                rc, out, err = self.svc.apply(self.edited(*changes))
                self.assertEqual(rc, status, out + err)
                for text in said:
                    self.assertIn(text, err)
                self.assert_export(*left)

    def test_a_flood_of_problems_is_told_in_a_screenful_and_listed_whole_in_json(self):
        doc = self.svc.write(dict({"version": 1}, **{"key%d" % i: 1 for i in range(250)}), "flood.json")
        rc, out, err = self.svc.run("validate", doc)
        lines = err.splitlines()
        self.assertEqual(rc, 2)
        self.assertLessEqual(len(lines), 102, err[-300:])
        self.assertRegex(lines[-1], r"^  \.\.\. and \d+ more problem\(s\); --json lists every one$")
        rc, out, err = self.svc.run("--json", "validate", doc)
        self.assertEqual(len(json.loads(out)["error"]["problems"]), 250)

    def test_partial_documents_change_only_their_keys(self):
        for docs in PARTIALS:
            with self.subTest(docs=docs):
                self.reset()
                changes = []
                for doc in docs:
                    rc, out, err = self.svc.apply(doc)
                    self.assertEqual(rc, 0, out + err)
                    changes += list(flat(doc))
                    got, want = json.loads(self.svc.export()), self.edited(*changes)
                    self.validator.validate(got)
                    for d in (got, want):  # lists compare as sets
                        for path in (ACL, SNAT, APN):
                            set_path(d, path, sorted(get_path(d, path), key=json.dumps))
                    self.assertEqual(got, want)

    def test_json_gives_every_outcome_as_one_object(self):
        for words, doc, status, holds in JSON_OUT:
            with self.subTest(args=words, status=status):
                stdin = doc if isinstance(doc, str) else None
                path = [self.svc.write(doc)] if isinstance(doc, dict) else ["/nonexistent/doc.json"] * (doc is None)
                rc, out, err = self.svc.run(*words, "--json", *path, stdin=stdin)
                result = json.loads(out)
                self.assertEqual((rc, result["status"]), (status, status), err)
                for key, want in holds.items():
                    if isinstance(want, str):
                        self.assertIn(want, json.dumps(result[key], ensure_ascii=False))
                    else:
                        self.assertEqual(result[key], want)
                self.assert_export()

    def test_global_options_before_config_are_taken_or_refused_in_one_line(self):
        wrong = dict(self.svc.env(), VG_KEST_SOCKET="/nonexistent/kest.sock")  # the socket is the option's
        doc = self.svc.write(self.baseline)
        want = {"masked": self.svc.export(secrets=False), "export": self.svc.export()}
        for args, status, what in GLOBALS:
            with self.subTest(args=" ".join(args)):
                line = [a.replace("{sock}", self.svc.sock).replace("{doc}", doc) for a in args]
                rc, out, err = self.svc.run_line(*line, env=wrong)
                self.assertEqual(rc, status, err)
                if status != 0:
                    self.assertEqual((out, err.count("\n")), ("", 1), err)
                    self.assertTrue(err.startswith(what), err)
                elif what in want:
                    self.assertEqual(out, want[what])
                else:
                    self.assertIn(what, out)

    def test_a_secret_is_read_from_a_file_or_stdin_and_never_shown(self):
        path = self.svc.write("file-passphrase-1\n", "pw")
        for args, stdin, status, after in SECRETS:
            with self.subTest(args=args):
                args = [a.replace("{file}", path) for a in args]
                rc, out, err = self.svc.run_line("wifi", "auth", "set", "1", "wpa-psk-2", *args, stdin=stdin)
                self.assertEqual(rc, status, err)
                self.assertNotIn("SECRET", out + err)
                got = json.loads(self.svc.run_line("--show-secrets", "--json", "wifi", "auth", "get", "1")[1])
                if after is not None:
                    self.assertEqual(got["password"], after)

    def test_the_tool_and_the_schema_take_the_same_values(self):
        exports = [(None, json.loads(self.svc.export(s)), True) for s in (True, False)]
        for path, value, taken in EDGES + exports:
            with self.subTest(path=path, value=value):
                doc = at(path, value) if path else value
                rc, out, _ = self.svc.run("validate", "--json", self.svc.write(doc))
                schema_errors = [e.message for e in self.validator.iter_errors(doc)]
                self.assertEqual((rc == 0, not schema_errors), (taken, taken), (out, schema_errors))
                if not taken:
                    self.assertIn(path, json.dumps(json.loads(out)["error"]))

    def test_a_text_that_is_not_utf8_goes_round_as_hex(self):
        rc, _, err = self.svc.run_line("wifi", "ssid", "set", "2", "\udcff\udcfe x")
        self.assertEqual(rc, 0, err)
        got = json.loads(self.svc.run_line("--json", "wifi", "ssid", "get", "2")[1])
        self.assertEqual(got["ssid"], {"hex": "fffe2078"})
        for doc in (at(SSID, {"hex": "ff" * 32}), at(APN, [profile(password={"hex": "fe"})])):
            rc, _, err = self.svc.apply(doc)
            self.assertEqual(rc, 0, err)
        exported, fresh = self.svc.export(), Service()
        self.addCleanup(fresh.stop)
        self.assertEqual(exported.count('"hex"'), 3, exported)
        rc, _, err = fresh.run("apply", fresh.write(exported))
        self.assertEqual((rc, err, fresh.export()), (0, "", exported))


def flat(doc, prefix=""):
    """(path, value) of every value of a partial document but its version; lists whole."""
    for k, v in doc.items():
        if isinstance(v, dict):
            yield from flat(v, prefix + k + ".")
        elif prefix or k != "version":
            yield prefix + k, v


if __name__ == "__main__":
    main()
