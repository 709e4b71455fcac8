// The collected tree of one population: plain records that the worker fills and the dialog's
// thread reads only after the handover.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class CVistrelPlugin;
class CStopEvent;

// One node of the collected tree. Pointers to sources own nothing: the category tree outlives
// all records.
struct ItemRecord {
    std::uint32_t index = 0;          // position in owner's list; 0 in the root record
    std::u16string name;              // resolved on the worker for source nodes
    CVistrelPlugin* child = nullptr;  // the source this node stands for; null for a plain entry
    CVistrelPlugin* owner = nullptr;  // the source that delivered the node; null in the root
    std::vector<ItemRecord> children;
    std::int32_t count = 0;  // child->EnumerateItems' result; 0 for a plain entry
};

// The provider's data block. stopEvent must stay the first member: the provider writes the
// event's address into the block's first word.
struct PopulateData {
    CStopEvent* stopEvent = nullptr;
    bool useElevation = false;
    ItemRecord root;
};

// What the worker hands through EnumerateItems as context.
struct CollectContext {
    ItemRecord* current = nullptr;
    PopulateData* data = nullptr;
};
