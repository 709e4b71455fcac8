// A node of the process list: the source whose items are the modules of one process. A node
// reads its modules once, when the list that made it is refreshed; a negative count says that
// the process couldn't be looked into.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "processes/toolhelp.h"
#include "sources/plugin.h"

class CVistrelProcProcessBase : public CVistrelPlugin {
  public:
    static constexpr std::uint32_t kModulesStale = 1;      // the module list has to be read
    static constexpr std::uint32_t kImagePathGuessed = 2;  // path is only the exe name

    CVistrelProcProcessBase(std::u16string exeName, std::uint32_t id, si_process_info* list);
    // The list holds its nodes by value and moves them when it grows: every field goes along.
    CVistrelProcProcessBase(CVistrelProcProcessBase&& other) noexcept;

    const char16_t* GetName() override { return name.c_str(); }
    std::int32_t GetActionCount() override { return 1; }
    std::uint32_t GetActionMask(std::int32_t) override { return 1; }
    // The lines of the module's file; 0 and no line for an index out of range.
    std::int32_t GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                void* context) override;

    std::uint32_t status = kModulesStale;
    std::u16string name;
    std::u16string path;
    std::vector<std::u16string> modules;
    std::uint32_t processId = 0;
    si_process_info* owner = nullptr;  // the list; not owned

  protected:
    // Reads the module list anew: from the helper where the list says so, otherwise from a
    // toolhelp snapshot and, when that fails, from the helper. False when neither could read.
    bool RefreshModules();

  private:
    bool ModulesFromToolhelp();
    bool ModulesFromHelper();
};

class CVistrelProcProcess : public CVistrelProcProcessBase {
  public:
    using CVistrelProcProcessBase::CVistrelProcProcessBase;
    // Reads the modules if they are stale, then delivers each by its file name. Gives their
    // count, the index plus one when the callback stops the walk, or with no module
    // kEnumAccessDenied, or kEnumAccessDeniedNeedsElevation when a raised helper could read
    // them. refresh isn't looked at: a node reads once.
    std::int32_t EnumerateItems(EntryCallback callback, bool refresh, void* context) override;
};

// The text of a fixed wide field, up to its first NUL or its end.
std::u16string FieldText(const char16_t* field, std::size_t capacity);
