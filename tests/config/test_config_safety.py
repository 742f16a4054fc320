"""vg-mgmt config apply when things go wrong: the undo leaves what other
clients set, a step that got no answer is read back, a failed USB undo
leaves no pending write-back of the document behind.

Usage: test_config_safety.py VG_MGMT KESTD. The tool's test hook
VG_CONFIG_TEST_PAUSE="POINT MS" holds an apply at a point, so that the test
acts there: "undo" before the undo, "step N" before step N.
"""
import json
import os
import signal
import subprocess
import sys
import time
import unittest

from config_harness import Service

VGM, KESTD = sys.argv[1], sys.argv[2]
REFUSED_LAST = ("usb.id.pid", "0x0000")  # the service refuses it; USB goes out last


def watchers(state):
    """The pids of the vg-mgmt watchers that use this state folder."""
    found = []
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open("/proc/%s/cmdline" % pid, "rb") as f:
                words = f.read().split(b"\0")
        except OSError:
            continue
        if b"watch-confirm" in words and state.encode() in words:
            found.append(int(pid))
    return found


def set_path(doc, path, value):
    keys = path.split(".")
    for k in keys[:-1]:
        doc = doc.setdefault(k, {})
    doc[keys[-1]] = value


class Harness(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.svc = Service(KESTD, VGM)
        cls.baseline_text = cls.svc.export()

    @classmethod
    def tearDownClass(cls):
        cls.svc.stop()

    def setUp(self):
        self.svc.control("clear")
        rc, _, err = self.svc.apply(json.loads(self.baseline_text))
        self.assertEqual(rc, 0, err)

    def edited(self, *changes):
        doc = json.loads(self.baseline_text)
        for path, value in changes:
            set_path(doc, path, value)
        return doc

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
        meanwhile(proc)
        out, err = proc.communicate(timeout=60)
        return proc.returncode, out, err



class Safety(Harness):
    def test_the_undo_leaves_what_another_client_set_meanwhile(self):
        # One row per setting another client changes while the apply waits to undo.
        rows = [
            ("wifi.interfaces.2.channel", 40, ["wifi", "channel", "set", "2", "44"], 44),
            ("network.dmz", "192.168.225.77", ["network", "dmz", "del"], None),
        ]
        for path, ours, theirs, left in rows:
            with self.subTest(path=path):
                self.setUp()
                rc, out, err = self.paused_apply(self.edited((path, ours), REFUSED_LAST), "undo",
                                                 lambda _: self.assertEqual(self.svc.run_line(*theirs)[0], 0))
                self.assertEqual(rc, 1, out + err)
                self.assertIn("left as another client set it since: " + path, err)
                want = json.loads(self.baseline_text)
                set_path(want, path, left)
                self.assertEqual(json.loads(self.svc.export()), want)

    def test_a_step_without_answer_is_read_back_and_undone_if_it_landed(self):
        # The DMZ host is step 1: its answer is held back, and the connection dropped.
        def drop_the_answer(_):
            self.svc.control("delay", "3000")
            time.sleep(1.8)  # the step went out when the pause ended; its answer is still held back
            self.svc.control("drop")
            self.svc.control("delay", "0")
        rc, out, err = self.paused_apply(self.edited(("network.dmz", "192.168.225.77")), "step 1", drop_the_answer)
        self.assertEqual(rc, 1, out + err)
        self.assertIn("unknown: network.dmz got no answer", err)
        self.assertIn("it had landed and was undone", err)
        self.assertEqual(self.svc.export(), self.baseline_text)

    def test_a_failed_usb_undo_names_the_setting_and_leaves_nothing_pending(self):
        # The write-back is refused; while the apply waits to undo, the next
        # write of the product name is made to fail too.
        self.svc.control("fail", "103", "1", "66")
        rc, out, err = self.paused_apply(
            self.edited(("usb.product", "Fleet LTE"), ("usb.manufacturer", "Fleet")), "undo",
            lambda _: self.svc.control("fail", "103", "1", "70"))
        self.assertIn("undo refused: usb.product", err)
        self.assertIn("the next write-back commits none of this apply", err)
        self.assertNotEqual(rc, 0, out + err)
        self.assertEqual(self.svc.run_line("usb", "config", "write")[0], 0)
        self.assertEqual(self.svc.export(), self.baseline_text)

    # Four steps: the channel, the DMZ host, the LAN lease, the USB product name.
    FOUR_STEPS = [("wifi.interfaces.1.channel", 11), ("network.dmz", "192.168.225.77"),
                  ("network.lan.lease", 7200), ("usb.product", "Fleet LTE")]

    def test_a_signal_during_an_apply_undoes_the_steps_done(self):
        for sig in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGPIPE):
            with self.subTest(signal=sig.name):
                self.setUp()
                rc, out, err = self.paused_apply(self.edited(*self.FOUR_STEPS), "step 3",
                                                 lambda proc, sig=sig: proc.send_signal(sig))
                self.assertEqual(rc, 8, out + err)
                self.assertIn("interrupted by " + sig.name + " after 2 step(s)", err)
                self.assertIn("the configuration is as it was", err)
                self.assertEqual(self.svc.export(), self.baseline_text)

    def test_after_kill_9_at_any_step_recover_restores_the_configuration(self):
        # One row per step the kill lands before; the last row lets export do the restore.
        for step, command in [(1, "recover"), (4, "recover"), (3, "export")]:
            with self.subTest(step=step, command=command):
                self.setUp()
                rc, _, _ = self.paused_apply(self.edited(*self.FOUR_STEPS), "step %d" % step,
                                             lambda proc: proc.send_signal(signal.SIGKILL))
                self.assertEqual(rc, -signal.SIGKILL)
                rc, out, err = self.svc.run(command)
                self.assertEqual(rc, 0, out + err)
                self.assertIn("did not finish: restoring the configuration from before it", err)
                self.assertEqual(self.svc.export(), self.baseline_text)
                self.assertEqual(self.svc.run("recover")[1], "nothing to recover: no apply was left unfinished\n")

    def test_a_second_apply_on_the_module_is_refused_while_one_runs(self):
        def second(_):
            rc, out, err = self.svc.run("apply", self.svc.write(self.edited(("wifi.country", "DE")), "second.json"))
            self.assertEqual(rc, 9, out + err)
            self.assertIn("another apply is in progress on this module", err)
        rc, out, err = self.paused_apply(self.edited(*self.FOUR_STEPS), "step 2", second)
        self.assertEqual(rc, 0, out + err)
        self.assertEqual(json.loads(self.svc.export())["wifi"]["country"], "US")


