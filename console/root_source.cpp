#include "console/root_source.h"

#include "frame/module_objects.h"
#include "sources/category_tree.h"

CVistrelPlugin* RootSourceForPopulation() {
    return g_rootSource;
}
