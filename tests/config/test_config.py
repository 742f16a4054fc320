"""vg-mgmt config export / schema / diff / apply against one kestd.

Usage: test_config.py VG_MGMT KESTD. Every test starts from the service's
defaults: setUp applies the export taken when the service started.
"""
import copy
import json
import sys
import unittest

import jsonschema

from config_harness import Service

VGM, KESTD = sys.argv[1], sys.argv[2]


def set_path(doc, path, value):
    keys = path.split(".")
    for k in keys[:-1]:
        doc = doc.setdefault(k, {})
    doc[keys[-1]] = value


def flatten(doc, prefix=""):
    """(path, value) of every value of a partial document; lists whole."""
    for k, v in doc.items():
        path = prefix + k
        if isinstance(v, dict):
            yield from flatten(v, path + ".")
        else:
            yield path, v


def get_path(doc, path):
    for k in path.split("."):
        doc = doc[k]
    return doc


# Two changes the service accepts (sent first), then one it refuses.
ACCEPTED = [("wifi.interfaces.1.channel", 1), ("network.lan.lease", 7200)]
# Each with the leaf that the refusal names.
REFUSED = [
    ("usb.id.pid", "0x0000", "usb.id.pid"),
    ("network.snat", [{"private-ip": "192.168.225.9", "private-port": 80, "global-port": 80, "protocol": "tcp"},
                      {"private-ip": "10.0.0.5", "private-port": 80, "global-port": 81, "protocol": "tcp"}],
     "network.snat[1].private-ip"),
]


def profile(ptype, index, pdp, auth, apn, user="", password=""):
    return {"profile-type": ptype, "profile-index": index, "pdp-type": pdp, "auth-protocol": auth, "apn": apn,
            "user": user, "password": password}


def rule(ip, port, global_port, protocol):
    return {"private-ip": ip, "private-port": port, "global-port": global_port, "protocol": protocol}


# Lists: (path, first content, second content); the second replaces the first exactly.
LISTS = [
    ("wifi.interfaces.2.acl", ["aa:bb:cc:00:00:01", "aa:bb:cc:00:00:02"],
     ["aa:bb:cc:00:00:02", "aa:bb:cc:00:00:03"]),
    ("network.snat", [rule("192.168.225.20", 8080, 80, "tcp"), rule("192.168.225.21", 53, 5353, "udp")],
     [rule("192.168.225.21", 53, 5353, "udp"), rule("192.168.225.30", 22, 2222, 253)]),
    ("datacall.apn",
     [profile(0, 0, "ipv4v6", "none", "internet"), profile(0, 2, "ipv4", "pap", "two", "u", "p2"),
      profile(1, 0, "ipv6", "none", "ims")],
     [profile(0, 0, "ipv4v6", "none", "internet"), profile(0, 5, "ipv4v6", "chap", "five", "", "p5"),
      profile(2, 1, 3, "chap", "mms")]),
]

# Changes that the service takes only in the right order, each in one document.
ORDERED = [
    ("a profile before the default profile that names it",
     {"datacall": {"apn": [profile(0, 0, "ipv4v6", "none", "internet"), profile(0, 3, "ipv4", "none", "three")],
                   "default-profile": {"profile": 3}}}),
    ("the LAN block before the DMZ host and the SNAT rule in it",
     {"network": {"lan": {"gateway": "10.0.0.1", "dhcp-start": "10.0.0.20", "dhcp-end": "10.0.0.60"},
                  "dmz": "10.0.0.9", "snat": [rule("10.0.0.20", 80, 8080, "tcp")]}}),
    ("the MAC list before the rule that lets only it in",
     {"wifi": {"interfaces": {"1": {"acl": ["aa:bb:cc:00:00:01"], "acl-rule": "allow-listed"}}}}),
]

# Documents the schema and apply both refuse: (change to a valid document, path named).
WRONG = [
    ("wifi.interfaces.1.channel", 15, "wifi.interfaces.1.channel"),
    ("wifi.enable", "yes", "wifi.enable"),
    ("wifi.interfaces.1.auth.key0", "abcde", "wifi.interfaces.1.auth.key0"),
    ("wifi.interfaces.4", {"channel": 1}, "wifi.interfaces.4"),
    ("network.snat", [rule("192.168.225.20", 1, 1, 300)], "network.snat[0].protocol"),
    ("usb.id.pid", "0x1ffff", "usb.id.pid"),
    ("version", 2, "version"),
]


