// The run-items category: the Run, RunOnce, RunOnceEx and RunServices leaves in their order.
#include "collectors/autostart/run_items.h"
#include "sources/category_tree.h"

CVistrelRunItems::CVistrelRunItems() {
    AppendRunItemLeaves(children);
    // 1.9: CVistrelRunItemsBootExecute joins here.
}
