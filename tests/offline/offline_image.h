// The test image: a folder laid out as a Windows system drive, with hives made from .reg text
// and a program that carries a version block; the same contents can be given to a memory
// machine, so that both backends can be asked the same questions.
#pragma once

#include <string>

#include "platform/memory/memory_machine.h"

namespace offline_test {

// .reg text of each hive.
struct ImageContents {
    std::string system;       // keys under HKEY_LOCAL_MACHINE\SYSTEM
    std::string software;     // keys under HKEY_LOCAL_MACHINE\SOFTWARE
    std::string user;         // keys under HKEY_CURRENT_USER
    std::string userClasses;  // keys under HKEY_CURRENT_USER\Software\Classes (UsrClass.dat)
};

// The contents every test starts from: run keys, services in the current and a stale control
// set, environment, shell folders, class ids.
ImageContents StandardContents();

// The program file of the image (C:\Program Files\App\app.exe), version 1.2.3.4 of "Example".
std::string AppImage();
std::string AppVersionBlock();

// A fresh folder under the temporary folder, removed with the object.
class TempFolder {
  public:
    TempFolder();
    ~TempFolder();
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

// Writes the drive into root: Windows\System32\config\{SYSTEM,SOFTWARE}, Users\alice\NTUSER.DAT
// and UsrClass.dat, the program, a driver file, a link to the program in alice's startup folder.
// Fails the running test (and answers false) when a hive can't be made.
bool WriteImage(const std::string& root, const ImageContents& contents);
// Writes one hive from .reg text whose keys start with prefix.
bool WriteHive(const std::string& path, const std::string& regText, const std::string& prefix);

// The same drive in a memory machine: CurrentControlSet is the control set the SYSTEM text
// selects (ControlSet002), the environment and special folders as the offline machine derives
// them.
void LoadImage(platform::memory::MemoryMachine& machine, const ImageContents& contents);

}  // namespace offline_test
