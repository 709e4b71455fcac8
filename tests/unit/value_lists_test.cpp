// The list splitters over raw registry bytes: tokens with the delimiters behind them, and the
// strings of a multi-string, from buffers of exactly the value's size (odd, unaligned, without
// terminator), so that a read past the value shows under the sanitizers.
#include "tools/value_lists.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace {

using namespace std::literals;
using Pairs = std::vector<std::pair<std::u16string, std::u16string>>;

// The bytes at an odd address in a heap block of exactly their size.
class ExactBytes {
  public:
    explicit ExactBytes(std::string_view bytes) : block_(new char[bytes.size() + 1]) {
        bytes.copy(block_.get() + 1, bytes.size());
        size_ = bytes.size();
    }
    const void* data() const { return block_.get() + 1; }
    std::size_t size() const { return size_; }

  private:
    std::unique_ptr<char[]> block_;
    std::size_t size_;
};

std::string Wide(std::u16string_view text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}

TEST(ValueLists, TokensKeepTheDelimitersThatFollowThem) {
    const struct {
        std::string bytes;
        std::u16string delimiters;
        Pairs tokens;
    } cases[] = {
        {Wide(u"a b,c"sv), u" ,", {{u"a", u" "}, {u"b", u","}, {u"c", u""}}},
        {Wide(u" ,a , b,,\0"sv), u" ,", {{u"a", u" , "}, {u"b", u",,"}}},
        {Wide(u"x\0y z"sv), u" ,", {{u"x", u""}}},
        {Wide(u"ab c"sv) + "d", u" ", {{u"ab", u" "}, {u"c", u""}}},
        {Wide(u"ab c"sv), u"", {{u"ab c", u""}}},
        {Wide(u" , "sv), u" ,", {}},
        {"", u" ,", {}},
        {"q", u" ,", {}},
    };
    for (const auto& c : cases) {
        const ExactBytes bytes(c.bytes);
        Pairs got;
        for (const ValueListToken& t : SplitValueList(bytes.data(), bytes.size(), c.delimiters))
            got.emplace_back(t.text, t.separator);
        EXPECT_EQ(got, c.tokens) << testing::PrintToString(c.bytes);
    }
    EXPECT_TRUE(SplitValueList(nullptr, 8, u" ").empty());
}

TEST(ValueLists, MultiStringsEndAtAnEmptyStringOrTheData) {
    const struct {
        std::string bytes;
        std::vector<std::u16string> strings;
    } cases[] = {
        {Wide(u"a\0bc\0\0"sv), {u"a", u"bc"}},
        {Wide(u"a\0bc"sv), {u"a", u"bc"}},
        {Wide(u"a\0bc"sv) + "x", {u"a", u"bc"}},
        {Wide(u"a\0\0b\0\0"sv), {u"a"}},
        {Wide(u"\0a\0"sv), {}},
        {"x", {}},
        {"", {}},
    };
    for (const auto& c : cases) {
        const ExactBytes bytes(c.bytes);
        EXPECT_EQ(SplitMultiString(bytes.data(), bytes.size()), c.strings)
            << testing::PrintToString(c.bytes);
    }
    EXPECT_TRUE(SplitMultiString(nullptr, 4).empty());
}

}  // namespace