SERVICE = {}


def setUpModule():
    svc = SERVICE["svc"] = Service(KESTD, VGM)
    SERVICE["baseline_text"] = svc.export()
    rc, out, _ = svc.run("schema")
    assert rc == 0
    SERVICE["schema"] = json.loads(out)


def tearDownModule():
    SERVICE["svc"].stop()


class ConfigTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.svc = SERVICE["svc"]
        cls.baseline_text = SERVICE["baseline_text"]
        cls.baseline = json.loads(cls.baseline_text)
        jsonschema.Draft202012Validator.check_schema(SERVICE["schema"])
        cls.validator = jsonschema.Draft202012Validator(SERVICE["schema"],
                                                        format_checker=jsonschema.FormatChecker())

    def setUp(self):
        rc, _, err = self.svc.apply(self.baseline)
        self.assertEqual(rc, 0, err)

    def export(self):
        doc = json.loads(self.svc.export())
        self.validator.validate(doc)
        return doc

    def edited(self, *changes):
        doc = copy.deepcopy(self.baseline)
        for path, value in changes:
            set_path(doc, path, value)
        return doc


class RoundTrip(ConfigTest):
    def test_export_then_apply_changes_nothing_and_sends_no_set(self):
        for secrets in (True, False):
            with self.subTest(show_secrets=secrets):
                doc = json.loads(self.svc.export(secrets))
                rc, out, err = self.svc.run("--stats", "apply", self.svc.write(doc))
                self.assertEqual(rc, 0, err)
                self.assertIn("no change", out)
                self.assertIn(" 0 set", err)
                self.assertEqual(self.svc.export(), self.baseline_text)

    def test_masked_secrets_apply_without_touching_them(self):
        masked = json.loads(self.svc.export(secrets=False))
        self.assertEqual(get_path(masked, "wifi.interfaces.1.auth.password"), "********")
        set_path(masked, "wifi.interfaces.1.ssid.ssid", "Renamed")
        rc, _, err = self.svc.apply(masked)
        self.assertEqual(rc, 0, err)
        self.assertEqual(self.export(), self.edited(("wifi.interfaces.1.ssid.ssid", "Renamed")))

    def test_check_sends_nothing_and_says_whether_changes_are_pending(self):
        rc, _, _ = self.svc.apply(self.baseline, "--check")
        self.assertEqual(rc, 0)
        rc, out, _ = self.svc.apply(self.edited(("usb.func.adb", "on")), "--check")
        self.assertEqual(rc, 6)
        self.assertIn('usb.func.adb: "off" -> "on"', out)
        self.assertEqual(self.svc.export(), self.baseline_text)


class Refusal(ConfigTest):
    def test_a_refused_value_after_two_accepted_changes_leaves_the_export_identical(self):
        for path, value, leaf in REFUSED:
            with self.subTest(path=path):
                rc, out, err = self.svc.apply(self.edited(*ACCEPTED, (path, value)))
                self.assertEqual(rc, 1, out + err)
                self.assertIn("refused " + leaf + ": ", err)
                self.assertIn("the configuration is as it was", err)
                self.assertEqual(self.svc.export(), self.baseline_text)


    def test_a_refused_undo_is_named_with_what_it_left_changed(self):
        # The DMZ host is added (message 51); the USB id is refused; the undo
        # of the DMZ host (message 52, used by nothing else here) is refused too.
        self.svc.control("fail", "110", "1", "52")
        try:
            rc, out, err = self.svc.apply(self.edited(("network.dmz", "192.168.225.77"), ("usb.id.pid", "0x0000")))
        finally:
            self.svc.control("clear")
        self.assertEqual(rc, 7, out + err)
        self.assertIn("undo refused: network.dmz", err)
        self.assertIn('left changed: network.dmz: (none) -> "192.168.225.77"', err)


