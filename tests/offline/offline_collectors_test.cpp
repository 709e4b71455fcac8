// One image, two backends: the collectors list the same entries with the same details whether
// the image is loaded into the memory machine or read from its hive files and folder.
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "collectors/autostart/run_items.h"
#include "collectors/autostart/services.h"
#include "collectors/files/startup_items.h"
#include "frame/module_objects.h"
#include "platform/memory/memory_machine.h"
#include "platform/offline/offline_machine.h"
#include "tests/offline/offline_image.h"
#include "tests/unit/collector_test_support.h"
#include "tools/elevation_support.h"

namespace {

using namespace offline_test;

struct Listing {
    std::int32_t result = 0;
    std::vector<std::u16string> texts;
    std::vector<std::vector<collectortest::Line>> details;
};

// The source is made on the machine too: some look their folder up when they are made.
Listing List(platform::Machine& machine,
             const std::function<std::unique_ptr<CVistrelPlugin>()>& make) {
    platform::memory::ScopedMachine scoped(machine);
    const std::unique_ptr<CVistrelPlugin> source = make();
    Listing listing;
    listing.texts = collectortest::Texts(*source, &listing.result);
    for (std::size_t i = 0; i < listing.texts.size(); ++i)
        listing.details.push_back(collectortest::Details(*source, static_cast<std::int32_t>(i)));
    return listing;
}

TEST(OfflineCollectors, ListTheSameEntriesAndDetailsAsTheMemoryMachine) {
    TempFolder image;
    ASSERT_TRUE(WriteImage(image.path(), StandardContents()));
    std::string error;
    std::unique_ptr<platform::Machine> offline =
        platform::offline::OpenOfflineMachine({image.path(), ""}, &error);
    ASSERT_NE(offline, nullptr) << error;
    platform::memory::MemoryMachine memory;
    LoadImage(memory, StandardContents());
    CreateElevatedHelperSupport();

    const struct {
        const char* what;
        std::function<std::unique_ptr<CVistrelPlugin>()> make;
        std::vector<std::u16string> texts;  // what both must list
    } sources[] = {
        {"machine run",
         [] { return std::make_unique<CVistrelRunItemLocalMachineRun>(); },
         {u"App", u"Beep", u"Missing"}},
        {"machine run once",
         [] { return std::make_unique<CVistrelRunItemLocalMachineRunOnce>(); },
         {u"Lower"}},
        {"user run", [] { return std::make_unique<CVistrelRunItemCurrentUserRun>(); }, {}},
        {"services",
         [] { return std::make_unique<CVistrelServices_Process>(); },
         {u"Alpha Service"}},
        {"drivers", [] { return std::make_unique<CVistrelServices_Driver>(); }, {}},
        {"user startup folder, its link resolved",
         [] { return std::make_unique<CVistrelStartupItemsCurrentUser>(); },
         {u"C:\\Users\\alice\\Start\\App.lnk"}},
    };
    for (const auto& s : sources) {
        SCOPED_TRACE(s.what);
        const Listing expected = List(memory, s.make);
        const Listing actual = List(*offline, s.make);
        EXPECT_EQ(actual.result, expected.result);
        EXPECT_EQ(actual.texts, expected.texts);
        EXPECT_EQ(actual.details, expected.details);
        for (const std::u16string& text : s.texts)
            EXPECT_NE(std::find(actual.texts.begin(), actual.texts.end(), text),
                      actual.texts.end());
    }
    DestroyElevatedHelperSupport();
}

}  // namespace
