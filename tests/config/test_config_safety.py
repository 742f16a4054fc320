"""vg-mgmt config apply when things go wrong: signals, kill -9 at a step,
the undo, the journal, the confirm watcher and the history.

Usage: test_config_safety.py VG_MGMT KESTD. The tool's test hook
VG_CONFIG_TEST_PAUSE="POINT MS" holds an apply at a point, so that the test
acts there: "undo" before the undo, "step N" before step N.
"""
import json
import os
import signal
import subprocess
import tempfile
import time

from config_harness import VGM, ServiceTest, main

REFUSED_LAST = ("usb.id.pid", "0x0000")  # the service refuses it; USB goes out last
# Four steps: the channel, the DMZ host, the LAN lease, the USB product name.
FOUR_STEPS = [("wifi.interfaces.1.channel", 11), ("network.dmz", "192.168.225.77"), ("network.lan.lease", 7200),
              ("usb.product", "Fleet LTE")]


def end_holders(folder, deadline=10.0):
    """Kills every process that holds a file under folder (a confirm watcher
    holds its lock there, before its exec as after) and waits until none is left."""
    end = time.monotonic() + deadline
    while True:
        found = []
        for pid in filter(str.isdigit, os.listdir("/proc")):
            try:
                fds = "/proc/%s/fd" % pid
                links = [os.readlink(os.path.join(fds, fd)) for fd in os.listdir(fds)]
            except OSError:
                continue
            if int(pid) != os.getpid() and any(link.startswith(folder + "/") for link in links):
                found.append(int(pid))
        if not found or time.monotonic() > end:
            return found
        for pid in found:
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        time.sleep(0.05)


def drop_the_answer(t, _):
    """The step's answer is held back, and the connection dropped."""
    t.svc.control("delay", "3000")
    time.sleep(1.8)  # the step went out when the pause ended; its answer is still held back
    t.svc.control("drop")
    t.svc.control("delay", "0")


def second_apply(t, _):
    rc, out, err = t.svc.run("apply", t.svc.write(t.edited(("wifi.country", "DE")), "second.json"))
    t.assertEqual(rc, 9, out + err)
    t.assertIn("another apply is in progress on this module", err)


def kill_then(command):
    def after(t):
        rc, out, err = t.svc.run(command)
        t.assertEqual(rc, 0, out + err)
        t.assertIn("did not finish: restoring the configuration from before it", err)
        t.assertEqual(t.svc.run("recover")[1], "nothing to recover: no apply was left unfinished\n")
    return after


def others_then_recover(t):
    """Another client changes a value the apply changed and adds an entry; the restore leaves both."""
    t.assertEqual(t.svc.run_line("wifi", "channel", "set", "1", "1")[0], 0)
    t.assertEqual(t.svc.run_line("wifi", "acl", "add", "1", "02:00:00:00:00:77")[0], 0)
    rc, out, err = t.svc.run("recover")
    t.assertEqual(rc, 0, out + err)
    t.assertIn("left as another client set it since: wifi.interfaces.1.channel", err)
    t.assertIn("restored network.lan.lease", err)
    t.assertNotIn("acl", err)


def write_back(t):
    t.assertEqual(t.svc.run_line("usb", "config", "write")[0], 0)


# One row per apply held at a point: (changes, kestctl fail words first, point, what happens there,
# status, stderr holds, what is checked after, what the export has changed).
HELD = [
    # Another client changes what the apply changed while it waits to undo: the undo leaves it.
    ([("wifi.interfaces.2.channel", 40), REFUSED_LAST], None, "undo",
     lambda t, _: t.assertEqual(t.svc.run_line("wifi", "channel", "set", "2", "44")[0], 0), 1,
     ["left as another client set it since: wifi.interfaces.2.channel"], None, [("wifi.interfaces.2.channel", 44)]),
    ([("network.dmz", "192.168.225.77"), REFUSED_LAST], None, "undo",
     lambda t, _: t.assertEqual(t.svc.run_line("network", "dmz", "del")[0], 0), 1,
     ["left as another client set it since: network.dmz"], None, [("network.dmz", None)]),
    # A step without an answer is read back, and undone when it landed.
    ([("network.dmz", "192.168.225.77")], None, "step 1", drop_the_answer, 1,
     ["unknown: network.dmz got no answer", "it had landed and was undone"], None, []),
    # The write-back is refused, and while the apply waits to undo, the next product name write too.
    ([("usb.product", "Fleet LTE"), ("usb.manufacturer", "Fleet")], ["usb", "config", "write", "103"], "undo",
     lambda t, _: t.svc.control("fail", "usb", "product", "set", "103"), 7,
     ["undo refused: usb.product", "the next write-back commits none of this apply"], write_back, []),
    (FOUR_STEPS, None, "step 2", second_apply, 0, [], None, FOUR_STEPS),
] + [(FOUR_STEPS, None, "step 3", lambda t, proc, sig=sig: proc.send_signal(sig), 8,
      ["interrupted by " + sig.name + " after 2 step(s)", "the configuration is as it was"], None, [])
     for sig in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGPIPE)
] + [
    # The reader of its output goes away (apply | head): as SIGPIPE, before it writes again.
    (FOUR_STEPS, None, "step 3", lambda t, proc: proc.stdout.close(), 8,
     ["interrupted by SIGPIPE after 2 step(s)", "the configuration is as it was"], None, []),
] + [(FOUR_STEPS, None, "step %d" % step, lambda t, proc: proc.send_signal(signal.SIGKILL), -signal.SIGKILL, [],
      kill_then(command), []) for step, command in [(1, "recover"), (4, "recover"), (3, "export")]
] + [(FOUR_STEPS, None, "step 4", lambda t, proc: proc.send_signal(signal.SIGKILL), -signal.SIGKILL, [],
      others_then_recover, [("wifi.interfaces.1.channel", 1), ("wifi.interfaces.1.acl", ["02:00:00:00:00:77"])])]


