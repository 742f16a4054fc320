// kestctl's names of the service's messages: the words of the vg-mgmt command
// that sends each one ("wifi channel set"), so that a fault can be aimed at a
// command without knowing its message id. They are the subjects' words of
// the protocol's description: a setting's "get" reads with its get message
// (a USB setting reads the whole configuration), its "set" writes with its set
// message; a command of one direction takes its words alone.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kest_fields.h"

// The words and the messages of every subject.
struct kestctl_message {
    std::string words;
    uint32_t get_id, set_id; // 0: none
};
inline std::vector<kestctl_message> kestctl_messages()
{
    std::vector<kestctl_message> out;
    for (const kest_subject &s : kSubjects) {
        const kest_command *set = kest_command_find(s.domain, s.command, MGMT_OPT_SET);
        const kest_command *get = kest_command_find(s.domain, s.command, MGMT_OPT_GET);
        if (get == nullptr && set != nullptr && s.domain == MGMT_DOMAIN_USB &&
            s.command != USB_CMD_ACTION && s.command != USB_CMD_CONFIG_WRITE)
            get = kest_command_find(MGMT_DOMAIN_USB, USB_CMD_CONFIG_GET, MGMT_OPT_GET);
        out.push_back({std::string(kest_domain_word(s.domain)) + " " + s.words,
                       get != nullptr ? get->msg_id : 0, set != nullptr ? set->msg_id : 0});
    }
    return out;
}

// The message id that the vg-mgmt command `words` sends last ("wifi channel
// set" writes, "wifi channel get" reads, "wifi acl add" has one); 0 when the
// words name none.
inline uint32_t kestctl_message_id(const std::string &words)
{
    for (const kestctl_message &m : kestctl_messages()) {
        if (words == m.words)
            return m.set_id != 0 ? m.set_id : m.get_id;
        if (words == m.words + " get" && m.get_id != 0)
            return m.get_id;
        if (words == m.words + " set" && m.set_id != 0)
            return m.set_id;
    }
    return 0;
}
