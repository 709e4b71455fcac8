// The category tree: the root's shape, every container's name, description and elevation, the
// order of their children, and enumeration of a container with a stop.
#include "sources/category_tree.h"

#include <gtest/gtest.h>

#include <memory>
#include <tuple>
#include <vector>

#include "platform/memory/memory_machine.h"

namespace {

// A source as its name id, description id and whether it needs elevation.
using Node = std::tuple<std::int32_t, std::int32_t, bool>;

// The whole fixed tree, in order.
const std::vector<Node> kTopLevel = {
    {22300, 22301, false}, {22330, 22331, false}, {22350, 22351, false}, {22440, 22441, false},
    {22450, 22451, true},  {22371, 22372, true},  {22380, 22381, false}, {22391, 22392, false},
    {22400, 22401, false}, {22420, 22421, false}, {22460, 22461, false}, {22470, 22471, false},
    {22340, 22341, false}};

// The leaves, each with its container's name id in front.
const std::pair<std::int32_t, Node> kLeaves[] = {
    {22300, {22302, 22303, false}}, {22300, {22304, 22305, false}}, {22300, {22306, 22307, false}},
    {22300, {22308, 22309, true}},  {22300, {22310, 22311, true}},  {22300, {22312, 22313, true}},
    {22300, {22314, 22315, true}},  {22300, {22316, 22317, true}},  {22300, {22318, 22319, true}},
    {22330, {22332, 22333, false}}, {22330, {22334, 22335, true}},  {22350, {22352, 22353, true}},
    {22350, {22354, 22355, false}}, {22350, {22356, 22357, true}},  {22350, {22358, 22359, true}},
    {22350, {22360, 22361, true}},  {22440, {22442, 22443, false}}, {22440, {22444, 22445, false}},
    {22380, {22382, 22383, true}},  {22380, {22384, 22385, true}},  {22391, {22475, 22477, true}},
    {22391, {22474, 22476, true}},  {22400, {22402, 22403, true}},  {22400, {22404, 22405, false}},
    {22400, {22406, 22407, true}},  {22420, {22426, 22427, true}},  {22420, {22422, 22423, true}},
    {22420, {22424, 22425, true}}};

std::vector<Node> Describe(const std::vector<CVistrelPlugin*>& sources) {
    std::vector<Node> nodes;
    for (CVistrelPlugin* s : sources) {
        EXPECT_FALSE(s->failed);
        nodes.emplace_back(s->GetNameId(), s->GetDescriptionId(), s->NeedsElevation);
    }
    return nodes;
}

// Each delivery as index, whether it came with a name, child and owner.
using Delivery = std::tuple<std::int32_t, bool, CVistrelPlugin*, CVistrelPlugin*>;

struct Collector {
    std::vector<Delivery> seen;
    std::int32_t stopAt = -1;
};

bool Collect(std::int32_t index, const char16_t* name, CVistrelPlugin* child, CVistrelPlugin* owner,
             void* context) {
    auto* c = static_cast<Collector*>(context);
    c->seen.emplace_back(index, name != nullptr, child, owner);
    return index != c->stopAt;
}

class CategoryTreeTest : public ::testing::Test {
  protected:
    platform::memory::MemoryMachine machine;
    platform::memory::ScopedMachine scope{machine};
    std::unique_ptr<CVistrelMainPlugin> root = std::make_unique<CVistrelMainPlugin>();
};

TEST_F(CategoryTreeTest, EveryContainerStandsInTableOrderWithItsLeaves) {
    EXPECT_EQ(Describe({root.get()}), (std::vector<Node>{{-1, -1, false}}));
    EXPECT_FALSE(root->useElevation);

    Collector c;
    EXPECT_EQ(root->EnumerateItems(&Collect, false, &c),
              static_cast<std::int32_t>(root->children.size()));
    std::vector<Delivery> expected;
    for (std::size_t i = 0; i < root->children.size(); ++i)
        expected.emplace_back(static_cast<std::int32_t>(i), false, root->children[i], root.get());
    EXPECT_EQ(c.seen, expected);
    EXPECT_EQ(Describe(root->children), kTopLevel);

    for (CVistrelPlugin* child : root->children) {
        std::vector<Node> leaves;
        for (const auto& [owner, leaf] : kLeaves)
            if (owner == child->GetNameId()) leaves.push_back(leaf);
        auto* container = dynamic_cast<CVistrelPluginContainer*>(child);
        EXPECT_EQ(container ? Describe(container->children) : std::vector<Node>{}, leaves)
            << child->GetNameId();
    }
}

TEST_F(CategoryTreeTest, ContainersStopWhenTheCallbackSaysSoAndPassRefreshAndElevation) {
    Collector c;
    c.stopAt = 2;
    EXPECT_EQ(root->EnumerateItems(&Collect, true, &c), 3);
    EXPECT_EQ(c.seen.size(), 3u);

    root->SetUseElevation(true);
    for (CVistrelPlugin* top : root->children) {
        EXPECT_TRUE(top->useElevation);
        if (auto* container = dynamic_cast<CVistrelPluginContainer*>(top)) {
            for (CVistrelPlugin* leaf : container->children) EXPECT_TRUE(leaf->useElevation);
        }
    }
    EXPECT_EQ(root->GetActionCount(), 1);
    EXPECT_EQ(root->children[1]->GetActionTextId(0), 22200);
    resultFlags flags;
    EXPECT_TRUE(root->DoAction(0, -1, &flags));
    EXPECT_FALSE(root->DoAction(1, -1, &flags));
    EXPECT_EQ(flags.succeeded, 1);
}

}  // namespace
