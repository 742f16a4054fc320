// Texts of vg-mgmt as JSON and in messages. A text the module holds is bytes:
// valid UTF-8 is a plain JSON string, any other text the object
// {"hex": "<lower-case hex of every byte>"}. Both forms are taken back.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace vgm {

using json = nlohmann::ordered_json;

bool valid_utf8(std::string_view s);
// The JSON form of a text.
json text_json(std::string_view bytes);
// The bytes of a text in either JSON form; nullopt when it is neither (a hex
// text of odd length or with other than lower-case hex digits too).
std::optional<std::string> text_bytes(const json &v);

// At most this many bytes of a value are ever shown in a message.
inline constexpr size_t kShownPrefix = 32;
// A value as a message may show it: whole when short, else its first bytes
// and its length; a secret only by its length.
std::string shown_value(std::string_view value, bool secret);

} // namespace vgm
