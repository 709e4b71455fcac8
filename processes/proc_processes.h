// The category of running processes. Each item is a process node whose items are its modules;
// a refresh rebuilds every node and reads every node's modules at once.
#pragma once

#include <cstdint>
#include <vector>

#include "processes/proc_process.h"
#include "processes/toolhelp.h"
#include "sources/plugin.h"

class CVistrelProcProcesses : public CVistrelPlugin, public si_process_info {
  public:
    // Loads "psapi.dll", then "kernel32.dll", and tests the system's version once.
    CVistrelProcProcesses();
    // Frees kernel32, forgets the helper, frees psapi.
    ~CVistrelProcProcesses() override;

    std::int32_t GetNameId() override { return 22340; }
    bool IsProcessList() override { return true; }
    // Rebuilds the list when refresh is true or no read has happened yet, then delivers each
    // process node as a child source. Gives the number of processes (the index plus one when
    // the callback stops the walk); never below 0.
    std::int32_t EnumerateItems(EntryCallback callback, bool refresh, void* context) override;
    // The process id line, then the lines of the process's file ("may be wrong" when its path
    // is only the exe name). 0 and no line for an index out of range.
    std::int32_t GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                void* context) override;
    std::int32_t GetDescriptionId() override { return 22341; }
    std::int32_t GetActionCount() override { return 1; }
    std::int32_t GetActionTextId(std::int32_t action) override {
        return action == 0 ? kTextActionRefresh : -1;
    }
    std::uint32_t GetActionMask(std::int32_t) override { return 1; }
    // Action 0 (Refresh) gives true; any other false.
    bool DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) override;

    bool UseHelperEnumeration() override { return nt4OrOlder; }
    PsapiBinding* GetPsapiBinding() override { return &psapi; }
    ToolhelpBinding* GetToolhelpBinding() override { return &toolhelp; }

    // Empties the list and builds it anew; every node of the old list is gone afterwards.
    void RefreshProcesses();

    bool firstRun = true;  // until the first read, and again once a rebuild has been asked for
    std::vector<CVistrelProcProcess> processes;
    bool nt4OrOlder = false;
    PsapiBinding psapi;
    ToolhelpBinding toolhelp;

  private:
    void RefreshFromToolhelp();
    void RefreshFromHelper();
    // The image path of a process seen in the process snapshot; false when it is only a guess.
    bool FindImagePath(const CVistrelProcProcess& node, std::u16string* path);
    IElevatedHelper* Helper();
    void Append(CVistrelProcProcess node);
};
