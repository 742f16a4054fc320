"""The vg.mgmt collection over real SSH: a private sshd on a loopback port
(keys made for the test, running as the current user), and one kestd per
simulated module, the socket of each in the inventory. Without and with
pipelining; no Python for the module. Exits 77 (skipped) when sshd cannot start.

Usage: test_ansible_ssh.py VG_MGMT KESTD COLLECTIONS_DIR.
"""
import getpass
import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest

from config_harness import NO_PYTHON, VGM, Service, environment, main, play_json

COLLECTIONS = sys.argv[3]
MODULES = 3
SKIP = 77


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class Sshd:
    """sshd -D on 127.0.0.1, stopped by stop() or at the latest after 300 s."""

    def __init__(self, folder):
        self.dir, self.port = folder, free_port()
        for key in ("host_key", "client_key"):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", os.path.join(folder, key)],
                           check=True, timeout=30)
        shutil.copy(os.path.join(folder, "client_key.pub"), os.path.join(folder, "authorized_keys"))
        config = os.path.join(folder, "sshd_config")
        with open(config, "w", encoding="utf-8") as f:
            f.write(f"""Port {self.port}
ListenAddress 127.0.0.1
HostKey {folder}/host_key
AuthorizedKeysFile {folder}/authorized_keys
PidFile {folder}/sshd.pid
PermitRootLogin prohibit-password
StrictModes no
UsePAM no
PasswordAuthentication no
KbdInteractiveAuthentication no
AllowUsers {getpass.getuser()}
MaxStartups 50
LogLevel ERROR
""")
        if os.geteuid() == 0:
            os.makedirs("/run/sshd", mode=0o755, exist_ok=True)  # sshd's privilege separation folder
        self.log = open(os.path.join(folder, "sshd.log"), "w", encoding="utf-8")
        self.proc = subprocess.Popen(["timeout", "300", shutil.which("sshd") or "/usr/sbin/sshd", "-D", "-e",
                                      "-f", config], stderr=self.log)
        self.ready = self.wait()

    def wait(self):
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline and self.proc.poll() is None:
            try:
                with socket.create_connection(("127.0.0.1", self.port), timeout=1):
                    return True
            except OSError:
                time.sleep(0.1)
        return False

    def stop(self):
        if self.proc.poll() is None:
            self.proc.terminate()
            self.proc.wait(timeout=10)
        self.log.close()


class OverSsh(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.TemporaryDirectory(prefix="vg-ssh-")
        cls.sshd = Sshd(cls.tmp.name)
        if not cls.sshd.ready:
            cls.sshd.stop()
            log = open(os.path.join(cls.tmp.name, "sshd.log"), encoding="utf-8").read()
            print("skipped: sshd did not start: " + log, file=sys.stderr)
            cls.tmp.cleanup()
            sys.exit(SKIP)
        cls.modules = [Service() for _ in range(MODULES)]
        hosts = {f"mod{n}": {"vg_socket": m.sock, "channel_base": n} for n, m in enumerate(cls.modules)}
        cls.inventory = os.path.join(cls.tmp.name, "inventory.json")
        common = {"ansible_connection": "ssh", "ansible_host": "127.0.0.1", "ansible_port": cls.sshd.port,
                  "ansible_user": getpass.getuser(), "ansible_python_interpreter": NO_PYTHON,
                  "ansible_ssh_private_key_file": os.path.join(cls.tmp.name, "client_key"),
                  "ansible_ssh_common_args": "-F /dev/null -o UserKnownHostsFile=/dev/null "
                                             "-o StrictHostKeyChecking=no -o IdentitiesOnly=yes"}
        with open(cls.inventory, "w", encoding="utf-8") as f:
            json.dump({"kest_modules": {"hosts": hosts, "vars": common}}, f)

    @classmethod
    def tearDownClass(cls):
        for m in cls.modules:
            m.stop()
        cls.sshd.stop()
        cls.tmp.cleanup()

    def run_play(self, channel, pipelining):
        path = os.path.dirname(os.path.abspath(VGM)) + ":/usr/bin:/bin"
        doc = {"wifi": {"interfaces": {"1": {"channel": "{{ channel_base | int + %d }}" % channel}}}}
        task = {"vg.mgmt.config": {"socket": "{{ vg_socket }}", "config": doc}, "register": "r"}
        play = {"hosts": "kest_modules", "gather_facts": False,
                "environment": {"PATH": path, "VG_MGMT_STATE_DIR": os.path.join(self.tmp.name, "state")},
                "tasks": [dict(task, name="set"), dict(task, name="again"),
                          {"name": "facts", "vg.mgmt.facts": {"socket": "{{ vg_socket }}"}}]}
        book = os.path.join(self.tmp.name, "play.json")
        with open(book, "w", encoding="utf-8") as f:
            json.dump([play], f)
        tmp = os.path.join(self.tmp.name, "ansible")
        env = environment(COLLECTIONS, tmp, ANSIBLE_PIPELINING=str(pipelining),
                          ANSIBLE_REMOTE_TEMP=os.path.join(self.tmp.name, "remote"),
                          ANSIBLE_SSH_ARGS="-o ControlMaster=auto -o ControlPersist=5s",
                          ANSIBLE_SSH_CONTROL_PATH_DIR=os.path.join(self.tmp.name, "cp"), ANSIBLE_TIMEOUT="20")
        return play_json(book, self.inventory, env, "--forks", str(MODULES), timeout=240)

    def test_playbook_over_ssh(self):
        for channel, pipelining in ((1, False), (5, True)):
            with self.subTest(pipelining=pipelining):
                rc, tasks, stats, text = self.run_play(channel, pipelining)
                self.assertEqual(rc, 0, text[-3000:])
                for n, m in enumerate(self.modules):
                    host = f"mod{n}"
                    self.assertEqual((tasks["set"][host]["changed"], tasks["again"][host]["changed"]), (True, False))
                    exported = json.loads(m.export(secrets=False))
                    self.assertEqual(exported["wifi"]["interfaces"]["1"]["channel"], n + channel)
                    self.assertEqual(tasks["facts"][host]["ansible_facts"]["vg_mgmt"], exported)
                    self.assertEqual(stats[host]["unreachable"], 0)


if __name__ == "__main__":
    main()