class Partial(ConfigTest):
    def test_a_partial_document_changes_only_its_keys(self):
        for path, value in [("wifi.interfaces.2.channel", 40)]:
            with self.subTest(path=path):
                self.setUp()
                partial = {"version": 1}
                set_path(partial, path, value)
                rc, _, err = self.svc.apply(partial)
                self.assertEqual(rc, 0, err)
                self.assertEqual(self.export(), self.edited((path, value)))

    def test_changes_go_out_in_an_order_the_service_takes(self):
        for why, partial in ORDERED:
            with self.subTest(why):
                self.setUp()
                rc, out, err = self.svc.apply(dict(partial, version=1))
                self.assertEqual(rc, 0, out + err)
                self.assertEqual(self.export(), self.edited(*flatten(partial)))

    def test_every_list_is_made_exact(self):
        key = {"datacall.apn": lambda e: (e["profile-type"], e["profile-index"])}
        for path, first, second in LISTS:
            with self.subTest(path=path):
                for content in (first, second):
                    partial = {"version": 1}
                    set_path(partial, path, content)
                    rc, _, err = self.svc.apply(partial)
                    self.assertEqual(rc, 0, err)
                    got = get_path(self.export(), path)
                    order = key.get(path, json.dumps)
                    self.assertEqual(sorted(got, key=order), sorted(content, key=order))


# Options before and after "config" ({sock}: the service's socket, {doc}: the
# baseline document): (arguments, exit status, what the output is).
GLOBALS = [
    (["--socket", "{sock}", "config", "export"], 0, "masked export"),
    (["config", "--socket", "{sock}", "export"], 0, "masked export"),
    (["config", "export", "--socket", "{sock}"], 0, "masked export"),
    (["--socket", "{sock}", "--show-secrets", "config", "export"], 0, "export"),
    (["--json", "--socket", "{sock}", "config", "diff", "{doc}"], 0, '{"status":0,"changes":[]}\n'),
    (["--socket", "{sock}", "--help", "config", "diff"], 0, "help"),
    (["--version", "config", "export"], 0, "version"),
    (["--timeout", "1", "config", "export"], 2, "vg-mgmt config: --timeout is not an option of config\n"),
    (["--json", "config", "export"], 2, "vg-mgmt config: --json is an option of 'config diff', 'apply', "
     "'validate', 'recover', 'confirm', 'history' or 'rollback' only\n"),
    (["--show-secrets", "config", "diff", "{doc}"], 2,
     "vg-mgmt config: --show-secrets is an option of 'config export' only\n"),
]


class GlobalOptions(ConfigTest):
    def test_global_options_before_config_are_taken_or_refused_in_one_line(self):
        wrong = dict(self.svc.env(), VG_KEST_SOCKET="/nonexistent/kest.sock")  # the socket is the option's
        doc = self.svc.write(self.baseline)
        want = {"masked export": self.svc.export(secrets=False), "export": self.svc.export()}
        for args, status, what in GLOBALS:
            line = [a.replace("{sock}", self.svc.sock).replace("{doc}", doc) for a in args]
            with self.subTest(args=" ".join(args)):
                rc, out, err = self.svc.run_line(*line, env=wrong)
                self.assertEqual(rc, status, err)
                if status != 0:
                    self.assertEqual((out, err), ("", what))
                elif what == "help":
                    self.assertIn("--json", out)
                elif what == "version":
                    self.assertTrue(out.startswith("vg-mgmt ") and out.count("\n") == 1, out)
                else:
                    self.assertEqual(out, want.get(what, what))


class Schema(ConfigTest):
    def test_the_schema_and_apply_refuse_a_wrong_document_naming_its_path(self):
        for path, value, named in WRONG:
            with self.subTest(path=path):
                doc = self.edited((path, value))
                self.assertFalse(self.validator.is_valid(doc))
                rc, _, err = self.svc.apply(doc)
                self.assertEqual(rc, 2, err)
                self.assertIn(named + ":", err)
                self.assertEqual(self.svc.export(), self.baseline_text)

    def test_every_problem_is_reported_at_once(self):
        doc = self.edited(*[(p, v) for p, v, _ in WRONG[:4]])
        rc, _, err = self.svc.apply(doc)
        self.assertEqual(rc, 2)
        for _, _, named in WRONG[:4]:
            self.assertIn(named + ":", err)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
