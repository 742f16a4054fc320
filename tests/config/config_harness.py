"""A kestd of the test's own on a private socket, vg-mgmt config against it, and
ansible-playbook runs with an environment of the test's own."""
import copy
import json
import os
import subprocess
import sys
import tempfile
import time
import unittest

VGM, KESTD = sys.argv[1:3]


def set_path(doc, path, value):
    node, keys = doc, path.split(".")
    for k in keys[:-1]:
        node = node.setdefault(k, {})
    node[keys[-1]] = value
    return doc


def get_path(doc, path):
    for k in path.split("."):
        doc = doc[k]
    return doc


class Service:
    def __init__(self):
        self.dir = tempfile.TemporaryDirectory(prefix="vg-config-")
        self.sock = os.path.join(self.dir.name, "kest.sock")
        self.proc = subprocess.Popen([KESTD, "--socket", self.sock], stdout=subprocess.PIPE,
                                     stderr=subprocess.DEVNULL, text=True)
        line = self.proc.stdout.readline()
        if line.strip() != "kestd listening on " + self.sock:
            self.stop()
            raise RuntimeError("kestd did not start: " + line)

    def stop(self):
        if self.proc.poll() is None:
            self.proc.terminate()
            self.proc.wait(timeout=10)
        self.proc.stdout.close()
        self.dir.cleanup()

    def control(self, *words):
        """A control command of kestd (through kestctl beside it)."""
        kestctl = os.path.join(os.path.dirname(KESTD), "kestctl")
        subprocess.run([kestctl, "--socket", self.sock, *words], check=True, capture_output=True, timeout=30)

    def env(self):
        return dict(os.environ, VG_KEST_SOCKET=self.sock, VG_MGMT_STATE_DIR=os.path.join(self.dir.name, "state"))

    def run_line(self, *args, env=None, stdin=None):
        """vg-mgmt ARGS, a whole command line: (exit status, stdout, stderr)."""
        p = subprocess.run([VGM, *args], input=stdin, capture_output=True, encoding="utf-8", env=env or self.env(),
                           timeout=60)
        return p.returncode, p.stdout, p.stderr

    def run(self, *args, stdin=None):
        """vg-mgmt config ARGS: (exit status, stdout, stderr)."""
        return self.run_line("config", *args, stdin=stdin)

    def export(self, secrets=True):
        rc, out, err = self.run("export", *(["--show-secrets"] if secrets else []))
        if rc != 0:
            raise AssertionError("export failed: " + err)
        return out

    def write(self, doc, name="doc.json"):
        path = os.path.join(self.dir.name, name)
        fd = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600)
        with os.fdopen(fd, "w", encoding="utf-8") as f:
            f.write(doc if isinstance(doc, str) else json.dumps(doc, ensure_ascii=False))
        return path

    def apply(self, doc, *more):
        return self.run("apply", self.write(doc), *more)


class ServiceTest(unittest.TestCase):
    """One kestd for the class; every test (and every row, through reset) starts from its defaults."""

    @classmethod
    def setUpClass(cls):
        cls.svc = Service()
        cls.baseline_text = cls.svc.export()
        cls.baseline = json.loads(cls.baseline_text)

    @classmethod
    def tearDownClass(cls):
        cls.svc.stop()

    def setUp(self):
        self.reset()

    def reset(self):
        self.svc.control("clear")
        for _ in range(50):  # a confirm watcher lets the module's lock go as it ends
            rc, _, err = self.svc.apply(self.baseline)
            if rc != 9:
                break
            time.sleep(0.1)
        self.assertEqual(rc, 0, err)

    def edited(self, *changes):
        doc = copy.deepcopy(self.baseline)
        for path, value in changes:
            set_path(doc, path, value)
        return doc

    def assert_export(self, *changes):
        """The export is the defaults with these changes (without any: the same text)."""
        if not changes:
            self.assertEqual(self.svc.export(), self.baseline_text)
        self.assertEqual(json.loads(self.svc.export()), self.edited(*changes))


# No Python on the module: every play points Ansible at an interpreter that
# does not exist, so a module that needed one would fail.
NO_PYTHON = "/nonexistent/vg-test/python3"


def environment(collections, tmp, **more):
    """Ansible's environment: the collection from the tree, state in tmp, a UTF-8 locale."""
    return dict(os.environ, ANSIBLE_COLLECTIONS_PATH=collections, ANSIBLE_NOCOLOR="1", LC_ALL="C.UTF-8",
                ANSIBLE_LOCALHOST_WARNING="False", ANSIBLE_INVENTORY_UNPARSED_WARNING="False",
                ANSIBLE_RETRY_FILES_ENABLED="False", ANSIBLE_LOCAL_TEMP=tmp, ANSIBLE_REMOTE_TEMP=tmp,
                ANSIBLE_HOME=tmp, ANSIBLE_GATHERING="explicit", ANSIBLE_HOST_KEY_CHECKING="False") | more


def play_json(book, inventory, env, *options, timeout=300):
    """Runs a playbook with the json callback: (exit status, {task name: {host: result}}, stats, text)."""
    env = dict(env, ANSIBLE_STDOUT_CALLBACK="vg_results",
               ANSIBLE_CALLBACK_PLUGINS=os.path.join(os.path.dirname(os.path.abspath(__file__)), "callback_plugins"))
    p = subprocess.run(["ansible-playbook", "-i", inventory, book, *options], capture_output=True, text=True,
                       env=env, timeout=timeout)
    try:
        out = json.loads(p.stdout[p.stdout.rindex('{"tasks"'):])
    except ValueError as e:
        raise AssertionError("no JSON from ansible-playbook: " + (p.stdout + p.stderr)[-3000:]) from e
    return p.returncode, out["tasks"], out["stats"], p.stdout + p.stderr


def main():
    unittest.main(argv=sys.argv[:1], verbosity=2)
