// Hive files for tests, made from .reg text: an empty hive written here (the hive library can
// add to a hive but not start one), then filled by hivexregedit --merge.
#pragma once

#include <string>

#include "platform/memory/memory_machine.h"

namespace offline_test {

// Writes a hive with nothing but its root key. False when the file can't be written.
bool WriteEmptyHive(const std::string& path);

// Merges .reg text into the hive at path; keys in the text start with prefix (for example
// "HKEY_LOCAL_MACHINE\SOFTWARE"), which is taken off. False with *error set when the tool fails.
bool MergeReg(const std::string& hivePath, const std::string& regText, const std::string& prefix,
              std::string* error);

// Loads the same .reg text into a memory machine, keys taken as they are spelt (full root
// names). Understands what the fixtures use: strings, str(N):, dword:, hex:, hex(N): and deletions
// "-".
void LoadReg(platform::memory::MemoryMachine& machine, const std::string& regText);

std::string ReadText(const std::string& path);
bool WriteText(const std::string& path, const std::string& text);

}  // namespace offline_test
