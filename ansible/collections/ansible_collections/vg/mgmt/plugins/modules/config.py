# Documentation of the vg.mgmt.config module. The module itself is the POSIX
# shell script "config" beside this file: it needs no Python on the module.

DOCUMENTATION = r'''
---
module: config
short_description: Make a KEST module's configuration equal to a vg-mgmt configuration document
description:
  - Applies a configuration document (the JSON that C(vg-mgmt config export) writes) to the module
    through the C(vg-mgmt) installed there, with C(vg-mgmt config apply).
  - The document may be partial; only the keys it holds are managed. A list that it holds (MAC list,
    SNAT rules, APN profiles) is made exactly equal to it.
  - Only what differs is sent. If the service refuses a step, the steps already done are undone in
    reverse order and the task fails with the service's reason; the configuration is as it was.
  - Secrets given as C(********) (as an export without C(--show-secrets) writes them) are left as
    they are.
  - The module is a POSIX shell script (C(WANT_JSON)); it needs C(vg-mgmt) on the module's PATH, or its
    path in the environment variable C(VG_MGMT).
version_added: "1.0.0"
author:
  - libvg_mgmt_client developers
options:
  config:
    description:
      - The configuration document, inline (a dictionary, or its JSON text).
      - Exactly one of O(config) and O(src) is given.
    type: raw
  src:
    description:
      - Path of the configuration document on the managed module.
    type: path
  socket:
    description:
      - The management service's socket on a PC (simulated service); else C(VG_KEST_SOCKET) or the
        default.
    type: path
attributes:
  check_mode:
    support: full
    description: Nothing is sent; C(changed) says whether changes are pending.
  diff_mode:
    support: full
    description: Before and after of the managed keys, secrets masked.
notes:
  - "A document with passwords or keys in clear reaches the module in Ansible's arguments file; set
    C(no_log: true) on the task to keep them out of Ansible's output and logs. The diff and the
    result show secrets masked."
  - The exit statuses and the document format are those of C(vg-mgmt config); C(vg-mgmt config schema)
    prints the document's JSON Schema.
'''

EXAMPLES = r'''
- name: Wi-Fi of the access point and an SNAT rule
  vg.mgmt.config:
    config:
      version: 1
      wifi:
        interfaces:
          "1": {ssid: {ssid: "Fleet AP"}, channel: 11}
      network:
        snat:
          - {private-ip: 192.168.225.20, private-port: 8080, global-port: 80, protocol: tcp}

- name: A whole document kept under version control
  vg.mgmt.config:
    config: "{{ lookup('file', 'module.json') | from_json }}"
'''

RETURN = r'''
changed:
  description: Whether the configuration was (or, in check mode, would be) changed.
  type: bool
  returned: always
msg:
  description: What was done, or the service's refusal and what the undo left.
  type: str
  returned: always
changes:
  description: "One line per changed setting or list entry: C(path: old -> new)."
  type: list
  elements: str
  returned: always
problems:
  description: Every problem of an invalid document, each with its path.
  type: list
  elements: str
  returned: when the document is invalid
diff:
  description: Before and after of the managed keys.
  type: dict
  returned: in diff mode
'''
