// Environment: expansion sizes, unknown references, case of names, setting and removing.
#include <string>

#include "tests/contract/contract_fixture.h"

namespace contract {
namespace {

using namespace platform;

constexpr std::uint32_t kErrorEnvvarNotFound = 203;

class EnvironmentContract : public PlatformContract {
  protected:
    void SetUp() override {
        PlatformContract::SetUp();
        ASSERT_TRUE(environment().SetVariable(kName, u"abc"));
    }
    void TearDown() override {
        environment().SetVariable(kName, nullptr);
        PlatformContract::TearDown();
    }
    Environment& environment() { return machine().environment(); }

    static constexpr const char16_t* kName = u"VISTREL_CONTRACT_VAR";
};

TEST_P(EnvironmentContract, ExpansionFollowsTheSystem) {
    // A percent sign opens a reference up to the next one, whatever lies between; an unknown
    // reference is copied with both its percent signs and the scan goes on behind it.
    const struct {
        const char16_t* source;
        const char16_t* expanded;
    } cases[] = {
        {u"%vistrel_contract_var%\\d", u"abc\\d"},
        {u"", u""},
        {u"%%", u"%%"},
        {u"%VISTREL_CONTRACT_VAR%%VISTREL_CONTRACT_VAR%", u"abcabc"},
        {u"%VISTREL_CONTRACT_MISSING%;%VISTREL_CONTRACT_VAR%;100%",
         u"%VISTREL_CONTRACT_MISSING%;abc;100%"},
        {u"%VISTREL_CONTRACT_MISSING%;100%;VISTREL_CONTRACT_VAR%",
         u"%VISTREL_CONTRACT_MISSING%;100%;VISTREL_CONTRACT_VAR%"},
        {u"%UNDEF_VISTREL%%VISTREL_CONTRACT_VAR%", u"%UNDEF_VISTREL%abc"},
        // The closing sign of an unknown reference opens no new one.
        {u"%UNDEF_VISTREL%VISTREL_CONTRACT_VAR%", u"%UNDEF_VISTREL%VISTREL_CONTRACT_VAR%"},
        {u"x%VISTREL_CONTRACT_VAR", u"x%VISTREL_CONTRACT_VAR"},
    };
    for (const auto& c : cases) {
        const std::u16string expected = c.expanded;
        SCOPED_TRACE(std::string(expected.begin(), expected.end()));
        char16_t out[128];
        EXPECT_EQ(environment().ExpandStrings(c.source, out, 128), expected.size() + 1);
        EXPECT_EQ(std::u16string(out), expected);
    }
    // Too small a buffer, or none: the size needed comes back all the same.
    char16_t small[3];
    EXPECT_EQ(environment().ExpandStrings(u"%VISTREL_CONTRACT_VAR%xyz", small, 3), 7u);
    EXPECT_EQ(environment().ExpandStrings(u"%VISTREL_CONTRACT_VAR%xyz", nullptr, 0), 7u);
}

TEST_P(EnvironmentContract, VariablesAreSetReadAndRemoved) {
    std::u16string value;
    EXPECT_TRUE(environment().GetVariable(u"Vistrel_Contract_Var", &value));
    EXPECT_EQ(value, u"abc");
    ASSERT_TRUE(environment().SetVariable(kName, u""));
    value = u"old";
    EXPECT_TRUE(environment().GetVariable(kName, &value));
    EXPECT_EQ(value, u"");
    ASSERT_TRUE(environment().SetVariable(u"vistrel_contract_VAR", nullptr));
    EXPECT_FALSE(environment().GetVariable(kName, &value));
    EXPECT_EQ(machine().LastError(), kErrorEnvvarNotFound);
    char16_t out[64];
    EXPECT_EQ(environment().ExpandStrings(u"%VISTREL_CONTRACT_VAR%", out, 64), 23u);
    EXPECT_EQ(std::u16string(out), u"%VISTREL_CONTRACT_VAR%");
    // Removing what isn't there succeeds; a name with '=' is refused.
    EXPECT_TRUE(environment().SetVariable(u"VISTREL_CONTRACT_NEVER", nullptr));
    EXPECT_FALSE(environment().SetVariable(u"VISTREL=CONTRACT", u"x"));
    EXPECT_EQ(machine().LastError(), static_cast<std::uint32_t>(kErrorInvalidParameter));
}

INSTANTIATE_TEST_SUITE_P(Backends, EnvironmentContract, testing::ValuesIn(AllBackends()),
                         BackendName);

}  // namespace
}  // namespace contract
