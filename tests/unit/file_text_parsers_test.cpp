// The readers of untrusted text behind the file collectors: hosts file bytes, profile section
// buffers and mapping references.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/hosts_file.h"
#include "tools/mapping_reference.h"
#include "tools/profile_section.h"

namespace {

TEST(FileTextParsers, HostsLinesGiveAddressAndFirstHost) {
    const std::string longHost(2000, 'h');
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
         "a b;"},                                        // Ctrl-Z ends the file
        {std::string("a b\0c\nd e\n", 10), "a b;d e;"},  // a line ends at a NUL
        {std::string("\xFF\xFE"
                     "1\0 \0h\0\n\0",
                     10),
         ""},  // UTF-16 has NULs
        // A long line comes in pieces of 1023 characters, each parsed alone.
        {"1.1.1.1 " + longHost + "\n2.2.2.2 z",
         "1.1.1.1 " + longHost.substr(0, 1015) + ";2.2.2.2 z;"},
        {std::string(1023, 'x') + "\n3.3.3.3 y", "3.3.3.3 y;"},
    };
    for (const auto& c : cases) {
        std::string flat;
        for (const HostsFileEntry& e : ParseHostsFile(c.bytes))
            for (char16_t ch : e.address + u" " + e.host + u";")
                flat.push_back(static_cast<char>(ch));
        EXPECT_EQ(flat, c.entries) << c.bytes.substr(0, 40);
    }
}

TEST(FileTextParsers, ProfileLinesAreReadByTheirCountOnly) {
    // No closing second NUL within the count, junk behind it.
    const char16_t buffer[] = u"run=a.exe\0Run=y\0JUNK=z";
    const auto lines = ProfileSectionLines(buffer, 15);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1], u"Run=y");
    EXPECT_EQ(ProfileSectionLines(u"a=1\0\0b=2", 8).size(), 1u);  // an empty line ends them
}

TEST(FileTextParsers, MappingReferencePrefixesRootsAndMarks) {
    using R = MappingReferenceRoot;
    const struct {
        std::u16string reference;
        R root;
        std::u16string rest;
    } cases[] = {
        {u"#USR:Software\\x", R::kUser, u"Software\\x"},
        {u"!SYS:y\\z", R::kSystem, u"y\\z"},
        {u"usr:a", R::kUser, u"a"},
        {u"USR:", R::kUnparsed, u""},
        {u"!@#", R::kNoToken, u""},
        {u"", R::kNoToken, u""},
        {u"@SYS:a#b\\c", R::kSystem, u"a"},
        {u"Software\\plain", R::kUnparsed, u""},
        {std::u16string(u"USR:a\0b", 7), R::kUser, u"a"},
    };
    for (const auto& c : cases) {
        const MappingReferenceParts parts = SplitMappingReference(c.reference);
        EXPECT_EQ(parts.root, c.root) << c.reference.size();
        EXPECT_EQ(parts.rest, c.rest) << c.reference.size();
    }
}

}  // namespace
