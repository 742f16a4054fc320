"""The vg.mgmt collection through a real ansible-playbook (connection: local)
against one kestd.

Usage: test_ansible.py VG_MGMT KESTD COLLECTIONS_DIR. One playbook run per case.
"""
import json
import os
import re
import subprocess
import sys
import unittest

from config_harness import Service

VGM, KESTD, COLLECTIONS = sys.argv[1], sys.argv[2], sys.argv[3]

PLAYBOOK = """- hosts: localhost
  connection: local
  gather_facts: false
  vars:
    ansible_python_interpreter: /nonexistent/vg-test/python3
  environment:
    PATH: "{path}"
    VG_MGMT_STATE_DIR: "{state}"
  tasks:
    - name: configuration
      vg.mgmt.config:
        socket: "{sock}"
        {document}
"""

WANTED = {"version": 1, "wifi": {"interfaces": {"1": {"channel": 11, "ssid": {"ssid": "Fleet AP"}}}},
          "network": {"snat": [{"private-ip": "192.168.225.20", "private-port": 8080,
                                "global-port": 80, "protocol": "tcp"}]}}
AGAIN = json.loads(json.dumps(WANTED))
AGAIN["wifi"]["interfaces"]["1"]["channel"] = 1


class Playbook(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.svc = Service(KESTD, VGM)

    @classmethod
    def tearDownClass(cls):
        cls.svc.stop()

    def play(self, config, *options, src=False):
        """Runs one playbook: (exit status, recap counts, output). With src the
        document goes as a file on the module, else inline."""
        document = "config: " + json.dumps(config)
        if src:
            document = "src: " + self.svc.write(config, "module.json")
        path = os.path.dirname(os.path.abspath(VGM)) + ":" + os.environ.get("PATH", "/usr/bin:/bin")
        book = self.svc.write(PLAYBOOK.format(path=path, sock=self.svc.sock, document=document,
                                              state=self.svc.env()["VG_MGMT_STATE_DIR"]),
                              "site.yml")
        tmp = os.path.join(self.svc.dir.name, "ansible-tmp")
        # Ansible needs a UTF-8 locale, whatever the caller's is.
        env = dict(os.environ, ANSIBLE_COLLECTIONS_PATH=COLLECTIONS, ANSIBLE_NOCOLOR="1", LC_ALL="C.UTF-8",
                   ANSIBLE_LOCALHOST_WARNING="False", ANSIBLE_INVENTORY_UNPARSED_WARNING="False",
                   ANSIBLE_RETRY_FILES_ENABLED="False", ANSIBLE_LOCAL_TEMP=tmp, ANSIBLE_REMOTE_TEMP=tmp,
                   ANSIBLE_HOME=tmp, ANSIBLE_GATHERING="explicit")
        p = subprocess.run(["ansible-playbook", "-i", "localhost,", book, *options], capture_output=True,
                           text=True, env=env, timeout=120)
        recap = re.search(r"localhost\s*:\s*ok=(\d+)\s+changed=(\d+)\s+unreachable=\d+\s+failed=(\d+)", p.stdout)
        self.assertIsNotNone(recap, p.stdout + p.stderr)
        return p.returncode, dict(zip(("ok", "changed", "failed"), map(int, recap.groups()))), p.stdout

    def test_0_module_documentation_reads(self):
        env = dict(os.environ, ANSIBLE_COLLECTIONS_PATH=COLLECTIONS, ANSIBLE_NOCOLOR="1", LC_ALL="C.UTF-8",
                   ANSIBLE_HOME=os.path.join(self.svc.dir.name, "ansible-tmp"))
        p = subprocess.run(["ansible-doc", "vg.mgmt.config"], capture_output=True, text=True, env=env, timeout=60)
        self.assertEqual(p.returncode, 0, p.stderr)
        for option in ("config", "src", "socket", "state", "confirm", "running_config"):
            self.assertRegex(p.stdout, r"(?m)^[-=] " + option + r"\b")
        p = subprocess.run(["ansible-doc", "vg.mgmt.facts"], capture_output=True, text=True, env=env, timeout=60)
        self.assertEqual(p.returncode, 0, p.stderr)

    # The cases run in this order, each on the configuration the one before left.
    def test_1_first_run_changes(self):
        rc, recap, out = self.play(WANTED)
        self.assertEqual((rc, recap["changed"], recap["failed"]), (0, 1, 0), out)
        Playbook.applied = self.svc.export()
        self.assertIn('"ssid": "Fleet AP"', Playbook.applied)

    def test_2_second_run_changes_nothing(self):
        rc, recap, out = self.play(WANTED, src=True)
        self.assertEqual((rc, recap["changed"]), (0, 0), out)
        self.assertEqual(self.svc.export(), Playbook.applied)

    def test_3_check_changes_nothing_and_diff_shows_the_change(self):
        rc, recap, out = self.play(AGAIN, "--check", "--diff")
        self.assertEqual((rc, recap["changed"]), (0, 1), out)
        self.assertRegex(out, r'(?m)^-\s+"channel": 11,?$')
        self.assertRegex(out, r'(?m)^\+\s+"channel": 1,?$')
        self.assertEqual(self.svc.export(), Playbook.applied)

    def test_4_refused_value_fails_and_changes_nothing(self):
        rc, recap, out = self.play(dict(AGAIN, usb={"id": {"pid": "0x0000"}}))
        self.assertEqual((recap["failed"], recap["changed"]), (1, 0), out)
        self.assertNotEqual(rc, 0)
        self.assertIn("the configuration is as it was", out)
        self.assertEqual(self.svc.export(), Playbook.applied)

if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
