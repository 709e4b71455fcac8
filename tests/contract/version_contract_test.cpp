// Version blocks: the block reader against hand-built and damaged blocks, and both backends'
// VersionInfo against the builder's blocks and a DLL whose resource a resource compiler made.
#include <cstring>
#include <string>
#include <vector>

#include "platform/version_block_reader.h"
#include "tests/contract/contract_fixture.h"
#include "tests/support/version_block_builder.h"

namespace contract {
namespace {

using namespace platform;
using testsupport::BuildVersionBlock;
using testsupport::VersionBlockContents;

// The contents of tests/support/version_probe/version_probe.rc.
VersionBlockContents ProbeContents() {
    VersionBlockContents contents;
    contents.fileVersion = {1, 2, 3, 4};
    contents.productVersion = {5, 6, 7, 8};
    contents.fileType = 2;  // VFT_DLL
    contents.tables = {{0x0409,
                        0x04B0,
                        {{u"CompanyName", u"Probe Works"},
                         {u"FileDescription", u"Version probe"},
                         {u"Comments", u""},
                         {u"FileVersion", u"1.2.3.4"}}},
                       {0x0407, 0x04E4, {{u"CompanyName", u"Probewerk"}}}};
    contents.translations = {{0x0409, 0x04B0}, {0x0407, 0x04E4}};
    return contents;
}

// The queries both backends answer alike, found or not.
const std::vector<std::u16string>& Queries() {
    static const std::vector<std::u16string> queries = [] {
        std::vector<std::u16string> list = {u"\\",
                                            u"",
                                            u"\\VarFileInfo\\Translation",
                                            u"\\VarFileInfo\\\\Translation",
                                            u"\\Nothing",
                                            u"\\StringFileInfo\\040904b0\\companyname"};
        for (const char16_t* table : {u"040904B0", u"040704E4", u"04090000"}) {
            for (const char16_t* name : {u"CompanyName", u"FileDescription", u"Comments",
                                         u"FileVersion", u"ProductName", u"Company"}) {
                list.push_back(std::u16string(u"\\StringFileInfo\\") + table + u"\\" + name);
            }
        }
        return list;
    }();
    return queries;
}

struct Answer {
    bool found = false;
    std::uint32_t length = 0;
    std::string bytes;  // the value's bytes as far as length covers them
    bool operator==(const Answer&) const = default;
};

void PrintTo(const Answer& answer, std::ostream* os) {
    *os << (answer.found ? "found, length " : "not found, length ") << answer.length << ", "
        << answer.bytes.size() << " bytes";
}

// Text values count characters, all others bytes; the root and the translation are binary.
std::uint32_t ValueBytes(const std::u16string& query, std::uint32_t length) {
    std::u16string folded = query;
    for (char16_t& c : folded) {
        if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
    }
    return folded.find(u"stringfileinfo") != std::u16string::npos ? 2 * length : length;
}

template <class QueryFn>
Answer Ask(const std::u16string& query, QueryFn&& query_fn) {
    Answer answer;
    const void* buffer = nullptr;
    answer.found = query_fn(query.c_str(), &buffer, &answer.length);
    if (answer.found && buffer != nullptr) {
        answer.bytes.assign(static_cast<const char*>(buffer), ValueBytes(query, answer.length));
    }
    return answer;
}

Answer AskReader(const std::string& block, const std::u16string& query) {
    return Ask(query, [&](const char16_t* q, const void** buffer, std::uint32_t* length) {
        return QueryVersionBlock(block.data(), static_cast<std::uint32_t>(block.size()), q, buffer,
                                 length);
    });
}

std::uint32_t Dword(const std::string& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, 4);
    return value;
}

std::string Text(std::u16string_view text) {
    return Utf16Bytes(text, true);
}

TEST(VersionBlockReader, AnswersTheQueriesOfABuiltBlock) {
    const std::string block = BuildVersionBlock(ProbeContents());
    const Answer missing{};
    const struct {
        const char16_t* query;
        Answer answer;
    } cases[] = {
        {u"\\VarFileInfo\\Translation",
         {true, 8, std::string("\x09\x04\xB0\x04\x07\x04\xE4\x04", 8)}},
        // A text's length counts its terminator, as compiled resources store it.
        {u"\\stringfileinfo\\040904b0\\COMPANYNAME", {true, 12, Text(u"Probe Works")}},
        {u"\\StringFileInfo\\040904B0\\Comments", {true, 1, Text(u"")}},
        {u"\\StringFileInfo\\040704E4\\CompanyName", {true, 10, Text(u"Probewerk")}},
        // Keys match whole, not as prefixes.
        {u"\\StringFileInfo\\040904B0\\Company", missing},
        {u"\\StringFileInfo\\040904B0\\CompanyNameX", missing},
        {u"\\StringFileInfo\\040704E4\\FileDescription", missing},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(AskReader(block, c.query), c.answer) << Narrow(c.query);
    }
    const Answer root = AskReader(block, u"\\");
    ASSERT_EQ(root.bytes.size(), 52u);             // the length of a VS_FIXEDFILEINFO
    EXPECT_EQ(Dword(root.bytes, 8), 0x00010002u);  // file version, most significant half first

    // An empty translation table is there, with length 0.
    EXPECT_EQ(AskReader(BuildVersionBlock({}), u"\\VarFileInfo\\Translation"),
              (Answer{true, 0, ""}));
}

TEST(VersionBlockReader, RefusesBlocksThatAreNotVersionBlocks) {
    const std::string block = BuildVersionBlock(ProbeContents());
    const void* buffer = reinterpret_cast<const void*>(1);
    std::uint32_t length = 77;
    EXPECT_FALSE(QueryVersionBlock(nullptr, 100, u"\\", &buffer, &length));
    EXPECT_FALSE(QueryVersionBlock(block.data(), 0, u"\\", &buffer, &length));

    // The signature follows the 15-character key and its padding; StringFileInfo follows the
    // VS_FIXEDFILEINFO.
    const std::size_t signature = 40, stringFileInfo = 40 + 52;
    const std::size_t type = block.find(Utf16Bytes(u"CompanyName", true)) - 2;
    ASSERT_EQ(Dword(block, signature), 0xFEEF04BDu);
    ASSERT_EQ(block[stringFileInfo + 6], 'S');
    ASSERT_EQ(block[type], 1);  // the string node's type word: text
    const struct {
        std::size_t at;
        std::string bytes;
        const char16_t* query;
        bool found;
    } cases[] = {
        // A node of a type other than binary or text is refused.
        {4, std::string(1, '\2'), u"\\", false},
        // A root without the signature is refused; the rest of the block is still readable.
        {signature, std::string(1, '\0'), u"\\", false},
        {signature, std::string(1, '\0'), u"\\VarFileInfo\\Translation", true},
        // A child that claims to reach past its parent ends the search.
        {stringFileInfo, "\xFF\x7F", u"\\VarFileInfo\\Translation", false},
        // A text counts characters: twice as many bytes must fit in the node.
        {type - 2, "\x14", u"\\StringFileInfo\\040904B0\\CompanyName", false},
        // A string stored as binary would have its length taken as characters, reaching past it.
        {type, std::string(1, '\0'), u"\\StringFileInfo\\040904B0\\CompanyName", false},
        {type, std::string(1, '\0'), u"\\StringFileInfo\\040904B0\\FileDescription", true},
    };
    for (const auto& c : cases) {
        std::string patched = block;
        patched.replace(c.at, c.bytes.size(), c.bytes);
        EXPECT_EQ(QueryVersionBlock(patched.data(), c.query, &buffer, &length), c.found)
            << Narrow(c.query);
        // Failures leave the outputs alone.
        EXPECT_EQ(length == 77u, !c.found);
        length = 77;
    }
}

// Whatever a damaged block answers lies within its bytes.
void ExpectAnswersInside(const std::vector<unsigned char>& bytes, std::size_t size, int round) {
    for (const std::u16string& query : Queries()) {
        const void* buffer = nullptr;
        std::uint32_t length = 0;
        if (!QueryVersionBlock(bytes.data(), static_cast<std::uint32_t>(size), query.c_str(),
                               &buffer, &length)) {
            continue;
        }
        const auto* start = static_cast<const unsigned char*>(buffer);
        ASSERT_GE(start, bytes.data()) << round;
        ASSERT_LE(start + ValueBytes(query, length), bytes.data() + size) << round;
    }
}

TEST(VersionBlockReader, NeverAnswersOutsideATruncatedBlock) {
    const std::string whole = BuildVersionBlock(ProbeContents());
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        // Given fewer bytes than it claims, the block is refused outright.
        std::vector<unsigned char> bytes(whole.begin(), whole.begin() + cut);
        const void* buffer = nullptr;
        std::uint32_t length = 0;
        EXPECT_FALSE(QueryVersionBlock(bytes.data(), static_cast<std::uint32_t>(cut), u"\\",
                                       &buffer, &length))
            << cut;
        // A block whose own length was cut too.
        if (cut < 2) continue;
        bytes[0] = static_cast<unsigned char>(cut & 0xFF);
        bytes[1] = static_cast<unsigned char>(cut >> 8);
        ExpectAnswersInside(bytes, cut, static_cast<int>(cut));
    }
}

