// CTreeItemsProvider: the background population's worker and its data block.
#pragma once

#include "console/item_record.h"
#include "libs/talutils/async_provider.h"

class CTreeItemsProvider : public CAsyncProvider {
  public:
    using Procedure = void (*)(PopulateData* data);

    CTreeItemsProvider() = default;
    // Stops and joins a worker that still runs, before the members it uses go.
    ~CTreeItemsProvider() override;

    // The base's reset, then an empty root record; full also forgets the procedure.
    void Reset(bool full) override;
    void NotifyClient(const Client& client) override;
    void* GetData() override { return &data_; }
    void Run() override;

    void SetProcedure(Procedure proc) { proc_ = proc; }

  private:
    Procedure proc_ = nullptr;
    PopulateData data_;
};
