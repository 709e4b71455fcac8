// The run-items category: the Run, RunOnce, RunOnceEx and RunServices leaves in their order,
// then boot execute.
#include "collectors/autostart/boot_execute.h"
#include "collectors/autostart/run_items.h"
#include "sources/category_tree.h"

CVistrelRunItems::CVistrelRunItems() {
    AppendRunItemLeaves(children);
    children.push_back(new CVistrelRunItemsBootExecute);
}
