"""A stdout callback for the vg.mgmt tests: every task's result per host, and
the recap, as one JSON object at the end of the run."""
import json

from ansible.plugins.callback import CallbackBase

DOCUMENTATION = """
name: vg_results
type: stdout
short_description: task results as one JSON object (vg.mgmt tests)
description: Prints the results by task and host, and the recap, as one JSON object at the end.
"""


class CallbackModule(CallbackBase):
    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = "stdout"
    CALLBACK_NAME = "vg_results"

    def __init__(self):
        super().__init__()
        self.tasks = {}

    def _record(self, result, **more):
        res = dict(result._result, **more)
        self.tasks.setdefault(result._task.get_name(), {})[result._host.get_name()] = res

    def v2_runner_on_ok(self, result):
        self._record(result)

    def v2_runner_on_failed(self, result, ignore_errors=False):
        self._record(result, failed=True)

    def v2_runner_on_unreachable(self, result):
        self._record(result, unreachable=True)

    def v2_runner_on_skipped(self, result):
        self._record(result, skipped=True)

    def v2_playbook_on_stats(self, stats):
        recap = {h: stats.summarize(h) for h in sorted(stats.processed.keys())}
        self._display.display(json.dumps({"tasks": self.tasks, "stats": recap}))
