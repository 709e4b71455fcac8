#include "console/root_source.h"

#include "frame/module_objects.h"
#include "sources/plugin.h"

CVistrelPlugin* RootSourceForPopulation() {
    // The root's class derives from CVistrelPlugin through the container alone, so its base
    // sits at the object's start.
    return reinterpret_cast<CVistrelPlugin*>(g_rootSource);
}
