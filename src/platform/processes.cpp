#include "processes.h"

#include "files.h"

#include <algorithm>
#include <cstdlib>
#ifdef _WIN32
#include "platform/windows_text.h"
#else
#include <unistd.h>
#endif

namespace glintbook::processes {

std::string FindProgram(const std::string& name, const std::vector<std::string>& after) {
#ifdef _WIN32
    // Read wide: a folder named in another language arrives whole.
    const wchar_t* env = ::_wgetenv(L"PATH");
    const std::string path = env ? windows::Narrow(env) : "";
    const char list = ';', separator = '\\';
#else
    const char* env = std::getenv("PATH");
    const std::string path = env ? env : "/usr/local/bin:/usr/bin:/bin";
    const char list = ':', separator = '/';
#endif
    std::vector<std::string> folders;
    for (size_t start = 0; start <= path.size();) {
        const size_t end = std::min(path.find(list, start), path.size());
        if (end > start) folders.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    folders.insert(folders.end(), after.begin(), after.end());
    for (const std::string& folder : folders) {
        const std::string candidate = folder + separator + name;
#ifdef _WIN32
        if (files::FileExists(candidate)) return candidate;
#else
        if (files::FileExists(candidate) && ::access(candidate.c_str(), X_OK) == 0) return candidate;
#endif
    }
    return {};
}

}  // namespace glintbook::processes
