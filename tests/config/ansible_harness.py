"""ansible-playbook runs for the vg.mgmt tests: an environment of the test's
own, the modules' results read from the json callback."""
import json
import os
import subprocess

# No Python on the module: every play points Ansible at an interpreter that
# does not exist, so a module that needed one would fail.
NO_PYTHON = "/nonexistent/vg-test/python3"


def environment(collections, tmp, **more):
    """Ansible's environment: the collection from the tree, state in tmp, a UTF-8 locale."""
    env = dict(os.environ, ANSIBLE_COLLECTIONS_PATH=collections, ANSIBLE_NOCOLOR="1", LC_ALL="C.UTF-8",
               ANSIBLE_LOCALHOST_WARNING="False", ANSIBLE_INVENTORY_UNPARSED_WARNING="False",
               ANSIBLE_RETRY_FILES_ENABLED="False", ANSIBLE_LOCAL_TEMP=tmp, ANSIBLE_REMOTE_TEMP=tmp,
               ANSIBLE_HOME=tmp, ANSIBLE_GATHERING="explicit", ANSIBLE_HOST_KEY_CHECKING="False")
    env.update(more)
    return env


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
