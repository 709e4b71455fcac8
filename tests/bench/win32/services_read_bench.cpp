// The services read on the real registry under Wine, against a bare walk that opens the same
// keys and reads the same values with plain Win32 calls, in the same run. Prints both times and
// their ratio; it asserts nothing. Adds 1,000 service keys of its own and removes them again.
//
//   make bench-wine
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "collectors/autostart/services.h"
#include "platform/win32/win32_machine.h"
#include "platform/win32/windows_api.h"

namespace {

constexpr wchar_t kServices[] = L"SYSTEM\\CurrentControlSet\\Services";
constexpr wchar_t kPrefix[] = L"VistrelBench";
constexpr int kKeys = 1000;
constexpr int kRounds = 7;

std::wstring BenchKey(int n) {
    wchar_t name[32];
    std::swprintf(name, 32, L"%ls%04d", kPrefix, n);
    return std::wstring(kServices) + L"\\" + name;
}

void SetText(HKEY key, const wchar_t* name, const std::wstring& text, DWORD type = REG_SZ) {
    RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}
void SetDword(HKEY key, const wchar_t* name, DWORD value) {
    RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value);
}

// Keys shaped as real services are: a few values more than the read looks at, a sub-key.
bool MakeKeys() {
    for (int n = 0; n < kKeys; ++n) {
        HKEY key;
        if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, BenchKey(n).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                            nullptr, &key, nullptr) != ERROR_SUCCESS)
            return false;
        const std::wstring id = std::to_wstring(n);
        SetText(key, L"ImagePath", L"%SystemRoot%\\system32\\svchost.exe -k bench" + id,
                REG_EXPAND_SZ);
        SetText(key, L"DisplayName", L"Vistrel bench service " + id);
        SetText(key, L"Description", L"A service key of the benchmark");
        SetText(key, L"ObjectName", L"LocalSystem");
        SetDword(key, L"Type", n % 4 == 0 ? 1 : 16);
        SetDword(key, L"Start", n % 5);
        SetDword(key, L"ErrorControl", 1);
        HKEY parameters;
        if (RegCreateKeyExW(key, L"Parameters", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &parameters,
                            nullptr) == ERROR_SUCCESS) {
            SetText(parameters, L"ServiceDll", L"%SystemRoot%\\system32\\bench.dll", REG_EXPAND_SZ);
            RegCloseKey(parameters);
        }
        RegCloseKey(key);
    }
    return true;
}

void RemoveKeys() {
    for (int n = 0; n < kKeys; ++n) {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, BenchKey(n).c_str());
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, BenchKey(n).c_str());
    }
}

// The same work as the read with nothing around it: every sub-key opened by its path from the
// root, "ImagePath" and "Type" read, and for a service of the wanted types "DisplayName" and
// "Start"; the texts kept.
struct BareService {
    DWORD start, type;
    std::wstring keyPath, displayName, imagePath;
};

std::size_t BareWalk(DWORD typeMask) {
    std::vector<BareService> found;
    HKEY services;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kServices, 0, KEY_ENUMERATE_SUB_KEYS, &services) !=
        ERROR_SUCCESS)
        return 0;
    static wchar_t name[4096];
    static BYTE image[4096], display[4096];
    for (DWORD i = 0;; ++i) {
        DWORD chars = 4096;
        if (RegEnumKeyExW(services, i, name, &chars, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            break;
        const std::wstring path = std::wstring(kServices) + L"\\" + std::wstring(name, chars);
        HKEY key;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_QUERY_VALUE, &key) !=
            ERROR_SUCCESS)
            continue;
        DWORD type = 0, imageBytes = sizeof image, serviceType = 0, size = 4;
        if (RegQueryValueExW(key, L"ImagePath", nullptr, &type, image, &imageBytes) ==
                ERROR_SUCCESS &&
            (type == REG_SZ || type == REG_EXPAND_SZ) &&
            RegQueryValueExW(key, L"Type", nullptr, &type, reinterpret_cast<BYTE*>(&serviceType),
                             &size) == ERROR_SUCCESS &&
            (serviceType & typeMask) != 0) {
            DWORD displayBytes = sizeof display, start = 0;
            size = 4;
            if (RegQueryValueExW(key, L"DisplayName", nullptr, &type, display, &displayBytes) !=
                ERROR_SUCCESS)
                displayBytes = 0;
            RegQueryValueExW(key, L"Start", nullptr, &type, reinterpret_cast<BYTE*>(&start), &size);
            found.push_back({start, serviceType, path,
                             std::wstring(reinterpret_cast<wchar_t*>(display), displayBytes / 2),
                             std::wstring(reinterpret_cast<wchar_t*>(image), imageBytes / 2)});
        }
        RegCloseKey(key);
    }
    RegCloseKey(services);
    return found.size();
}

template <typename Work>
double Milliseconds(Work work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
        .count();
}

double Median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

}  // namespace

int main() {
    platform::win32::InstallWin32Machine();
    RemoveKeys();  // what an interrupted run left
    if (!MakeKeys()) {
        std::puts("cannot create the service keys");
        RemoveKeys();
        return 1;
    }
    CVistrelServices_Process collector;
    std::size_t listed = 0, bare = 0;
    std::vector<double> collectorTimes, bareTimes;
    // One round of each to warm the server's caches, then alternating rounds.
    collector.EnumerateItems(nullptr, true, nullptr);
    BareWalk(collector.typeMask);
    for (int round = 0; round < kRounds; ++round) {
        collectorTimes.push_back(Milliseconds([&] {
            listed = static_cast<std::size_t>(collector.EnumerateItems(nullptr, true, nullptr));
        }));
        bareTimes.push_back(Milliseconds([&] { bare = BareWalk(collector.typeMask); }));
    }
    RemoveKeys();

    const double c = Median(collectorTimes), b = Median(bareTimes);
    std::printf("services read, %d bench keys among the prefix's own, median of %d rounds\n", kKeys,
                kRounds);
    std::printf("  collector: %8.2f ms  (%zu services listed)\n", c, listed);
    std::printf("  bare walk: %8.2f ms  (%zu services found)\n", b, bare);
    std::printf("  ratio collector / bare walk: %.3f\n", c / b);
    return listed == bare ? 0 : 2;
}
