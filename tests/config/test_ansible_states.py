"""The vg.mgmt modules through a real ansible-playbook (connection: local, no
Python for the module) against one kestd: the states of vg.mgmt.config on each
section, the facts module, and the options that the module refuses.

Usage: test_ansible_states.py VG_MGMT KESTD COLLECTIONS_DIR.
"""
import json
import os
import subprocess
import sys
import time
import unittest

from ansible_harness import NO_PYTHON, environment, play_json
from config_harness import Service

VGM, KESTD, COLLECTIONS = sys.argv[1], sys.argv[2], sys.argv[3]

RULE_A = {"private-ip": "192.168.225.20", "private-port": 8080, "global-port": 80, "protocol": "tcp"}
RULE_B = {"private-ip": "192.168.225.21", "private-port": 8081, "global-port": 81, "protocol": "udp"}
APN = {"profile-type": 0, "profile-index": 1, "pdp-type": "ipv4", "apn": "iot.example"}
APN_SHOWN = {"profile-type": 0, "profile-index": 1, "pdp-type": "ipv4", "auth-protocol": "none", "apn": "iot.example",
             "user": "", "password": ""}
IF1 = "wifi.interfaces.1"


def entry(v):
    return json.dumps(v, separators=(",", ":"))


# One row per task, run in this order from kestd's defaults, each on what the
# row before left: state, document, the commands of the first run, and a
# path of the export after with its value.
ROWS = [
    ("merged", {"wifi": {"interfaces": {"1": {"channel": 11, "ssid": {"ssid": "Fleet AP"}}}}},
     [IF1 + '.ssid.ssid: "KEST-2.4G" -> "Fleet AP"', IF1 + ".channel: 6 -> 11"], (IF1 + ".channel", 11)),
    ("merged", {"network": {"snat": [RULE_A]}}, ["network.snat: + " + entry(RULE_A)], ("network.snat", [RULE_A])),
    ("merged", {"network": {"snat": [RULE_B]}}, ["network.snat: + " + entry(RULE_B)],
     ("network.snat", [RULE_A, RULE_B])),
    ("merged", {"datacall": {"apn": [APN]}}, ["datacall.apn: + " + entry(APN_SHOWN)], ("datacall.apn.1", APN_SHOWN)),
    ("replaced", {"wifi": {"interfaces": {"1": {"channel": 1}}}},
     [IF1 + '.ssid.ssid: "Fleet AP" -> "KEST-2.4G"', IF1 + ".channel: 11 -> 1"], (IF1 + ".ssid.ssid", "KEST-2.4G")),
    ("replaced", {"network": {"lan": {"lease": 3600}}},
     ["network.snat: - " + entry(RULE_A), "network.snat: - " + entry(RULE_B), "network.lan.lease: 43200 -> 3600"],
     ("network.snat", [])),
    ("deleted", {"datacall": {"apn": [{"profile-type": 0, "profile-index": 1}]}},
     ["datacall.apn: - " + entry(APN_SHOWN)], ("datacall.apn.1", None)),
    ("overridden", {"wifi": {"country": "DE"}},
     ['wifi.country: "US" -> "DE"', IF1 + ".channel: 1 -> 6", "network.lan.lease: 3600 -> 43200"],
     ("wifi.country", "DE")),
    ("deleted", {}, ['wifi.country: "DE" -> "US"'], ("wifi.country", "US")),
]


def at(doc, path):
    for part in path.split("."):
        if isinstance(doc, list):
            doc = doc[int(part)] if int(part) < len(doc) else None
        else:
            doc = doc.get(part) if doc is not None else None
    return doc


def task(name, args, check=False):
    t = {"name": name, "vg.mgmt.config": dict(args), "register": "r", "ignore_errors": True}
    if check:
        t["check_mode"] = True
    return t


