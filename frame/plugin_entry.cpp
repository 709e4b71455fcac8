// The command switch. It keeps no state of its own: each command tests only whether the
// module-wide objects it touches exist.
#include "frame/plugin_entry.h"

#include <iterator>
#include <new>
#include <string>

#include "console/vistrel_dlg.h"
#include "frame/module_objects.h"
#include "frame/text_catalogue.h"
#include "platform/types.h"
#include "sources/category_tree.h"

namespace {

constexpr std::uint32_t kPageTemplateId = 22000;
constexpr std::int32_t kPluginNameTextId = 22109;

std::uint64_t AddressOf(const void* object) {
    return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(object));
}

std::uint64_t Initialise(const vistrel::HostContext* context) {
    if (context == nullptr) return 0;
    g_rootSource = new (std::nothrow) CVistrelMainPlugin;

    std::u16string path = context->install_path ? context->install_path : u"";
    path += u"\\Lang\\";
    path += u"l_vistrel.ini";
    g_textFile = load_tdfile(path.c_str());

    g_trace.SetMode(context->trace_mode);

    std::uint64_t result = 0;
    g_hostService = context->host_callback;
    if (g_hostService != nullptr) {
        g_dialog = new (std::nothrow) CVistrelDlg(context->gdi_manager);
        result = g_dialog != nullptr ? 1 : 0;
    }
    g_trace.SetOutputFile(u"vistrel.log");
    return result;
}

std::uint64_t TearDown() {
    // The pointers are cleared too, so that a second tear-down frees nothing twice.
    delete g_dialog;
    g_dialog = nullptr;
    delete g_rootSource;
    g_rootSource = nullptr;
    if (g_textFile != nullptr) {
        close_tdfile(g_textFile);
        g_textFile = nullptr;
    }
    return 1;
}

std::uint64_t CreatePage(const vistrel::ParentWindowObject* parent) {
    if (g_dialog == nullptr) return 0;
    const auto window =
        static_cast<platform::WindowHandle>(parent != nullptr ? parent->window : nullptr);
    g_dialog->Create(kPageTemplateId, window);  // the page copes with a failed creation itself
    g_dialog->ShowWindow(platform::kSwHide);
    // The host reads the name again once the page exists; until now it saw the one of load.
    CopyBounded(g_descriptor.name, std::size(g_descriptor.name), TextById(kPluginNameTextId));
    return AddressOf(g_dialog);
}

bool HasPageWindow() {
    return g_dialog != nullptr && g_dialog->GetSafeHwnd() != nullptr;
}

std::uint64_t Dispatch(std::uint32_t command, std::uintptr_t argument) {
    switch (command) {
        case vistrel::kCommandInitialise:
            return Initialise(reinterpret_cast<const vistrel::HostContext*>(argument));
        case vistrel::kCommandTearDown:
            return TearDown();
        case vistrel::kCommandGetDescriptor:
            return AddressOf(&g_descriptor);
        case vistrel::kCommandCreatePage:
            return CreatePage(reinterpret_cast<const vistrel::ParentWindowObject*>(argument));
        case vistrel::kCommandDestroyPage:
            if (HasPageWindow()) {
                g_dialog->SendClose();
                g_dialog->DestroyWindow();
            }
            return 1;
        case vistrel::kCommandShowPage:
            if (HasPageWindow()) g_dialog->ShowWindow(platform::kSwShow);
            return 1;
        case vistrel::kCommandHidePage:
            if (HasPageWindow()) g_dialog->ShowWindow(platform::kSwHide);
            return 1;
        case vistrel::kCommandGetRecord:
            return AddressOf(&g_command8Record);
        default:
            return 0;
    }
}

}  // namespace

std::uint64_t ProcessData(std::uint32_t command, std::uintptr_t argument) {
    // The host gets a status, never an exception: a C caller can't catch one. The objects use
    // non-throwing allocation; this catches what the standard containers throw.
    try {
        return Dispatch(command, argument);
    } catch (const std::bad_alloc&) {
        return 0;
    }
}