class VersionContract : public PlatformContract {
  protected:
    Answer AskBackend(const void* block, const std::u16string& query) {
        return Ask(query, [&](const char16_t* q, const void** buffer, std::uint32_t* length) {
            return machine().version().Query(block, q, buffer, length);
        });
    }

    // A file whose version block GetFileVersionInfo gives: on Win32 the probe DLL that the
    // resource compiler made, on the memory machine the builder's block of the same contents.
    // Empty when this build has no probe DLL.
    std::u16string ProbeFile() {
        if (!IsWin32()) {
            const std::u16string path = InFolder(u"version_probe.dll");
            WriteFile(u"version_probe.dll", "MZ");
            memoryMachine()->SetVersionBlock(path, BuildVersionBlock(ProbeContents()));
            return path;
        }
#ifdef VISTREL_VERSION_PROBE_DLL
        std::u16string path = u"Z:";
        for (const char* p = VISTREL_VERSION_PROBE_DLL; *p != 0; ++p) {
            path.push_back(*p == '/' ? u'\\' : static_cast<char16_t>(*p));
        }
        return path;
#else
        return {};
#endif
    }
};

// The builder's block and a block that a resource compiler made read the same through the
// backend and the reader (on Win32 that is the system's VerQueryValueW judging the builder and
// the reader), and both blocks say the same of the same contents.
TEST_P(VersionContract, BuiltAndCompiledBlocksReadAlike) {
    const std::string built = BuildVersionBlock(ProbeContents());
    for (const std::u16string& query : Queries()) {
        EXPECT_EQ(AskBackend(built.data(), query), AskReader(built, query)) << Narrow(query);
    }
    EXPECT_EQ(machine().version().GetSize(InFolder(u"missing.dll").c_str()), 0u);
    EXPECT_EQ(machine().LastError(), static_cast<std::uint32_t>(kErrorFileNotFound));

    const std::u16string path = ProbeFile();
    if (path.empty()) GTEST_SKIP() << "this build has no probe DLL";
    const std::uint32_t size = machine().version().GetSize(path.c_str());
    ASSERT_GT(size, 0u);
    std::string block(size, '\0');
    ASSERT_TRUE(machine().version().Get(path.c_str(), size, block.data()));
    for (const std::u16string& query : Queries()) {
        SCOPED_TRACE(Narrow(query));
        const Answer fromBackend = AskBackend(block.data(), query);
        EXPECT_EQ(fromBackend, AskReader(block, query));
        const Answer expected = AskReader(built, query);
        if (query == u"\\" || query.empty()) {
            // The compiler leaves the date and flags alone; the versions and type must agree.
            ASSERT_TRUE(fromBackend.found);
            EXPECT_EQ(fromBackend.length, expected.length);
            EXPECT_EQ(fromBackend.bytes.substr(0, 24), expected.bytes.substr(0, 24));
            EXPECT_EQ(Dword(fromBackend.bytes, 36), Dword(expected.bytes, 36));
        } else {
            EXPECT_EQ(fromBackend, expected);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Backends, VersionContract, testing::ValuesIn(AllBackends()), BackendName);

}  // namespace
}  // namespace contract
