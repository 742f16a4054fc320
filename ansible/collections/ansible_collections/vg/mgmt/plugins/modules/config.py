# Documentation of the vg.mgmt.config module. The module itself is the POSIX
# shell script "config" beside this file: it needs no Python on the module.

DOCUMENTATION = r'''
---
module: config
short_description: Manage a KEST module's configuration as a vg-mgmt configuration document
description:
  - Manages the configuration document (the JSON that C(vg-mgmt config export) writes) of the module
    through the C(vg-mgmt) installed there, in the states that Ansible's network resource modules use.
  - The sections of the document are C(wifi) (its own keys), each Wi-Fi interface
    C(wifi.interfaces.1) to C(wifi.interfaces.3), C(datacall), C(network) and C(usb); the lists are the
    MAC lists (C(acl)), the APN profiles (C(datacall.apn), keyed by C(profile-type) and C(profile-index)),
    the SNAT rules (C(network.snat)) and the DMZ host (C(network.dmz)).
  - The defaults that C(replaced), C(overridden) and C(deleted) go back to are the configuration kestd
    starts with (C(vg-mgmt config export) of a fresh kestd). Secrets are not reset; a secret left at its
    default keeps the one the module holds, and a change that needs a new one (an interface going back to
    WPA) is refused until the task gives it in clear.
  - Only what differs is sent. If the service refuses a step, the steps already done are undone in
    reverse order and the task fails with the service's reason; the configuration is as it was.
  - Secrets given as C(********) (as an export without C(--show-secrets) writes them) are left as
    they are. Secrets are masked in everything the module returns.
  - The options are checked as Ansible checks a module's options (unknown option, wrong type,
    missing or conflicting options) before anything is sent.
  - The module is a POSIX shell script (C(WANT_JSON)); it needs no Python on the module, only
    C(vg-mgmt) on the module's PATH, or its path in the environment variable C(VG_MGMT).
version_added: "1.0.0"
author:
  - libvg_mgmt_client developers
options:
  config:
    description:
      - The configuration document, inline (a dictionary, or its JSON text). C(version) may be left out.
      - Exactly one of O(config) and O(src) is given, except with O(state=gathered) and O(state=parsed).
    type: raw
  src:
    description:
      - Path of the configuration document on the managed module.
    type: path
  state:
    description:
      - C(merged) sets the keys given and adds the list entries given (an APN profile given at an
        index that exists changes it); nothing else is touched.
      - C(replaced) makes each section given equal to what is given; what the section does not give goes
        back to its default. Sections not given are untouched.
      - C(overridden) makes the whole configuration equal to the document; every section not given goes
        back to its defaults.
      - C(deleted) removes the list entries given (an APN profile by its type and index); a key given, or a
        section or list given empty, goes back to its default; an empty document puts every section back.
      - C(gathered) reads the configuration and returns it under RV(gathered), secrets masked.
      - C(rendered) needs no module; the changes the document makes to a module at its defaults, under
        RV(rendered).
      - C(parsed) needs no module; the text of an export given in O(running_config), checked and returned
        under RV(parsed), secrets masked.
    type: str
    choices: [merged, replaced, overridden, deleted, gathered, rendered, parsed]
    default: merged
  running_config:
    description:
      - With O(state=parsed), the text of a configuration document (as C(vg-mgmt config export) writes it).
    type: str
  socket:
    description:
      - The management service's socket on a PC (simulated service); else C(VG_KEST_SOCKET) or the
        default.
    type: path
  confirm:
    description:
      - Seconds within which a later task must confirm the change (C(vg-mgmt config confirm)); the module
        goes back to the configuration it had if no confirmation comes (C(vg-mgmt config apply --confirm)).
      - The task fails with this option when the C(vg-mgmt) on the module cannot confirm-or-revert.
    type: int
attributes:
  check_mode:
    support: full
    description: Nothing is sent; C(changed) and C(commands) say what would change.
  diff_mode:
    support: full
    description: Before and after of the managed keys, secrets masked.
notes:
  - "A document with passwords or keys in clear reaches the module in Ansible's arguments file; set
    C(no_log: true) on the task to keep them out of Ansible's output and logs. The diff and the
    result show secrets masked."
  - The exit statuses and the document format are those of C(vg-mgmt config); C(vg-mgmt config schema)
    prints the document's JSON Schema.
  - "Confirm or revert: apply with O(confirm), check that the module is still reachable (for example with
    M(ansible.builtin.wait_for_connection)), then confirm with a task running C(vg-mgmt config confirm)."
'''

EXAMPLES = r'''
- name: Add one SNAT rule, leaving the others
  vg.mgmt.config:
    state: merged
    config:
      network:
        snat:
          - {private-ip: 192.168.225.20, private-port: 8080, global-port: 80, protocol: tcp}

- name: Interface 1 exactly as given, the rest of it back to the defaults
  vg.mgmt.config:
    state: replaced
    config:
      wifi:
        interfaces:
          "1": {ssid: {ssid: "Fleet AP"}, channel: 11}

- name: Remove one MAC address from interface 1's list
  vg.mgmt.config:
    state: deleted
    config:
      wifi: {interfaces: {"1": {acl: ["aa:bb:cc:dd:ee:ff"]}}}

- name: A whole document kept under version control
  vg.mgmt.config:
    state: overridden
    src: /etc/vg-mgmt/module.json

- name: Read the configuration
  vg.mgmt.config:
    state: gathered
  register: current

- name: Apply, check the module is still reachable, then confirm
  block:
    - vg.mgmt.config:
        config: {network: {lan: {gateway: 192.168.226.1}}}
        confirm: 120
    - ansible.builtin.wait_for_connection:
        timeout: 60
    - ansible.builtin.raw: vg-mgmt config confirm
'''

RETURN = r'''
changed:
  description: Whether the configuration was (or, in check mode, would be) changed.
  type: bool
  returned: always
msg:
  description: What was done, or the service's refusal and what the undo left.
  type: str
  returned: changing states
commands:
  description: "One line per changed setting or list entry, as C(vg-mgmt config diff) writes them:
    C(path: old -> new), C(path: + entry), C(path: - entry)."
  type: list
  elements: str
  returned: when a changing state succeeds
before:
  description: The whole configuration before the task, secrets masked.
  type: dict
  returned: when a changing state succeeds
after:
  description: The whole configuration after the task (in check mode, as it would be), secrets masked.
  type: dict
  returned: when a changing state succeeds
undone:
  description: The changes the task set out to make when the service refused one; those already sent
    were undone and the configuration is as it was.
  type: list
  elements: str
  returned: when the service refused a step
gathered:
  description: The configuration, secrets masked.
  type: dict
  returned: with state gathered
rendered:
  description: The changes the document makes to a module at its defaults, one line each.
  type: list
  elements: str
  returned: with state rendered
parsed:
  description: The document of O(running_config), checked, secrets masked.
  type: dict
  returned: with state parsed
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
