// Reads a synthetic image with many services and class ids through the offline machine (the
// services collector's read and a walk of every class id's server) and compares the time with a
// bare walk of the same keys through the hive library, in the same run. Reports ratios only.
#include <hivex.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "collectors/autostart/services.h"
#include "frame/module_objects.h"
#include "platform/memory/memory_machine.h"
#include "platform/offline/offline_machine.h"
#include "tests/bench/offline/synthetic_hive.h"
#include "tools/elevation_support.h"

namespace {

namespace fs = std::filesystem;
// The time this thread ran, not the wall clock: on a machine shared with other work the wall
// clock counts the turns of other processes into whichever walk was running.
double CpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

std::string Utf16(const std::string& ascii) {
    std::string out;
    for (char c : ascii) out += {c, '\0'};
    return out + std::string(2, '\0');
}

std::string Dword(std::uint32_t value) {
    std::string bytes(4, '\0');
    std::memcpy(bytes.data(), &value, 4);
    return bytes;
}

using offline_bench::HiveKey;

void MakeImage(const std::string& root, int services, int classIds) {
    const std::string config = root + "/Windows/System32/config";
    fs::create_directories(config);
    HiveKey system{"ROOT", {}, {}};
    HiveKey list{"Services", {}, {}};
    for (int i = 0; i < services; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "Service%05d", i);
        list.children.push_back(
            {name,
             {{"DisplayName", 1, Utf16(std::string("Display ") + name)},
              {"ImagePath", 2, Utf16(std::string("%SystemRoot%\\System32\\") + name + ".exe")},
              {"Start", 4, Dword(2)},
              {"Type", 4, Dword(i % 3 == 0 ? 1 : 16)}},
             {}});
    }
    system.children.push_back({"ControlSet001", {}, {list}});
    system.children.push_back({"Select", {{"Current", 4, Dword(1)}}, {}});
    HiveKey software{"ROOT", {}, {}};
    HiveKey clsid{"CLSID", {}, {}};
    for (int i = 0; i < classIds; ++i) {
        char name[64];
        std::snprintf(name, sizeof name, "{%08X-0000-0000-0000-000000000000}", i);
        clsid.children.push_back({name,
                                  {},
                                  {{"InprocServer32",
                                    {{"", 1, Utf16(std::string("C:\\Servers\\") + name + ".dll")}},
                                    {}}}});
    }
    software.children.push_back({"Classes", {}, {clsid}});
    software.children.push_back({"Microsoft", {}, {}});
    if (!offline_bench::WriteHive(config + "/SYSTEM", system) ||
        !offline_bench::WriteHive(config + "/SOFTWARE", software)) {
        std::fprintf(stderr, "can't write the hives under %s\n", config.c_str());
        std::exit(1);
    }
}

// What both walks produce, so that neither can skip work.
struct Tally {
    std::size_t services = 0;
    std::size_t servers = 0;
    std::size_t bytes = 0;
};

// Both walks stay out of line, so that a profile shows each on its own.
__attribute__((noinline)) Tally BareWalk(const std::string& root) {
    Tally tally;
    const std::string config = root + "/Windows/System32/config";
    hive_h* system = hivex_open((config + "/SYSTEM").c_str(), 0);
    hive_node_h services = hivex_node_get_child(
        system, hivex_node_get_child(system, hivex_root(system), "ControlSet001"), "Services");
    hive_node_h* children = hivex_node_children(system, services);
    for (hive_node_h* at = children; *at != 0; ++at) {
        char* name = hivex_node_name(system, *at);
        tally.bytes += std::strlen(name);
        std::free(name);
        // The collector's reads: the display name and start mode only of the services it keeps,
        // those that run as processes.
        bool kept = false;
        for (const char* value : {"ImagePath", "Type", "DisplayName", "Start"}) {
            if (std::strcmp(value, "DisplayName") == 0 && !kept) break;
            hive_type type;
            std::size_t length = 0;
            char* data =
                hivex_value_value(system, hivex_node_get_value(system, *at, value), &type, &length);
            tally.bytes += length;
            if (std::strcmp(value, "Type") == 0 && length == 4 && (data[0] & 0x30)) kept = true;
            std::free(data);
        }
        tally.services += kept;
    }
    std::free(children);
    hivex_close(system);

    hive_h* software = hivex_open((config + "/SOFTWARE").c_str(), 0);
    hive_node_h clsid = hivex_node_get_child(
        software, hivex_node_get_child(software, hivex_root(software), "Classes"), "CLSID");
    children = hivex_node_children(software, clsid);
    for (hive_node_h* at = children; *at != 0; ++at) {
        char* name = hivex_node_name(software, *at);
        tally.bytes += std::strlen(name);
        std::free(name);
        const hive_node_h server = hivex_node_get_child(software, *at, "InprocServer32");
        hive_type type;
        std::size_t length = 0;
        char* data =
            hivex_value_value(software, hivex_node_get_value(software, server, ""), &type, &length);
        tally.bytes += length;
        std::free(data);
        ++tally.servers;
    }
    std::free(children);
    hivex_close(software);
    return tally;
}

