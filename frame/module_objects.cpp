// The module-wide objects and the descriptor's values at load.
#include "frame/module_objects.h"

#include <cstdint>
#include <iterator>

void* g_moduleHandle = nullptr;
CTalDebug g_trace(0);
CVistrelMainPlugin* g_rootSource = nullptr;
_TDFILE* g_textFile = nullptr;
vistrel::HostCallback g_hostService = nullptr;
CVistrelDlg* g_dialog = nullptr;
std::atomic<platform::WindowHandle> g_pageWindow{nullptr};

namespace {

constexpr char kBadAllocation[] = "bad allocation";

vistrel::PluginDescriptor MakeDescriptor() {
    vistrel::PluginDescriptor d{};  // the bytes between the fields stay zero
    CopyBounded(d.name, std::size(d.name), u"&Vistrel");
    CopyBounded(d.description, std::size(d.description), u"System Information");
    CopyBounded(d.version, std::size(d.version), u"9. 0. 0. 0");
    d.value_a = 180;
    d.value_b = 0;
    d.value_c = 0;
    d.value_d = 0;
    return d;
}

}  // namespace

void CopyBounded(char16_t* field, std::size_t capacity, const char16_t* source) {
    if (field == nullptr || capacity == 0) return;
    std::size_t i = 0;
    if (source != nullptr)
        for (; i + 1 < capacity && source[i] != u'\0'; ++i) field[i] = source[i];
    // The rest of the field is cleared too, so no tail of an earlier, longer text stays behind.
    for (; i < capacity; ++i) field[i] = u'\0';
}

vistrel::PluginDescriptor g_descriptor = MakeDescriptor();

const vistrel::Command8Record g_command8Record = {
    60300, static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(kBadAllocation))};
