"""The vg.mgmt modules through a real ansible-playbook (connection: local, no
Python for the module) against one kestd: the states of vg.mgmt.config on each
section, the facts module, and the options that the module refuses.

Usage: test_ansible_states.py VG_MGMT KESTD COLLECTIONS_DIR.
"""
import json
import os
import subprocess
import sys

from config_harness import NO_PYTHON, VGM, ServiceTest, environment, main, play_json, set_path

COLLECTIONS = sys.argv[3]

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


class States(ServiceTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        path = os.path.dirname(os.path.abspath(VGM)) + ":" + os.environ.get("PATH", "/usr/bin:/bin")
        cls.env = environment(COLLECTIONS, os.path.join(cls.svc.dir.name, "ansible-tmp"))
        cls.play = {"hosts": "localhost", "connection": "local", "gather_facts": False,
                    "vars": {"ansible_python_interpreter": NO_PYTHON},
                    "environment": {"PATH": path, "VG_MGMT_STATE_DIR": cls.svc.env()["VG_MGMT_STATE_DIR"]}}

    def run_tasks(self, tasks):
        book = self.svc.write(json.dumps([dict(self.play, tasks=tasks)]), "play.yml")
        _, results, _, text = play_json(book, "localhost,", self.env)
        return {name: hosts["localhost"] for name, hosts in results.items()}, text[-2000:]

    def test_states_by_section(self):
        tasks = []
        for n, (state, doc, _, _) in enumerate(ROWS):
            args = {"socket": self.svc.sock, "state": state, "config": doc}
            tasks += [task(f"{n} check", args, check=True), task(f"{n} run", args), task(f"{n} again", args),
                      task(f"{n} read", {"socket": self.svc.sock, "state": "gathered"})]
        r, text = self.run_tasks(tasks)
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

    def test_offline_states_facts_refusal_src_and_confirm(self):
        sock, secret = self.svc.sock, "fleet-secret-1"
        doc = {"usb": {"product": "Fleet"}, "wifi": {"interfaces": {"1": {"auth": {"auth": "wpa-psk-2",
                                                                                    "password": secret}}}}}
        src = {"socket": sock, "src": self.svc.write({"wifi": {"country": "DE"}}, "module.json")}
        confirm = f"VG_KEST_SOCKET={sock} VG_MGMT_STATE_DIR={self.play['environment']['VG_MGMT_STATE_DIR']} "
        # One row per task, in this order: the task, the result's key and what it holds.
        rows = [
            (task("rendered", {"state": "rendered", "config": doc}), "rendered",
             ['usb.product: "KEST LTE Module" -> "Fleet"', IF1 + '.auth.auth: "wpa-psk-3" -> "wpa-psk-2"']),
            (task("parsed", {"state": "parsed", "running_config": json.dumps(doc)}), "parsed",
             set_path(json.loads(json.dumps(doc)), IF1 + ".auth.password", "********") | {"version": 1}),
            ({"name": "facts", "vg.mgmt.facts": {"socket": sock}}, "ansible_facts",
             {"vg_mgmt": json.loads(self.svc.export(secrets=False))}),
            ({"name": "branch", "debug": {"msg": "{{ ansible_facts.vg_mgmt.usb.product }}"}}, "msg",
             at(self.baseline, "usb.product")),
            (task("refused", {"socket": sock, "config": {"usb": {"product": "Undone", "id": {"pid": "0x0000"}}}}),
             "failed", True),
            (dict(task("src", src), diff=True), "diff",
             {"before": {"wifi": {"country": "US"}}, "after": {"wifi": {"country": "DE"}}}),
            (task("src again", src), "changed", False),
            (task("confirm", {"socket": sock, "confirm": 60, "config": {"usb": {"manufacturer": "Confirmed"}}}),
             "commands", ['usb.manufacturer: "KEST" -> "Confirmed"']),
            ({"name": "confirmed", "raw": confirm + f"{os.path.abspath(VGM)} config confirm"}, "failed", None),
        ]
        r, text = self.run_tasks([t for t, _, _ in rows])
        for t, key, want in rows:
            with self.subTest(task=t["name"]):
                self.assertEqual(r[t["name"]].get(key), want, text)
        self.assertNotIn(secret, text)
        self.assertIn('usb.product: "KEST LTE Module" -> "Undone"', r["refused"]["undone"])
        self.assertNotIn("commands", r["refused"])
        self.assert_export(("wifi.country", "DE"), ("usb.manufacturer", "Confirmed"))

    def test_module_documentation_reads(self):
        for module, options in (("vg.mgmt.config", ("config", "src", "socket", "state", "confirm", "running_config")),
                                ("vg.mgmt.facts", ())):
            p = subprocess.run(["ansible-doc", module], capture_output=True, text=True, env=self.env, timeout=60)
            self.assertEqual(p.returncode, 0, p.stderr)
            for option in options:
                self.assertRegex(p.stdout, r"(?m)^[-=] " + option + r"\b")

    def test_malformed_arguments_fail_with_json_before_anything_is_sent(self):
        for n, (args, msg) in enumerate(MALFORMED):
            with self.subTest(args=args):
                rc, out, err = self.svc.run("ansible", self.svc.write(args, f"args-{n}.json"))
                result = json.loads(out)
                self.assertEqual((rc, result["failed"], result["changed"]), (1, True, False), err)
                self.assertRegex(result["msg"], msg)
        self.assert_export()


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


if __name__ == "__main__":
    main()
