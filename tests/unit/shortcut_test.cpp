// Reading shell links: the stored target, the failing steps, the cut path and the timing line.
#include "tools/shortcut.h"

#include <gtest/gtest.h>

#include "tests/unit/tools_test_support.h"

namespace {

class Shortcut : public ToolsTest {
  protected:
    // Each reading of the system's tick count is 5 ms after the one before.
    Shortcut() { machine_.SetTickCount(100, 5); }

    std::u16string out_ = u"kept";
};

TEST_F(Shortcut, TargetComesBackWithATimingLineAndALongPathIsCutAt259Characters) {
    const std::u16string kept = u"C:\\" + std::u16string(250, u'd') + u"\\a.lnk";
    machine_.AddLink(kept, u"%windir%\\notepad.exe");
    machine_.ClearTrace();
    EXPECT_TRUE(ResolveLink((kept + u"-dropped").c_str(), out_));
    EXPECT_EQ(out_, u"%windir%\\notepad.exe");
    EXPECT_EQ(machine_.TraceMessages(),
              std::vector<std::string>{"[vistrel] [cnt] ResolveLink_: 10 ms"});
    // No time passed: no line.
    machine_.SetTickCount(1000, 0);
    machine_.ClearTrace();
    EXPECT_TRUE(ResolveLink(kept.c_str(), out_));
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

}  // namespace
