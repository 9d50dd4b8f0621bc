#include "catalogue.h"

namespace glintbook {

std::string AlbumIndexKey(int album) { return "Album" + DecimalText(album) + "Index"; }

std::string GameFileKey(int n) { return std::string(key::GameFilePrefix) + DecimalText(n); }

std::string DecimalText(long long n) { return std::to_string(n); }

}  // namespace glintbook
