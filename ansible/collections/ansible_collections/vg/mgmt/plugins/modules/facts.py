# Documentation of the vg.mgmt.facts module. The module itself is the POSIX
# shell script "facts" beside this file: it needs no Python on the module.

DOCUMENTATION = r'''
---
module: facts
short_description: The KEST module's configuration as facts
description:
  - Reads the module's configuration through the C(vg-mgmt) installed there and sets
    C(ansible_facts.vg_mgmt) to the configuration document, secrets masked, so that plays can branch on it.
  - It can serve as the play's fact gathering (C(gather_facts) with C(FACTS_MODULES=vg.mgmt.facts)), which
    needs no Python on the module.
  - The module is a POSIX shell script (C(WANT_JSON)); it needs C(vg-mgmt) on the module's PATH, or its
    path in the environment variable C(VG_MGMT).
version_added: "1.1.0"
author:
  - libvg_mgmt_client developers
options:
  socket:
    description:
      - The management service's socket on a PC (simulated service); else C(VG_KEST_SOCKET) or the
        default.
    type: path
attributes:
  check_mode:
    support: full
    description: The module only reads.
'''

EXAMPLES = r'''
- name: The configuration as facts
  vg.mgmt.facts:

- name: Only on modules whose Wi-Fi is on
  ansible.builtin.debug:
    msg: "{{ ansible_facts.vg_mgmt.wifi.country }}"
  when: ansible_facts.vg_mgmt.wifi.enable == 'on'
'''

RETURN = r'''
ansible_facts:
  description: Facts set on the host.
  type: dict
  returned: always
  contains:
    vg_mgmt:
      description: The configuration document, secrets masked.
      type: dict
'''
