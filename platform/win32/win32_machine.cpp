// The real machine: hands out the Win32 concern objects.
#include "platform/win32/win32_machine.h"

#include "platform/win32/win32_concerns.h"
#include "platform/win32/windows_api.h"

namespace platform::win32 {
namespace {

class RealMachine final : public Machine {
  public:
    Registry& registry() override { return RegistryBackend(); }
    Environment& environment() override { return EnvironmentBackend(); }
    Files& files() override { return FilesBackend(); }
    Shell& shell() override { return ShellBackend(); }
    VersionInfo& version() override { return VersionBackend(); }
    Processes& processes() override { return ProcessesBackend(); }
    ProcessEnumeration& processEnumeration() override { return ProcessEnumerationBackend(); }
    Windows& windows() override { return WindowsBackend(); }
    Resources& resources() override { return ResourcesBackend(); }
    TraceSink& trace() override { return TraceBackend(); }
    std::uint32_t LastError() override { return ::GetLastError(); }
};

}  // namespace

Machine& Win32Machine() {
    static RealMachine instance;
    return instance;
}

void InstallWin32Machine() {
    SetMachine(&Win32Machine());
}

}  // namespace platform::win32
