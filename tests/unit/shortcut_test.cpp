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
    Shortcut() { SetLinkTickSource(&SteppingTicks); }
    ~Shortcut() override { SetLinkTickSource(nullptr); }

    std::u16string out_ = u"kept";
};

TEST_F(Shortcut, StoredTargetComesBackUnexpandedWithATimingLine) {
    machine_.AddLink(u"C:\\Links\\np.lnk", u"%windir%\\notepad.exe");
    machine_.ClearTrace();
    EXPECT_TRUE(ResolveLink(u"C:\\Links\\np.lnk", out_));
    EXPECT_EQ(out_, u"%windir%\\notepad.exe");
    EXPECT_EQ(machine_.TraceMessages(),
              std::vector<std::string>{"[vistrel] [cnt] ResolveLink_: 10 ms"});

    SetLinkTickSource(&FrozenTicks);
    machine_.ClearTrace();
    EXPECT_TRUE(ResolveLink(u"C:\\Links\\np.lnk", out_));
    EXPECT_TRUE(machine_.TraceMessages().empty());
}

TEST_F(Shortcut, FailingStepsLeaveOutAloneAndOnlyEarlyOnesAreTimed) {
    using platform::LinkStep;
    for (LinkStep step : {LinkStep::kCreate, LinkStep::kQueryPersistFile, LinkStep::kLoad,
                          LinkStep::kResolve, LinkStep::kGetPath, LinkStep::kGetDescription}) {
        machine_.AddBrokenLink(u"C:\\broken.lnk", step);
        machine_.ClearTrace();
        EXPECT_FALSE(ResolveLink(u"C:\\broken.lnk", out_));
        EXPECT_EQ(out_, u"kept");
        const bool timed = step != LinkStep::kGetPath && step != LinkStep::kGetDescription;
        EXPECT_EQ(machine_.TraceMessages().size(), timed ? 1u : 0u) << static_cast<int>(step);
    }
    machine_.AddLink(u"C:\\a.lnk", u"C:\\a.exe");
    machine_.FailComInitialize(platform::kEFail);
    machine_.ClearTrace();
    EXPECT_FALSE(ResolveLink(u"C:\\a.lnk", out_));
    EXPECT_TRUE(machine_.TraceMessages().empty());
}

TEST_F(Shortcut, LongPathIsCutAt259Characters) {
    std::u16string kept = u"C:\\";
    for (int i = 0; i < 22; ++i) kept += u"dddddddddd\\";
    kept += u"abcdefghij.lnk";
    ASSERT_EQ(kept.size(), 259u);
    machine_.AddLink(kept, u"C:\\target.exe");
    EXPECT_TRUE(ResolveLink((kept + u"-dropped").c_str(), out_));
    EXPECT_EQ(out_, u"C:\\target.exe");
}

}  // namespace
