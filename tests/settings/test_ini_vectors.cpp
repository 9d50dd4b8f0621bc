// Every recorded case of tests/data/profile-vectors.json, run against the settings layer:
// each call's result, and the file afterwards. Where Wine rewrote the whole
// file, our output is normalised the way the recordings say Wine does and
// compared with Wine's bytes, and a line diff shows that the write touched
// only the lines of the keys and sections it wrote. Cases where this layer
// follows Windows or chooses otherwise are listed in kOurs with the reason.
#include "settings/profile.h"
#include "support/game_folder.h"
#include "test_ini_lines.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <set>

namespace glintbook::test {
namespace {

struct Result {
    long long ret = 0;
    std::optional<std::string> buffer;  // buffer bytes, then the two bytes after
};

struct Ours {
    const char* why;
    std::optional<std::string> final_bytes;
    std::map<int, Result> ops;  // call index -> our result
};

using namespace std::string_literals;
const std::map<std::string, Ours> kOurs = {
    {"read_quoted_value_small_buffer",
     {"a quoted value is cut at size-1 like any other; Wine loses one more character", {},
      {{5, {12, "quoted value\0\xaa"s}}}}},
    {"write_value_leading_trailing_spaces",
     {"values are stored verbatim, as on Windows; reads trim them all the same",
      "[General]\r\nA=1\r\nLead=   padded\r\nTrail=padded   \r\nBoth=  both  \r\nTab=\tt\t\r\n"s,
      {}}},
    {"write_key_with_spaces_around",
     {"a new key is stored with its name trimmed; Wine keeps the trailing blanks",
      "[General]\r\nA=2\r\nNew Key=3\r\n"s,
      {}}},
    {"utf8_bom_read",
     {"no UTF-8 BOM detection, as on Windows: the header after the BOM is not one", {},
      {{0, {3, "def\0\xaa"s}}, {2, {3, "def\0\xaa"s}}, {3, {6, "Other\0\0\xaa"s}}}}},
    {"utf8_bom_write",
     {"no UTF-8 BOM detection, as on Windows: [General] is added, bytes kept as given",
      "\xef\xbb\xbf[General]\r\nKey=val\r\nCaf\xc3\xa9=caf\xc3\xa9\r\n\r\n[Other]\r\nX=1\r\nY=2\r\n"
      "[General]\r\nKey=\xe9t\xe9\r\n"s,
      {}}},
    {"empty_section_header",
     {"a [] header is section \"\", as on Windows, and stays in the file",
      "[]\r\ndown=Down\r\n[General]\r\nA=2\r\n"s,
      {{0, {4, "Down\0\xaa"s}}}}},
};

using Json = nlohmann::json;

// A byte string of the recordings: each character U+0000..U+00FF is one byte.
std::string Bytes(const Json& v) {
    const std::string utf8 = v.get<std::string>();
    std::string out;
    for (size_t i = 0; i < utf8.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(utf8[i]);
        out.push_back(c < 0x80 ? char(c) : char(((c & 0x03) << 6) | (static_cast<unsigned char>(utf8[++i]) & 0x3F)));
    }
    return out;
}
std::optional<std::string> Arg(const Json& op, const char* name) {
    if (!op.contains(name) || op[name].is_null()) return std::nullopt;
    return Bytes(op[name]);
}

// The recordings, or an empty object when they cannot be read (the case
// below then fails and says why).
const Json& Vectors() {
    static const Json doc = [] {
        try {
            return Json::parse(TestData("profile-vectors.json"));
        } catch (const std::exception&) {
            return Json::object();
        }
    }();
    return doc;
}

std::vector<std::string> CaseIds() {
    std::vector<std::string> ids;
    for (const Json& c : Vectors().value("cases", Json::array())) ids.push_back(c["id"]);
    if (ids.empty()) ids.push_back("vectors_not_found");
    return ids;
}

// What the request leaves in a buffer prefilled with 0xAA, as recorded: the
// first `ret` bytes and the two after them.
std::string SeenInBuffer(const profile::Buffer& b, int size) {
    EXPECT_LE(b.bytes.size(), std::size_t(std::max(size, 0))) << "wrote past the buffer";
    std::string buf(std::size_t(size) + 2, '\xaa');
    buf.replace(0, b.bytes.size(), b.bytes);
    return buf.substr(0, std::size_t(b.count) + 2);
}

Result RunCall(const Json& op, const std::string& file) {
    const std::string call = op["call"];
    const int size = op.value("size", 0);
    const auto section = Arg(op, "section"), key = Arg(op, "key");
    auto seen = [&](const profile::Buffer& b) { return Result{b.count, SeenInBuffer(b, size)}; };
    if (call == "GetPrivateProfileIntA") return {profile::GetInt(file, *section, *key, op["default"].get<int>()), {}};
    if (call == "GetPrivateProfileStringA")
        return seen(profile::GetStringBuffer(file, section, key, Arg(op, "default"), size));
    if (call == "GetPrivateProfileSectionA") return seen(profile::GetSection(file, *section, size));
    if (call == "GetPrivateProfileSectionNamesA") return seen(profile::GetSectionNames(file, size));
    const auto value = Arg(op, "value");
    if (!key) return {profile::DeleteSection(file, *section), {}};
    if (!value) return {profile::DeleteKey(file, *section, *key), {}};
    return {profile::WriteString(file, *section, *key, *value), {}};
}

// The file as Wine rewrites it (README): blank lines and "[]" headers
// dropped, blanks trimmed around headers, keys and values (leading ones only
// for ';' lines), CR LF after every line.
std::string WineNormalised(std::string_view s) {
    std::string out;
    for (const TextLine& l : SplitLines(s)) {
        const std::string t = Trimmed(l.text);
        const LineName n = NameOf(t);
        const std::size_t eq = t.find('=');
        if (t.empty() || (n.is_header && Trimmed(t.substr(1, t.rfind(']') - 1)).empty())) continue;
        if (n.is_header) out += "[" + Trimmed(t.substr(1, t.rfind(']') - 1)) + "]";
        else if (t[0] == ';') out += l.text.substr(l.text.find(';'));
        else if (eq != std::string::npos) out += Trimmed(t.substr(0, eq)) + "=" + Trimmed(t.substr(eq + 1));
        else out += t;
        out += "\r\n";
    }
    return out;
}

// Where Wine rewrote the whole file, only our changed lines are compared
// with its: every line we removed or added must name a key or a section the
// case writes (a written value's extra lines included), or lie in a section
// it deletes; every kept line keeps its line ending.
void ExpectOnlyWrittenLinesTouched(const Json& ops, const std::string& before, const std::string& after) {
    std::set<std::string> names, deleted;
    for (const Json& op : ops) {
        if (op["call"] != "WritePrivateProfileStringA") continue;
        const std::string section = Lower(Trimmed(*Arg(op, "section")));
        (Arg(op, "key") ? names : deleted).insert(section);
        for (const TextLine& piece : SplitLines(Arg(op, "key").value_or("") + "\n" + Arg(op, "value").value_or("")))
            names.insert(NameOf(piece.text).name);
    }
    const auto a = SplitLines(before), b = SplitLines(after);
    const LineDiff d = DiffLines(a, b);
    EXPECT_TRUE(d.endings_kept) << "a kept line changed its line ending";
    std::vector<std::string> sectionOf;  // the section of each line of `before`
    for (const TextLine& l : a) sectionOf.push_back(NameOf(l.text).is_header ? NameOf(l.text).name : sectionOf.empty() ? "" : sectionOf.back());
    for (std::size_t i : d.removed)
        EXPECT_TRUE(deleted.count(sectionOf[i]) || names.count(NameOf(a[i].text).name)) << "removed: " << a[i].text;
    for (std::size_t j : d.added) EXPECT_TRUE(names.count(NameOf(b[j].text).name)) << "added: " << b[j].text;
}

class Vector : public ::testing::TestWithParam<std::string> {};

TEST(VectorFile, HoldsEveryCase) { EXPECT_EQ(int(CaseIds().size()), Vectors().value("case_count", 0)); }

TEST_P(Vector, Case) {
    Json c;
    for (const Json& v : Vectors().value("cases", Json::array()))
        if (v["id"] == GetParam()) c = v;
    ASSERT_FALSE(c.is_null()) << "no vectors: " << [] {
        try {
            TestData("profile-vectors.json");
            return std::string("profile-vectors.json holds no cases");
        } catch (const std::exception& e) {
            return std::string(e.what());
        }
    }();
    const auto dev = kOurs.find(GetParam());
    const Ours* ours = dev == kOurs.end() ? nullptr : &dev->second;
    if (ours) RecordProperty("ours", ours->why);

    GameFolder folder;
    const std::string file = folder.file("Morrowind.ini");
    const bool existed = c["initial_exists"], exists = c["final_exists"];
    const std::string initial = existed ? Bytes(c["initial"]) : "";
    if (existed) folder.write("Morrowind.ini", initial);

    const Json& ops = c["ops"];
    for (int i = 0; i < int(ops.size()); ++i) {
        const Json& op = ops[size_t(i)];
        SCOPED_TRACE("call " + std::to_string(i) + " " + op["call"].get<std::string>());
        Result want{op["expect"]["return"].get<long long>(), {}};
        if (op["call"] == "GetPrivateProfileIntA") want.ret = op["expect"]["return_as_int"].get<long long>();
        if (op["expect"].contains("buffer"))
            want.buffer = Bytes(op["expect"]["buffer"]) + Bytes(op["expect"]["next_bytes"]);
        if (ours && ours->ops.count(i)) want = ours->ops.at(i);
        const Result got = RunCall(op, file);
        EXPECT_EQ(got.ret, want.ret);
        EXPECT_EQ(got.buffer, want.buffer);
    }

    EXPECT_EQ(folder.exists("Morrowind.ini"), exists);
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(folder.path())) names.push_back(e.path().filename().string());
    EXPECT_EQ(names.size(), exists ? 1u : 0u) << "stray files left in the folder";
    if (!exists) return;
    const std::string final_bytes = folder.read("Morrowind.ini");
    if (!c["file_changed"].get<bool>()) {
        EXPECT_EQ(final_bytes, initial);
        return;
    }
    if (ours && ours->final_bytes) {
        EXPECT_EQ(final_bytes, *ours->final_bytes) << ours->why;
    } else if (std::find(c["tags"].begin(), c["tags"].end(), "wine-rewrite") != c["tags"].end()) {
        EXPECT_EQ(WineNormalised(final_bytes), Bytes(c["final"]));
    } else {
        EXPECT_EQ(final_bytes, Bytes(c["final"]));
    }
    ExpectOnlyWrittenLinesTouched(ops, initial, final_bytes);
}

INSTANTIATE_TEST_SUITE_P(Recorded, Vector, ::testing::ValuesIn(CaseIds()),
                         [](const auto& info) { return info.param; });

}  // namespace
}  // namespace glintbook::test