__attribute__((noinline)) Tally OfflineWalk(const std::string& root) {
    using namespace platform;
    Tally tally;
    std::string error;
    std::unique_ptr<Machine> machine = offline::OpenOfflineMachine({root, ""}, &error);
    if (!machine) {
        std::fprintf(stderr, "open: %s\n", error.c_str());
        std::exit(1);
    }
    memory::ScopedMachine scoped(*machine);
    // One leaf reads every service once, as the bare walk does; its list keeps those of its type.
    CVistrelServices_Process processes;
    processes.EnumerateItems(
        [](std::int32_t, const char16_t*, CVistrelPlugin*, CVistrelPlugin*, void*) { return true; },
        true, nullptr);
    tally.services = processes.items.size();
    Registry& registry = machine->registry();
    RegKey clsid = nullptr;
    registry.OpenKey(kHkeyClassesRoot, u"CLSID", kKeyRead, &clsid);
    // One buffer for the paths, as the bare walk builds none: what is timed is the registry.
    std::u16string server;
    server.reserve(300);
    for (std::uint32_t index = 0;; ++index) {
        char16_t name[256];
        std::uint32_t chars = 256;
        if (registry.EnumKey(clsid, index, name, &chars) != kErrorSuccess) break;
        server.assign(name, chars).append(u"\\InprocServer32");
        RegKey key = nullptr;
        if (registry.OpenKey(clsid, server.c_str(), kKeyQueryValue, &key) != kErrorSuccess)
            continue;
        char16_t data[512];
        std::uint32_t size = sizeof data;
        if (registry.QueryValue(key, nullptr, nullptr, data, &size) == kErrorSuccess)
            tally.bytes += size;
        registry.CloseKey(key);
        ++tally.servers;
    }
    registry.CloseKey(clsid);
    return tally;
}

template <typename Walk>
double Seconds(Walk walk, const std::string& root, Tally* tally) {
    const double start = CpuSeconds();
    *tally = walk(root);
    return CpuSeconds() - start;
}

}  // namespace

int main() {
    CreateElevatedHelperSupport();
    const fs::path base = fs::temp_directory_path() / "vistrel-offline-bench";
    double firstOffline = 0, firstBare = 0;
    std::printf("%-6s %9s %9s %18s %15s %15s\n", "scale", "services", "class ids",
                "offline/bare walk", "offline growth", "bare growth");
    for (int scale : {1, 2}) {
        const std::string root = (base / std::to_string(scale)).string();
        fs::remove_all(root);
        MakeImage(root, 5000 * scale, 20000 * scale);
        std::vector<double> offline, bare;
        Tally o, b;
        for (int run = 0; run < 5; ++run) {
            bare.push_back(Seconds(BareWalk, root, &b));
            offline.push_back(Seconds(OfflineWalk, root, &o));
        }
        std::sort(offline.begin(), offline.end());
        std::sort(bare.begin(), bare.end());
        if (o.servers != b.servers || o.services != b.services) {
            std::fprintf(stderr, "walks disagree: %zu/%zu services, %zu/%zu servers\n", o.services,
                         b.services, o.servers, b.servers);
            return 1;
        }
        if (scale == 1) firstOffline = offline[2], firstBare = bare[2];
        std::printf("%-6s %9d %9d %17.2fx %14.2fx %14.2fx\n", (std::to_string(scale) + "x").c_str(),
                    5000 * scale, 20000 * scale, offline[2] / bare[2], offline[2] / firstOffline,
                    bare[2] / firstBare);
        fs::remove_all(root);
    }
    DestroyElevatedHelperSupport();
    return 0;
}
