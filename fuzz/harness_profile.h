#pragma once
// The settings-file fuzz oracle, shared by the libFuzzer targets and the
// replay test. One input is a settings file's bytes followed by calls on it;
// every call's result is checked against what the layer promises (a write
// reads back as written and keeps every other line's bytes, a second
// identical write changes nothing, a list never overruns its buffer), not
// only that it returns.
//
// Input: FILE ( RS CALL )*  with RS = 0x1E. A CALL is a code byte, a size
// byte, then up to three fields separated by US = 0x1F: section, key, and a
// value (or default); calls after the eighth are ignored. RS and US are the
// only bytes a file or a name cannot hold here; to the layer they are
// ordinary bytes like any other.
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glintbook::fuzzing {

// A write on a text, shaped like ini::Edit: the text after it, nullopt when
// nothing changes. No value deletes the key, no key the section.
using Editor = std::function<std::optional<std::string>(std::string_view text, std::string_view section,
                                                        std::optional<std::string_view> key,
                                                        std::optional<std::string_view> value)>;

// Runs the calls on the text in memory, writing through `edit` (the settings
// layer's ini::Edit when empty) and reading through profile::text. Returns
// what went wrong; empty when every check held.
std::vector<std::string> CheckProfileText(std::string_view input, const Editor& edit = {});

// The same calls through the file forms on a settings file in `folder` (an
// empty folder of its own), with read-only and removed files besides. The
// file must hold, after every call, what the text checks found right, and no
// other file may be left in the folder.
std::vector<std::string> CheckProfileFile(std::string_view input, const std::string& folder);

}  // namespace glintbook::fuzzing
