// The readers of untrusted text behind the file collectors: hosts file bytes, profile section
// buffers and mapping references.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/hosts_file.h"
#include "tools/mapping_reference.h"
#include "tools/profile_section.h"

namespace {

std::string Flat(const std::vector<HostsFileEntry>& entries) {
    std::string out;
    for (const HostsFileEntry& e : entries) {
        for (char16_t c : e.address + u" " + e.host + u";") out.push_back(static_cast<char>(c));
    }
    return out;
}

TEST(HostsFileText, LinesGiveAddressAndFirstHost) {
    const struct {
        std::string bytes, entries;
    } cases[] = {
        {"127.0.0.1 localhost\n", "127.0.0.1 localhost;"},
        {"127.0.0.1   alpha   beta\r\n", "127.0.0.1 alpha;"},
        {"\t 10.0.0.1\tgamma", "10.0.0.1 gamma;"},  // tabs, leading blanks, no final LF
        {"127.0.0.1 alpha#note\n", "127.0.0.1 alpha;"},
        {"  # note\n#127.0.0.1 alpha\n127.0.0.1#x alpha\n127.0.0.1\n\n", ""},
        {"nonsense words here", "nonsense words;"},
        {"::1\tip6-localhost ip6-loopback\n", "::1 ip6-localhost;"},
        {"1.2.3.4\rdelta\r", "1.2.3.4 delta;"},  // a lone CR is a blank
        {"a b\x1A"
         "c d\n",
         "a b;"},                                        // Ctrl-Z ends a text-mode file
        {std::string("a b\0c\nd e\n", 10), "a b;d e;"},  // a line ends at its NUL
        {"\xFF\xFE"
         "1\0 \0h\0\n\0",
         ""},  // UTF-16 comes in with NULs: nothing
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes);
        EXPECT_EQ(Flat(ParseHostsFile(c.bytes)), c.entries);
    }
}

TEST(HostsFileText, LongLinesArriveInPiecesOfTheReadBuffer) {
    const std::string host(2000, 'h');
    // 1023 characters, then the rest of the line, each parsed alone.
    const auto lines = HostsFileLines("1.1.1.1 " + host + "\n9.9.9.9 z");
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].size(), kHostsLinePiece);
    EXPECT_EQ(lines[1].size(), 8 + host.size() - kHostsLinePiece);
    EXPECT_EQ(Flat(ParseHostsFile("1.1.1.1 " + host)),
              "1.1.1.1 " + host.substr(0, kHostsLinePiece - 8) + ";");
    // A line of exactly one piece leaves its LF to a piece of its own, which gives nothing.
    EXPECT_EQ(HostsFileLines(std::string(kHostsLinePiece, 'x') + "\n").size(), 2u);
}

TEST(ProfileSectionText, LinesAreReadByCountAndKeysMatchExactly) {
    // No closing second NUL, and junk after the count.
    const char16_t buffer[] = u"run=a.exe\0load=a.exe, b.exe c.exe\0runner=x\0run=\0Run=y\0JUNK=z";
    const auto lines = ProfileSectionLines(buffer, 53);
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[4], u"Run=y");
    const std::vector<std::u16string> keys = {u"run", u"load"};
    const struct {
        std::size_t line;
        int key;
        std::vector<std::u16string> words;
    } cases[] = {{0, 0, {u"a.exe"}},
                 {1, 1, {u"a.exe", u"b.exe", u"c.exe"}},
                 {2, -1, {}},
                 {3, -1, {}},
                 {4, -1, {}}};
    for (const auto& c : cases) {
        std::u16string_view value;
        EXPECT_EQ(MatchProfileKey(lines[c.line], keys, &value), c.key) << c.line;
        if (c.key >= 0) {
            EXPECT_EQ(SplitProfileWords(value), c.words) << c.line;
        }
    }
    EXPECT_EQ(ProfileSectionLines(u"a=1\0\0b=2", 8).size(), 1u);  // the empty line ends them
    EXPECT_EQ(SplitProfileWords(u" ,\"C:\\Program Files\\p.exe\",,"),
              (std::vector<std::u16string>{u"\"C:\\Program", u"Files\\p.exe\""}));
}

TEST(MappingReferenceText, PrefixesRootsAndMarks) {
    using R = MappingReferenceRoot;
    const struct {
        std::u16string reference;
        R root;
        std::u16string token, rest;
    } cases[] = {
        {u"#USR:Software\\x", R::kUser, u"USR:Software\\x", u"Software\\x"},
        {u"!SYS:y\\z", R::kSystem, u"SYS:y\\z", u"y\\z"},
        {u"usr:a", R::kUser, u"usr:a", u"a"},
        {u"USR:", R::kUnparsed, u"USR:", u""},
        {u"!@#", R::kNoToken, u"", u""},
        {u"", R::kNoToken, u"", u""},
        {u"@SYS:a#b\\c", R::kSystem, u"SYS:a", u"a"},
        {u"Software\\plain", R::kUnparsed, u"Software\\plain", u""},
        {std::u16string(u"USR:a\0b", 7), R::kUser, u"USR:a", u"a"},
    };
    for (const auto& c : cases) {
        const MappingReferenceParts parts = SplitMappingReference(c.reference);
        EXPECT_EQ(parts.root, c.root) << c.reference.size();
        EXPECT_EQ(parts.token, c.token);
        EXPECT_EQ(parts.rest, c.rest);
    }
}

}  // namespace
