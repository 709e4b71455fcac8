// The category tree: the root's shape, every container's name, description and elevation, the
// order of their children, and enumeration of a container with a stop.
#include "sources/category_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "platform/memory/memory_machine.h"

namespace {

using platform::memory::MemoryMachine;
using platform::memory::ScopedMachine;

struct Node {
    std::int32_t nameId;
    std::int32_t descriptionId;
    bool needsElevation;
};

bool operator==(const Node& a, const Node& b) {
    return a.nameId == b.nameId && a.descriptionId == b.descriptionId &&
           a.needsElevation == b.needsElevation;
}

void PrintTo(const Node& n, std::ostream* os) {
    *os << "{" << n.nameId << ", " << n.descriptionId << ", " << n.needsElevation << "}";
}

// The whole fixed tree: the root's children, and for each container its leaves. Categories
// that are still being built join at their place; what exists must keep this order.
const std::vector<Node> kTopLevel = {
    {22300, 22301, false}, {22330, 22331, false}, {22350, 22351, false}, {22440, 22441, false},
    {22450, 22451, true},  {22371, 22372, true},  {22380, 22381, false}, {22391, 22392, false},
    {22400, 22401, false}, {22420, 22421, false}, {22460, 22461, false}, {22470, 22471, false},
    {22340, 22341, false}};

const std::vector<std::vector<Node>> kLeaves = {
    {{22302, 22303, false},
     {22304, 22305, false},
     {22306, 22307, false},
     {22308, 22309, true},
     {22310, 22311, true},
     {22312, 22313, true},
     {22314, 22315, true},
     {22316, 22317, true},
     {22318, 22319, true}},
    {{22332, 22333, false}, {22334, 22335, true}},
    {{22352, 22353, true},
     {22354, 22355, false},
     {22356, 22357, true},
     {22358, 22359, true},
     {22360, 22361, true}},
    {{22442, 22443, false}, {22444, 22445, false}},
    {},
    {},
    {{22382, 22383, true}, {22384, 22385, true}},
    {{22475, 22477, true}, {22474, 22476, true}},
    {{22402, 22403, true}, {22404, 22405, false}, {22406, 22407, true}},
    {{22426, 22427, true}, {22422, 22423, true}, {22424, 22425, true}},
    {},
    {},
    {}};

Node Describe(CVistrelPlugin* source) {
    return {source->GetNameId(), source->GetDescriptionId(), source->NeedsElevation};
}

// Positions of actual within expected, which it must follow in order; empty when it doesn't.
std::vector<std::size_t> PlaceInOrder(const std::vector<Node>& actual,
                                      const std::vector<Node>& expected) {
    std::vector<std::size_t> places;
    std::size_t next = 0;
    for (const Node& node : actual) {
        while (next < expected.size() && !(expected[next] == node)) ++next;
        if (next == expected.size()) return {};
        places.push_back(next++);
    }
    return places;
}

struct Delivery {
    std::int32_t index;
    const char16_t* name;
    CVistrelPlugin* child;
    CVistrelPlugin* owner;
};

struct Collector {
    std::vector<Delivery> seen;
    std::int32_t stopAt = -1;
};

bool Collect(std::int32_t index, const char16_t* name, CVistrelPlugin* child, CVistrelPlugin* owner,
             void* context) {
    auto* c = static_cast<Collector*>(context);
    c->seen.push_back({index, name, child, owner});
    return index != c->stopAt;
}

class CategoryTreeTest : public ::testing::Test {
  protected:
    MemoryMachine machine;
    ScopedMachine scope{machine};
    std::unique_ptr<CVistrelMainPlugin> root = std::make_unique<CVistrelMainPlugin>();
};

TEST_F(CategoryTreeTest, RootHasNoNameAndDeliversEveryCategoryAsAChild) {
    EXPECT_EQ(root->GetNameId(), -1);
    EXPECT_EQ(root->GetDescriptionId(), -1);
    EXPECT_FALSE(root->failed);
    EXPECT_FALSE(root->NeedsElevation);
    EXPECT_FALSE(root->useElevation);

    Collector c;
    const std::int32_t count = root->EnumerateItems(&Collect, false, &c);
    ASSERT_EQ(count, static_cast<std::int32_t>(root->children.size()));
    ASSERT_EQ(c.seen.size(), root->children.size());
    EXPECT_GE(count, 8);
    EXPECT_LE(count, 13);
    std::vector<Node> top;
    for (std::size_t i = 0; i < c.seen.size(); ++i) {
        EXPECT_EQ(c.seen[i].index, static_cast<std::int32_t>(i));
        EXPECT_EQ(c.seen[i].name, nullptr);
        EXPECT_EQ(c.seen[i].owner, root.get());
        ASSERT_NE(c.seen[i].child, nullptr);
        EXPECT_EQ(c.seen[i].child, root->children[i]);
        EXPECT_FALSE(c.seen[i].child->failed);
        top.push_back(Describe(c.seen[i].child));
    }
    // The containers that stand in every build, in this order.
    EXPECT_EQ(PlaceInOrder(top, kTopLevel).size(), top.size()) << "top level out of order";
    for (std::size_t container : {0u, 1u, 2u, 3u, 6u, 7u, 8u, 9u})
        EXPECT_NE(std::find(top.begin(), top.end(), kTopLevel[container]), top.end())
            << kTopLevel[container].nameId;
}

TEST_F(CategoryTreeTest, EveryContainerHoldsItsLeavesInTableOrder) {
    std::vector<Node> top;
    for (CVistrelPlugin* child : root->children) top.push_back(Describe(child));
    const std::vector<std::size_t> places = PlaceInOrder(top, kTopLevel);
    ASSERT_EQ(places.size(), top.size());
    for (std::size_t i = 0; i < top.size(); ++i) {
        auto* container = dynamic_cast<CVistrelPluginContainer*>(root->children[i]);
        const std::vector<Node>& expected = kLeaves[places[i]];
        if (expected.empty()) continue;
        ASSERT_NE(container, nullptr) << top[i].nameId;
        std::vector<Node> leaves;
        for (CVistrelPlugin* leaf : container->children) {
            ASSERT_NE(leaf, nullptr);
            EXPECT_FALSE(leaf->failed);
            leaves.push_back(Describe(leaf));
        }
        EXPECT_EQ(PlaceInOrder(leaves, expected).size(), leaves.size())
            << "leaves of " << top[i].nameId << " out of order";
    }
    // The run keys are in: eight leaves, the per-user ones first and without elevation.
    auto* runItems = dynamic_cast<CVistrelRunItems*>(root->children.at(0));
    ASSERT_NE(runItems, nullptr);
    ASSERT_GE(runItems->children.size(), 8u);
    for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(Describe(runItems->children[i]), kLeaves[0][i]);
}

TEST_F(CategoryTreeTest, ContainersStopWhenTheCallbackSaysSoAndPassRefreshAndElevation) {
    auto* runItems = static_cast<CVistrelPluginContainer*>(root->children.at(0));
    Collector c;
    c.stopAt = 2;
    EXPECT_EQ(runItems->EnumerateItems(&Collect, true, &c), 3);
    ASSERT_EQ(c.seen.size(), 3u);
    EXPECT_EQ(c.seen[2].owner, runItems);
    EXPECT_EQ(c.seen[2].child, runItems->children[2]);
    // Without a callback a container only counts.
    EXPECT_EQ(runItems->EnumerateItems(nullptr, false, nullptr),
              static_cast<std::int32_t>(runItems->children.size()));

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