class Safety(ServiceTest):
    def paused_apply(self, doc, point, meanwhile):
        """Starts an apply held at `point`, runs meanwhile(), and returns its (status, stdout, stderr)."""
        env = dict(self.svc.env(), VG_CONFIG_TEST_PAUSE=point + " 1200")
        proc = subprocess.Popen([VGM, "config", "apply", self.svc.write(doc)], env=env, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, encoding="utf-8")
        state, until = self.svc.env()["VG_MGMT_STATE_DIR"], time.time() + 10
        while proc.poll() is None and time.time() < until and not (
                os.path.isdir(state) and any(f.endswith(".journal") for f in os.listdir(state))):
            time.sleep(0.02)  # the journal is written just before the first step
        time.sleep(0.2)
        meanwhile(self, proc)
        out, err = proc.communicate(timeout=60)
        return proc.returncode, out or "", err

    def test_an_apply_held_at_a_point_ends_safely(self):
        for n, (changes, fail, point, meanwhile, status, said, after, left) in enumerate(HELD):
            with self.subTest(row=n, point=point, said=said):
                self.reset()
                if fail:
                    self.svc.control("fail", *fail)
                rc, out, err = self.paused_apply(self.edited(*changes), point, meanwhile)
                self.assertEqual(rc, status, out + err)
                for text in said:
                    self.assertIn(text, err)
                if after:
                    after(self)
                self.assert_export(*left)

    def test_confirm_keeps_the_change_and_its_absence_reverts_it(self):
        # (seconds, what follows the apply, the change kept); a secret goes back too
        change = [("wifi.country", "DE"), ("wifi.interfaces.1.auth.password", "changed-passphrase")]
        # Seconds enough for the export that follows the apply, under the sanitizers too.
        for seconds, then, kept in [(4, lambda: None, False), (4, self.confirm, True), (60, self.restart, False),
                                    (60, self.revert, False), (60, self.revert_without_watcher, False)]:
            with self.subTest(seconds=seconds):
                self.reset()
                proc = subprocess.Popen([VGM, "config", "apply", "--confirm", str(seconds),
                                         self.svc.write(self.edited(*change))],
                                        env=self.svc.env(), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, encoding="utf-8", start_new_session=True)
                out, err = proc.communicate(timeout=30)  # ends only when no process holds the pipes
                self.assertEqual(proc.returncode, 0, out + err)
                self.assertIn("unless 'vg-mgmt config confirm' comes first", out)
                self.assertEqual(json.loads(self.svc.export())["wifi"]["country"], "DE")
                self.assertEqual(self.status_config()["pending"], True)
                then()
                self.wait_unlocked()
                self.assert_export(*change * kept)
                ended = self.status_config()
                self.assertEqual((ended["pending"], ended["last"]["what"]), (False, "confirmed" if kept else "reverted"))

    def test_a_full_disk_ends_in_the_old_or_the_new_configuration_and_says_which(self):
        mnt = tempfile.mkdtemp()
        if os.geteuid() != 0 or subprocess.run(["mount", "-t", "tmpfs", "-o", "size=96k,mode=0700", "tmpfs", mnt],
                                               capture_output=True).returncode != 0:
            os.rmdir(mnt)
            self.skipTest("needs a small file system of its own (root, mount)")
        state, doc = os.path.join(mnt, "state"), self.svc.write(self.edited(("wifi.interfaces.1.channel", 11)), "full.json")
        env = dict(self.svc.env(), VG_MGMT_STATE_DIR=state)
        try:
            for free in range(8):  # pages left: the journal, the history or the confirm's journal finds none
                with self.subTest(free=free):
                    self.reset()
                    subprocess.run([VGM, "config", "history"], env=env, capture_output=True)
                    fillers = []
                    while True:
                        fillers.append(os.path.join(mnt, "fill%d" % len(fillers)))
                        try:
                            with open(fillers[-1], "wb") as f:
                                f.write(bytes(4096))
                        except OSError:
                            break
                    for name in fillers[-1 - free:]:
                        os.remove(name)
                    p = subprocess.run([VGM, "config", "apply", "--confirm", "10", doc], env=env, capture_output=True,
                                       encoding="utf-8", stdin=subprocess.DEVNULL, timeout=60)
                    channel = json.loads(self.svc.export())["wifi"]["interfaces"]["1"]["channel"]
                    for name in fillers[:-1 - free]:
                        os.remove(name)
                    if p.returncode == 0:
                        self.assertEqual(channel, 11, p.stdout + p.stderr)
                        self.assertIn("unless 'vg-mgmt config confirm' comes first", p.stdout)
                        subprocess.run([VGM, "config", "confirm"], env=env, capture_output=True)
                    else:
                        self.assertEqual(channel, self.baseline["wifi"]["interfaces"]["1"]["channel"], p.stderr)
                        self.assertRegex(p.stderr, "nothing was sent|the configuration is as it was")
                    self.assertEqual(end_holders(state), [])
        finally:
            end_holders(mnt)
            subprocess.run(["umount", mnt])
            os.rmdir(mnt)

    def confirm(self):
        rc, out, err = self.svc.run("confirm")
        self.assertEqual((rc, "confirmed" in out), (0, True), out + err)
        self.wait_unlocked()
        self.assertEqual(self.svc.run("confirm")[0], 1)

    def status_config(self):
        """What vg-mgmt status says of a change awaiting confirmation."""
        rc, out, err = self.svc.run_line("--json", "status")
        self.assertEqual(rc, 0, err)
        return json.loads(out)["config"]

    def revert(self):
        rc, out, err = self.svc.run("revert")
        self.assertEqual((rc, "reverted: the change applied at" in out), (0, True), out + err)
        self.assertEqual(self.svc.run("revert")[0], 1)  # nothing awaits any more
        self.assertEqual(self.svc.run("confirm")[0], 1)

    def revert_without_watcher(self):
        self.assertEqual(end_holders(self.svc.env()["VG_MGMT_STATE_DIR"]), [])  # the module restarted
        self.revert()

    def restart(self):
        state = self.svc.env()["VG_MGMT_STATE_DIR"]
        journal = [f for f in os.listdir(state) if f.endswith(".journal")][0]
        self.assertEqual(os.stat(os.path.join(state, journal)).st_mode & 0o777, 0o600)
        self.assertEqual(os.stat(state).st_mode & 0o777, 0o700)
        self.assertEqual(end_holders(state), [])  # the module restarts: its watcher is gone
        rc, out, err = self.svc.run("recover")
        self.assertEqual(rc, 0, out + err)
        self.assertIn("was not confirmed in time", err)

    def wait_unlocked(self):
        # recover changes nothing while the watcher holds the module (9) and
        # nothing once it is done; an apply here could put back a value that
        # the watcher reverts in between.
        for _ in range(200):
            if self.svc.run("recover")[0] != 9:
                return
            time.sleep(0.1)
        self.fail("the watcher still holds the module")

    def test_the_last_ten_applies_are_kept_and_rollback_applies_one_back(self):
        for channel in range(1, 13):
            # A file name that would clear the screen and forge a line of the history.
            name = "ch\x1b[2J\n3   forged.json" if channel == 11 else "ch.json"
            rc, _, err = self.svc.run("apply", self.svc.write(self.edited(("wifi.interfaces.1.channel", channel)),
                                                              name))
            self.assertEqual(rc, 0, err)
        text = self.svc.run("history")[1]
        self.assertEqual((len(text.splitlines()), text.count("\x1b")), (10, 0), text)
        rc, out, _ = self.svc.run("history", "--json")
        entries = json.loads(out)["history"]
        self.assertEqual([e["n"] for e in entries], list(range(1, 11)))
        self.assertEqual((entries[0]["changes"], entries[0]["applied"][-7:]), (1, "ch.json"))
        self.assertNotIn("replaced", out)  # the documents stay in the private files
        state = self.svc.env()["VG_MGMT_STATE_DIR"]
        self.assertEqual({os.stat(os.path.join(state, f)).st_mode & 0o777 for f in os.listdir(state)}, {0o600})
        rc, out, err = self.svc.run("rollback", "3")  # what the apply of channel 10 replaced
        self.assertEqual(rc, 0, out + err)
        self.assertEqual(json.loads(self.svc.export())["wifi"]["interfaces"]["1"]["channel"], 9)
        self.assertIn("rollback 3", self.svc.run("history")[1].splitlines()[0])
        self.assertEqual(self.svc.run("rollback", "11")[0], 2)


if __name__ == "__main__":
    main()