class States(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.svc = Service(KESTD, VGM)
        cls.tmp = os.path.join(cls.svc.dir.name, "ansible-tmp")
        path = os.path.dirname(os.path.abspath(VGM)) + ":" + os.environ.get("PATH", "/usr/bin:/bin")
        cls.env = environment(COLLECTIONS, cls.tmp)
        cls.play = {"hosts": "localhost", "connection": "local", "gather_facts": False,
                    "vars": {"ansible_python_interpreter": NO_PYTHON},
                    "environment": {"PATH": path, "VG_MGMT_STATE_DIR": cls.svc.env()["VG_MGMT_STATE_DIR"]},
                    "tasks": []}

    @classmethod
    def tearDownClass(cls):
        cls.svc.stop()

    def run_tasks(self, tasks, *options):
        play = dict(self.play, tasks=tasks)
        book = self.svc.write(json.dumps([play]), "play.yml")
        rc, results, _, text = play_json(book, "localhost,", self.env, *options)
        return rc, {name: hosts["localhost"] for name, hosts in results.items()}, text

    def test_states_by_section(self):
        tasks = []
        for n, (state, doc, _, _) in enumerate(ROWS):
            args = {"socket": self.svc.sock, "state": state, "config": doc}
            tasks += [task(f"{n} check", args, check=True), task(f"{n} run", args), task(f"{n} again", args),
                      task(f"{n} read", {"socket": self.svc.sock, "state": "gathered"})]
        _, r, text = self.run_tasks(tasks)
        for n, (state, doc, commands, (path, value)) in enumerate(ROWS):
            with self.subTest(row=n, state=state, doc=doc):
                check, run, again, read = (r[f"{n} {w}"] for w in ("check", "run", "again", "read"))
                self.assertNotIn("failed", run, run.get("msg", text))
                self.assertEqual((check["changed"], check["commands"]), (True, commands))
                self.assertEqual((run["changed"], run["commands"]), (True, commands))
                self.assertEqual(run["before"], check["before"], "check mode changed something")
                self.assertEqual((again["changed"], again["commands"]), (False, []))
                self.assertEqual(read["gathered"], run["after"])
                self.assertEqual(at(read["gathered"], path), value)

    def test_offline_states_and_facts(self):
        doc = {"usb": {"product": "Fleet"}, "wifi": {"interfaces": {"1": {"auth": {"auth": "wpa-psk-2",
                                                                                    "password": "fleet-secret-1"}}}}}
        tasks = [task("rendered", {"state": "rendered", "config": doc}),
                 task("parsed", {"state": "parsed", "running_config": json.dumps(doc)}),
                 {"name": "facts", "vg.mgmt.facts": {"socket": self.svc.sock}},
                 {"name": "branch", "debug": {"msg": "{{ ansible_facts.vg_mgmt.usb.product }}"}}]
        _, r, text = self.run_tasks(tasks)
        self.assertEqual(r["rendered"]["rendered"], ['usb.product: "KEST LTE Module" -> "Fleet"',
                                                     IF1 + '.auth.auth: "wpa-psk-3" -> "wpa-psk-2"'])
        self.assertEqual(r["parsed"]["parsed"]["wifi"]["interfaces"]["1"]["auth"]["password"], "********")
        self.assertNotIn("fleet-secret-1", text)
        self.assertEqual(r["branch"]["msg"], at(json.loads(self.svc.export(secrets=False)), "usb.product"))

    def test_refused_value_returns_what_was_undone(self):
        before = self.svc.export()
        args = {"socket": self.svc.sock, "config": {"usb": {"product": "Undone", "id": {"pid": "0x0000"}}}}
        rc, r, _ = self.run_tasks([task("refused", args)])
        self.assertTrue(r["refused"]["failed"])
        self.assertNotIn("commands", r["refused"])
        self.assertIn('usb.product: "KEST LTE Module" -> "Undone"', r["refused"]["undone"])
        self.assertEqual(self.svc.export(), before)

    def put_back(self, doc):
        for _ in range(50):  # the confirm watcher lets the module's lock go as it ends
            rc, _, err = self.svc.apply(doc)
            if rc != 9:
                break
            time.sleep(0.1)
        self.assertEqual(rc, 0, err)

    def test_confirm_then_confirmed(self):
        help_text = subprocess.run([VGM, "config", "apply", "--help"], capture_output=True, text=True, timeout=30)
        if "--confirm" not in help_text.stdout + help_text.stderr:
            self.skipTest("this vg-mgmt has no config apply --confirm")
        before = self.svc.export()
        self.addCleanup(self.put_back, before)  # the next tests start from it
        args = {"socket": self.svc.sock, "confirm": 60, "config": {"usb": {"manufacturer": "Confirmed"}}}
        confirm = {"name": "confirm", "raw": f"VG_KEST_SOCKET={self.svc.sock} VG_MGMT_STATE_DIR={self.svc.env()['VG_MGMT_STATE_DIR']} "
                                            f"{os.path.abspath(VGM)} config confirm"}
        _, r, text = self.run_tasks([task("apply", args), confirm])
        self.assertEqual((r["apply"]["changed"], r["apply"]["commands"]),
                         (True, ['usb.manufacturer: "KEST" -> "Confirmed"']), text[-2000:])
        self.assertNotIn("failed", r["confirm"], text[-2000:])
        self.assertEqual(at(json.loads(self.svc.export()), "usb.manufacturer"), "Confirmed")

    def test_module_documentation_reads(self):
        for module, options in (("vg.mgmt.config", ("config", "src", "socket", "state", "confirm", "running_config")),
                                ("vg.mgmt.facts", ())):
            p = subprocess.run(["ansible-doc", module], capture_output=True, text=True, env=self.env, timeout=60)
            self.assertEqual(p.returncode, 0, p.stderr)
            for option in options:
                self.assertRegex(p.stdout, r"(?m)^[-=] " + option + r"\b")

    def test_a_document_given_as_a_file_on_the_module(self):
        self.addCleanup(self.put_back, self.svc.export())  # the next tests start from it
        args = {"socket": self.svc.sock, "src": self.svc.write({"wifi": {"country": "DE"}}, "module.json")}
        _, r, text = self.run_tasks([task("src", args), task("src again", args)], "--diff")
        self.assertEqual((r["src"]["changed"], r["src again"]["changed"]), (True, False), text[-2000:])
        self.assertEqual(r["src"]["diff"], {"before": {"wifi": {"country": "US"}}, "after": {"wifi": {"country": "DE"}}})

    def test_unknown_option_fails_the_task(self):
        _, r, _ = self.run_tasks([task("typo", {"sokcet": self.svc.sock, "config": {"usb": {"product": "T"}}})])
        self.assertTrue(r["typo"]["failed"])
        self.assertIn("Unsupported parameters for (vg.mgmt.config) module: sokcet", r["typo"]["msg"])


# Arguments files the module refuses, before anything is sent: contents, and
# Ansible's words for why.
MALFORMED = [
    ('{"sokcet": "/x", "config": {}}', r"^Unsupported parameters for \(vg.mgmt.config\) module: sokcet\. "
                                       r"Supported parameters include: config, confirm, running_config"),
    ('{"socket": 123, "config": {}}',
     r"^argument 'socket' is of type <class 'int'> and we were unable to convert to path:"),
    ('{"src": "/etc"}', r"^src: /etc: not a regular file"),
    ('{"src": "/nonexistent/doc.json"}', r"^src: /nonexistent/doc.json: does not exist"),
    ('[{"config": {}}]', r"^the arguments file holds a list"),
    ("{not json", r"^the arguments file .*: not JSON"),
    ('{"config": {}, "_ansible_check_mode": "yes"}', r"^argument '_ansible_check_mode' is of type <class 'str'>"),
    ('{"config": 42}', r"^argument 'config' is of type <class 'int'>"),
    ('{"config": "[1"}', r"^config: not JSON"),
    ('{"config": "[1]"}', r"^the configuration document is a array"),
    ('{"config": {}, "src": "/x"}', r"^parameters are mutually exclusive: config\|src$"),
    ("{}", r"^one of the following is required: config, src$"),
    ('{"state": "merge", "config": {}}', r"^value of state must be one of: merged, replaced"),
    ('{"state": "parsed"}', r"^state is parsed but all of the following are missing: running_config$"),
    ('{"state": "gathered", "config": {}}', r"^parameters are mutually exclusive: state=gathered"),
    ('{"confirm": -5, "config": {}}',
     r"^argument 'confirm' is of type <class 'int'> and we were unable to convert to int"),
    ('{"config": {"usb": {"product": "\\ud800"}}}', r"."),
    ('{"_ansible_module_name": "vg.mgmt.facts", "config": {}}', r"^Unsupported parameters for \(vg.mgmt.facts\)"),
]


class Options(unittest.TestCase):
    def test_malformed_arguments_fail_with_json(self):
        svc = Service(KESTD, VGM)
        self.addCleanup(svc.stop)
        before = svc.export()
        for n, (args, msg) in enumerate(MALFORMED):
            with self.subTest(args=args):
                path = svc.write(args, f"args-{n}.json")
                p = subprocess.run([VGM, "config", "ansible", path], capture_output=True, text=True,
                                   env=svc.env(), timeout=30)
                self.assertEqual(p.returncode, 1, p.stderr)
                result = json.loads(p.stdout)
                self.assertEqual((result["failed"], result["changed"]), (True, False))
                self.assertRegex(result["msg"], msg)
        self.assertEqual(svc.export(), before)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
