#include "console/win32/install.h"

#include <atomic>
#include <new>

#include "console/view_factory.h"
#include "console/win32/win32_view.h"

namespace console::win32 {
namespace {
std::atomic<void*> g_moduleHandle{nullptr};

std::unique_ptr<IVistrelView> MakeWin32View(CVistrelDlg& dialog) {
    // Reached from process_data, which answers with a status: no allocation may throw there.
    return std::unique_ptr<IVistrelView>(new (std::nothrow)
                                             CWin32VistrelView(dialog, g_moduleHandle.load()));
}
}  // namespace

void InstallWin32Console(void* moduleHandle) {
    g_moduleHandle.store(moduleHandle);
    SetViewFactory(&MakeWin32View);
}

}  // namespace console::win32
