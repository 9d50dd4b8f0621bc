#pragma once
// The file layer's side of the fault hook, shared by both platforms' files.
#include <string>
#include <string_view>

namespace glintbook::files {

// The errno the hook injects at `step` of an operation on `path`, or 0.
int Injected(std::string_view step, const std::string& path);

}  // namespace glintbook::files
