// Reading shell links: the stored target, the failing steps, the cut path and the timing line.
#include "tools/shortcut.h"

#include <gtest/gtest.h>

#include "tests/unit/tools_test_support.h"

namespace {

std::uint32_t s_ticks = 0;
std::uint32_t SteppingTicks() {
    return s_ticks += 5;
}
std::uint32_t FrozenTicks() {
    return 1000;
}

class Shortcut : public ToolsTest {
  protected:
    Shortcut() {
        s_ticks = 0;
        SetLinkTickSource(&SteppingTicks);
        machine_.ClearTrace();
    }
    ~Shortcut() override { SetLinkTickSource(nullptr); }

    static constexpr const char* kTiming = "[vistrel] [cnt] ResolveLink_: 10 ms";
};

TEST_F(Shortcut, StoredTargetComesBackUnexpanded) {
    machine_.AddLink(u"C:\\Links\\np.lnk", u"%windir%\\notepad.exe");
    std::u16string out;
    EXPECT_TRUE(ResolveLink(u"C:\\Links\\np.lnk", out));
    EXPECT_EQ(out, u"%windir%\\notepad.exe");
    EXPECT_EQ(machine_.TraceMessages(), std::vector<std::string>{kTiming});
}

TEST_F(Shortcut, FailingStepsLeaveOutAloneAndOnlyEarlyOnesAreTimed) {
    const struct {
        platform::LinkStep step;
        bool timed;
    } cases[] = {
        {platform::LinkStep::kCreate, true},   {platform::LinkStep::kQueryPersistFile, true},
        {platform::LinkStep::kLoad, true},     {platform::LinkStep::kResolve, true},
        {platform::LinkStep::kGetPath, false}, {platform::LinkStep::kGetDescription, false}};
    for (const auto& c : cases) {
        machine_.AddBrokenLink(u"C:\\Links\\broken.lnk", c.step);
        machine_.ClearTrace();
        s_ticks = 0;
        std::u16string out = u"kept";
        EXPECT_FALSE(ResolveLink(u"C:\\Links\\broken.lnk", out));
        EXPECT_EQ(out, u"kept");
        EXPECT_EQ(machine_.TraceMessages().size(), c.timed ? 1u : 0u) << static_cast<int>(c.step);
    }
}

TEST_F(Shortcut, UninitialisableComGivesFalseWithoutTiming) {
    machine_.AddLink(u"C:\\a.lnk", u"C:\\a.exe");
    machine_.FailComInitialize(platform::kEFail);
    std::u16string out;
    EXPECT_FALSE(ResolveLink(u"C:\\a.lnk", out));
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(machine_.TraceMessages().empty());
}

TEST_F(Shortcut, RunWithoutMeasurableTimeLeavesNoLine) {
    SetLinkTickSource(&FrozenTicks);
    machine_.AddLink(u"C:\\a.lnk", u"C:\\a.exe");
    std::u16string out;
    EXPECT_TRUE(ResolveLink(u"C:\\a.lnk", out));
    EXPECT_TRUE(machine_.TraceMessages().empty());
}

TEST_F(Shortcut, LongPathIsCutAt259Characters) {
    std::u16string kept = u"C:\\";
    for (int i = 0; i < 22; ++i) kept += u"dddddddddd\\";
    kept += u"abcdefghij.lnk";
    ASSERT_EQ(kept.size(), 259u);
    machine_.AddLink(kept, u"C:\\target.exe");
    std::u16string out;
    EXPECT_TRUE(ResolveLink((kept + u"-and-more-that-is-dropped").c_str(), out));
    EXPECT_EQ(out, u"C:\\target.exe");
}

}  // namespace
