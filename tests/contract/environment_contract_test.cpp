// Environment: expansion sizes, unknown references, case of names, setting and removing.
#include <string>

#include "tests/contract/contract_fixture.h"

namespace contract {
namespace {

using namespace platform;

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

TEST_P(EnvironmentContract, ExpansionCountsTheTerminator) {
    char16_t out[64];
    const char16_t* source = u"%vistrel_contract_var%\\d";
    EXPECT_EQ(environment().ExpandStrings(source, out, 64), 6u);
    EXPECT_EQ(std::u16string(out), u"abc\\d");
    // Too small a buffer: the size needed comes back all the same.
    EXPECT_EQ(environment().ExpandStrings(source, out, 3), 6u);
    EXPECT_EQ(environment().ExpandStrings(u"", out, 64), 1u);
    EXPECT_EQ(std::u16string(out), u"");
}

TEST_P(EnvironmentContract, UnknownReferencesAndLonePercentsStay) {
    char16_t out[128];
    std::u16string expected = u"%VISTREL_CONTRACT_MISSING%;abc;100%";
    EXPECT_EQ(environment().ExpandStrings(u"%VISTREL_CONTRACT_MISSING%;%VISTREL_CONTRACT_VAR%;100%",
                                          out, 128),
              expected.size() + 1);
    EXPECT_EQ(std::u16string(out), expected);
    // A percent sign opens a reference up to the next one, whatever lies between; an unknown
    // reference is copied with both its percent signs and the scan goes on behind it. Here
    // "%;100%" is such a reference, which leaves the last name without its opening sign.
    expected = u"%VISTREL_CONTRACT_MISSING%;100%;VISTREL_CONTRACT_VAR%";
    EXPECT_EQ(environment().ExpandStrings(expected.c_str(), out, 128), expected.size() + 1);
    EXPECT_EQ(std::u16string(out), expected);
}

TEST_P(EnvironmentContract, VariablesAreSetReadAndRemoved) {
    std::u16string value;
    EXPECT_TRUE(environment().GetVariable(u"Vistrel_Contract_Var", &value));
    EXPECT_EQ(value, u"abc");
    ASSERT_TRUE(environment().SetVariable(kName, u""));
    value = u"old";
    EXPECT_TRUE(environment().GetVariable(kName, &value));
    EXPECT_EQ(value, u"");
    ASSERT_TRUE(environment().SetVariable(kName, nullptr));
    EXPECT_FALSE(environment().GetVariable(kName, &value));
    char16_t out[64];
    EXPECT_EQ(environment().ExpandStrings(u"%VISTREL_CONTRACT_VAR%", out, 64), 23u);
    EXPECT_EQ(std::u16string(out), u"%VISTREL_CONTRACT_VAR%");
}

INSTANTIATE_TEST_SUITE_P(Backends, EnvironmentContract, testing::ValuesIn(AllBackends()),
                         BackendName);

}  // namespace
}  // namespace contract
