#include "console/tree_items_provider.h"

CTreeItemsProvider::~CTreeItemsProvider() {
    Shutdown();
}

void CTreeItemsProvider::Reset(bool full) {
    CAsyncProvider::Reset(full);
    data_.root.index = 0;
    data_.root.child = nullptr;
    data_.root.owner = nullptr;
    data_.root.name.clear();
    data_.root.children.clear();
    if (full) proc_ = nullptr;
}

void CTreeItemsProvider::NotifyClient(const Client& client) {
    if (client.callback) client.callback(client.context, &data_);
}

void CTreeItemsProvider::Run() {
    if (proc_) proc_(&data_);
}
