"""A kestd of the test's own on a private socket, and vg-mgmt config against it."""
import json
import os
import subprocess
import tempfile
import time


class Service:
    def __init__(self, kestd, vgm):
        self.kestd, self.vgm = kestd, vgm
        self.dir = tempfile.TemporaryDirectory(prefix="vg-config-")
        self.sock = os.path.join(self.dir.name, "kest.sock")
        self.proc = subprocess.Popen([kestd, "--socket", self.sock], stdout=subprocess.PIPE,
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
        kestctl = os.path.join(os.path.dirname(self.kestd), "kestctl")
        subprocess.run([kestctl, "--socket", self.sock, *words], check=True, capture_output=True, timeout=30)

    def env(self):
        return dict(os.environ, VG_KEST_SOCKET=self.sock, VG_MGMT_STATE_DIR=os.path.join(self.dir.name, "state"))

    def run(self, *args, stdin=None):
        """vg-mgmt config ARGS: (exit status, stdout, stderr)."""
        p = subprocess.run([self.vgm, "config", *args], input=stdin, capture_output=True, encoding="utf-8",
                           env=self.env(), timeout=60)
        return p.returncode, p.stdout, p.stderr

    def run_line(self, *args, env=None):
        """vg-mgmt ARGS, a whole command line: (exit status, stdout, stderr)."""
        p = subprocess.run([self.vgm, *args], capture_output=True, encoding="utf-8", env=env or self.env(),
                           timeout=60)
        return p.returncode, p.stdout, p.stderr

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