class Confirm(Harness):
    """apply --confirm started through setsid with its own pipes as its terminal: the
    apply returns, its session and streams are gone, and the watcher decides."""

    def started_and_gone(self, seconds):
        proc = subprocess.Popen([VGM, "config", "apply", "--confirm", str(seconds),
                                 self.svc.write(self.edited(("wifi.country", "DE")))],
                                env=self.svc.env(), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, encoding="utf-8", start_new_session=True)
        out, err = proc.communicate(timeout=30)  # ends only when no process holds the pipes
        self.assertEqual(proc.returncode, 0, out + err)
        self.assertIn("unless 'vg-mgmt config confirm' comes first", out)
        self.assertEqual(self.country(), "DE")

    def country(self):
        return json.loads(self.svc.export())["wifi"]["country"]

    def wait_unlocked(self):
        # recover changes nothing while the watcher holds the module (9) and
        # nothing once it is done; an apply here could put back a value that
        # the watcher reverts in between.
        for _ in range(200):
            rc, _, err = self.svc.run("recover")
            if rc != 9:
                return
            time.sleep(0.1)
        self.fail("the watcher still holds the module")

    def test_without_confirm_the_change_is_reverted(self):
        self.started_and_gone(1)
        self.wait_unlocked()
        self.assertEqual(self.svc.export(), self.baseline_text)

    def test_a_confirm_in_time_keeps_the_change(self):
        self.started_and_gone(2)
        rc, out, err = self.svc.run("confirm")
        self.assertEqual(rc, 0, out + err)
        self.assertIn("confirmed", out)
        self.wait_unlocked()
        self.assertEqual(self.country(), "DE")
        self.assertEqual(self.svc.run("confirm")[0], 1)

    def test_an_unconfirmed_change_found_by_recover_is_reverted(self):
        self.started_and_gone(60)
        state = self.svc.env()["VG_MGMT_STATE_DIR"]
        journal = [f for f in os.listdir(state) if f.endswith(".journal")][0]
        self.assertEqual(os.stat(os.path.join(state, journal)).st_mode & 0o777, 0o600)
        self.assertEqual(os.stat(state).st_mode & 0o777, 0o700)
        for pid in watchers(state):  # the module restarts: its watcher is gone
            os.kill(pid, signal.SIGKILL)
        time.sleep(0.2)
        rc, out, err = self.svc.run("recover")
        self.assertEqual(rc, 0, out + err)
        self.assertIn("was not confirmed in time", err)
        self.assertEqual(self.svc.export(), self.baseline_text)


class History(Harness):
    def test_the_last_ten_applies_are_kept_and_rollback_applies_one_back(self):
        for channel in range(1, 13):
            rc, _, err = self.svc.run("apply", self.svc.write(self.edited(("wifi.interfaces.1.channel", channel)), "ch.json"))
            self.assertEqual(rc, 0, err)
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

    def test_json_gives_results_and_errors_as_one_object(self):
        rows = [(["recover", "--json"], 0, "output", "nothing to recover: no apply was left unfinished"),
                (["confirm", "--json"], 1, "messages", "no change awaits confirmation on this module")]
        for args, status, key, text in rows:
            with self.subTest(args=args):
                rc, out, _ = self.svc.run(*args)
                result = json.loads(out)
                self.assertEqual((rc, result["status"]), (status, status))
                self.assertTrue(result[key][0].startswith(text), result)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
