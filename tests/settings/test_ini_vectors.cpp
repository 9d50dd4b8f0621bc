// Every recorded case of tests/data/profile-vectors.json, run against the
// settings layer: each call's result, and the file afterwards. Where Wine
// rewrote the whole file, our output is normalised the way the recordings say
// Wine does before it is compared. Cases where this layer
// follows Windows or chooses otherwise are listed in kOurs with the reason.
#include "settings/profile.h"
#include "support/game_folder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace glintbook::test {
namespace {

using Json = nlohmann::json;
using namespace std::string_literals;

// What a request gives: its return value, and for a string request the
// buffer's bytes followed by the two bytes after them.
using Result = std::pair<long long, std::optional<std::string>>;

struct Ours {
    const char* why;
    std::optional<std::string> final_bytes;
    std::map<int, Result> ops;  // call index -> our result
};

const std::map<std::string, Ours> kOurs = {
    {"read_quoted_value_small_buffer",
     {"a quoted value is cut at size-1 like any other; Wine loses one more character", {},
      {{5, {12, "quoted value\0\xaa"s}}}}},
    {"write_value_leading_trailing_spaces",
     {"values are stored verbatim, as on Windows; reads trim them all the same",
      "[General]\r\nA=1\r\nLead=   padded\r\nTrail=padded   \r\nBoth=  both  \r\nTab=\tt\t\r\n"s, {}}},
    {"write_key_with_spaces_around",
     {"a new key is stored with its name trimmed; Wine keeps the trailing blanks",
      "[General]\r\nA=2\r\nNew Key=3\r\n"s, {}}},
    {"utf8_bom_read",
     {"no UTF-8 BOM detection, as on Windows: the header after the BOM is not one", {},
      {{0, {3, "def\0\xaa"s}}, {2, {3, "def\0\xaa"s}}, {3, {6, "Other\0\0\xaa"s}}}}},
    {"utf8_bom_write",
     {"no UTF-8 BOM detection, as on Windows: [General] is added, bytes kept as given",
      "\xef\xbb\xbf[General]\r\nKey=val\r\nCaf\xc3\xa9=caf\xc3\xa9\r\n\r\n[Other]\r\nX=1\r\nY=2\r\n"
      "[General]\r\nKey=\xe9t\xe9\r\n"s, {}}},
    {"empty_section_header",
     {"a [] header is section \"\", as on Windows, and stays in the file",
      "[]\r\ndown=Down\r\n[General]\r\nA=2\r\n"s, {{0, {4, "Down\0\xaa"s}}}}},
};

// A byte string of the recordings: each character U+0000..U+00FF is one byte.
std::string Bytes(const Json& v) {
    std::string out;
    for (const unsigned char c : v.get<std::string>())
        if (c < 0x80 || c >= 0xC0) out.push_back(char(c < 0x80 ? c : (c & 0x03) << 6));
        else out.back() = char(out.back() | (c & 0x3F));
    return out;
}
std::optional<std::string> Arg(const Json& op, const char* name) {
    if (!op.contains(name) || op[name].is_null()) return std::nullopt;
    return Bytes(op[name]);
}

// The recorded cases; when they cannot all be read, one that says why.
struct Case {
    Json json;
};
void PrintTo(const Case& c, std::ostream* os) { *os << c.json["id"].get<std::string>(); }

std::vector<Case> Cases() {
    std::vector<Case> cases;
    try {
        const Json doc = Json::parse(TestData("profile-vectors.json"));
        for (const Json& c : doc["cases"]) cases.push_back({c});
        if (cases.size() != doc["case_count"].get<std::size_t>()) throw std::runtime_error("cases missing");
    } catch (const std::exception& e) {
        cases.push_back({Json{{"id", "vectors_not_read"}, {"error", e.what()}}});
    }
    return cases;
}

Result RunCall(const Json& op, const std::string& file) {
    const std::string call = op["call"];
    const int size = op.value("size", 0);
    const auto section = Arg(op, "section"), key = Arg(op, "key"), value = Arg(op, "value");
    // What the request leaves in a buffer prefilled with 0xAA, as recorded.
    auto seen = [size](const profile::Buffer& b) {
        EXPECT_LE(b.bytes.size(), std::size_t(std::max(size, 0))) << "wrote past the buffer";
        std::string buf(std::size_t(size) + 2, '\xaa');
        return Result{b.count, buf.replace(0, b.bytes.size(), b.bytes).substr(0, std::size_t(b.count) + 2)};
    };
    if (call == "GetPrivateProfileIntA") return {profile::GetInt(file, *section, *key, op["default"].get<int>()), {}};
    if (call == "GetPrivateProfileStringA") return seen(profile::GetStringBuffer(file, section, key, Arg(op, "default"), size));
    if (call == "GetPrivateProfileSectionA") return seen(profile::GetSection(file, *section, size));
    if (call == "GetPrivateProfileSectionNamesA") return seen(profile::GetSectionNames(file, size));
    if (!key) return {profile::DeleteSection(file, *section), {}};
    if (!value) return {profile::DeleteKey(file, *section, *key), {}};
    return {profile::WriteString(file, *section, *key, *value), {}};
}

std::string Trimmed(std::string_view s) {
    const auto b = s.find_first_not_of(" \t");
    return b == std::string_view::npos ? "" : std::string(s.substr(b, s.find_last_not_of(" \t") - b + 1));
}

// The file as Wine rewrites it (README): lines end at LF, CR LF or a lone CR;
// blank lines and "[]" headers are dropped, blanks trimmed around headers,
// keys and values (leading ones only for ';' lines), CR LF after every line.
std::string WineNormalised(std::string s) {
    for (std::size_t p; (p = s.find("\r\n")) != std::string::npos;) s.erase(p, 1);
    std::replace(s.begin(), s.end(), '\r', '\n');
    std::istringstream lines(s);
    std::string out;
    for (std::string l; std::getline(lines, l);) {
        std::string t = Trimmed(l);
        const std::size_t close = t.rfind(']'), eq = t.find('=');
        if (!t.empty() && t[0] == '[' && close != std::string::npos) t = "[" + Trimmed(t.substr(1, close - 1)) + "]";
        else if (!t.empty() && t[0] == ';') t = l.substr(l.find(';'));
        else if (eq != std::string::npos) t = Trimmed(t.substr(0, eq)) + "=" + Trimmed(t.substr(eq + 1));
        if (!t.empty() && t != "[]") out += t + "\r\n";
    }
    return out;
}

class Vector : public ::testing::TestWithParam<Case> {};

TEST_P(Vector, Case) {
    const Json& c = GetParam().json;
    ASSERT_FALSE(c.contains("error")) << c["error"].get<std::string>();
    const auto dev = kOurs.find(c["id"].get<std::string>());
    const Ours* ours = dev == kOurs.end() ? nullptr : &dev->second;
    if (ours) RecordProperty("ours", ours->why);

    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    const std::string initial = c["initial_exists"].get<bool>() ? Bytes(c["initial"]) : "";
    if (c["initial_exists"].get<bool>()) folder.write("Morrowind.ini", initial);
    const Json& ops = c["ops"];
    for (std::size_t i = 0; i < ops.size(); ++i) {
        const Json& e = ops[i]["expect"];
        SCOPED_TRACE("call " + std::to_string(i) + " " + ops[i]["call"].get<std::string>());
        Result want{e.value("return_as_int", e["return"].get<long long>()), std::nullopt};
        if (e.contains("buffer")) want.second = Bytes(e["buffer"]) + Bytes(e["next_bytes"]);
        EXPECT_EQ(RunCall(ops[i], file), ours && ours->ops.count(int(i)) ? ours->ops.at(int(i)) : want);
    }

    const bool exists = c["final_exists"].get<bool>();
    EXPECT_EQ(folder.exists("Morrowind.ini"), exists);
    const auto entries = std::distance(std::filesystem::directory_iterator(folder.path()), {});
    EXPECT_EQ(entries, exists ? 1 : 0) << "stray files left in the folder";
    if (!exists) return;
    const std::string final_bytes = folder.read("Morrowind.ini");
    if (!c["file_changed"].get<bool>()) {
        EXPECT_EQ(final_bytes, initial);
        return;
    }
    const Json& tags = c["tags"];
    if (ours && ours->final_bytes)
        EXPECT_EQ(final_bytes, *ours->final_bytes) << ours->why;
    else if (std::find(tags.begin(), tags.end(), "wine-rewrite") != tags.end())
        EXPECT_EQ(WineNormalised(final_bytes), Bytes(c["final"]));
    else
        EXPECT_EQ(final_bytes, Bytes(c["final"]));
}

INSTANTIATE_TEST_SUITE_P(Recorded, Vector, ::testing::ValuesIn(Cases()),
                         [](const auto& info) { return std::string(info.param.json["id"]); });

}  // namespace
}  // namespace glintbook::test
