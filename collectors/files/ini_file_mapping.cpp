#include "collectors/files/ini_file_mapping.h"

#include "frame/module_objects.h"
#include "platform/machine.h"
#include "platform/unique_handle.h"
#include "tools/mapping_reference.h"
#include "tools/regedit_navigation.h"

namespace {

constexpr char16_t kMappingKey[] =
    u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\IniFileMapping";

platform::Status OpenRead(platform::RegKey parent, const std::u16string& path,
                          platform::UniqueRegKey& key) {
    return platform::machine().registry().OpenKey(parent, path.c_str(), platform::kKeyRead,
                                                  key.put());
}

}  // namespace

bool QueryRegString(platform::RegKey key, const char16_t* name, std::u16string& text) {
    text.clear();
    platform::Registry& registry = platform::machine().registry();
    std::uint32_t type = platform::kRegNone, size = 0;
    if (registry.QueryValue(key, name, &type, nullptr, &size) != platform::kErrorSuccess)
        return false;
    if (type != platform::kRegSz && type != platform::kRegExpandSz) return false;
    std::u16string data((size + 1) / 2, u'\0');
    std::uint32_t got = size;
    if (registry.QueryValue(key, name, &type, data.data(), &got) != platform::kErrorSuccess ||
        (type != platform::kRegSz && type != platform::kRegExpandSz) || got > size)
        return false;
    if (got == 0) return true;
    if (got % 2 != 0 || data[got / 2 - 1] != u'\0') return false;
    text.assign(data.c_str());
    return true;
}

int IniMappingLookup(platform::RegKey fileKey, const char16_t* section, const char16_t* keyName,
                     std::u16string& reference) {
    if (QueryRegString(fileKey, section, reference)) {
        g_trace.Trace(u"[vistrel] [temp] IniFileMapping_: '%s' found as value", section);
        return kIniMappingSectionValue;
    }
    platform::UniqueRegKey sectionKey;
    if (OpenRead(fileKey, section, sectionKey) != platform::kErrorSuccess) {
        if (!QueryRegString(fileKey, nullptr, reference)) return kIniMappingNothing;
        g_trace.Trace(
            u"[vistrel] [temp] IniFileMapping_: '%s' redirected with default value (nor section "
            u"or value)",
            section);
        return kIniMappingFileDefault;
    }
    g_trace.Trace(u"[vistrel] [temp] IniFileMapping_: '%s' found as registry key", section);
    if (QueryRegString(sectionKey.get(), keyName, reference)) {
        g_trace.Trace(u"[vistrel] [temp] IniFileMapping_: value '%s' found", keyName);
        return kIniMappingKeyValue;
    }
    if (QueryRegString(sectionKey.get(), nullptr, reference)) {
        g_trace.Trace(u"[vistrel] [temp] IniFileMapping_: key redirected with default value");
        return kIniMappingSectionDefault;
    }
    return kIniMappingNothing;
}

bool ParseMappingReference(const std::u16string& reference, platform::RegKey& root,
                           std::u16string& path) {
    const MappingReferenceParts parts = SplitMappingReference(reference);
    platform::UniqueRegKey key;
    switch (parts.root) {
        case MappingReferenceRoot::kNoToken:
            return false;
        case MappingReferenceRoot::kUnparsed:
            g_trace.Trace(u"[vistrel] registry path ('%s') not properly parsed", reference.c_str());
            return false;
        case MappingReferenceRoot::kUser:
            if (OpenRead(platform::kHkeyCurrentUser, parts.rest, key) != platform::kErrorSuccess) {
                g_trace.Trace(u"[vistrel] IniFileMapping_: failed to open '%s'",
                              parts.token.c_str());
                return false;
            }
            root = platform::kHkeyCurrentUser;
            path = parts.rest;
            return true;
        case MappingReferenceRoot::kSystem: {
            platform::UniqueRegKey software;
            if (OpenRead(platform::kHkeyLocalMachine, u"SOFTWARE", software) !=
                platform::kErrorSuccess) {
                g_trace.Trace(u"[vistrel] IniFileMapping_: failed to open HKLM\\Software");
                return false;
            }
            if (OpenRead(software.get(), parts.rest, key) != platform::kErrorSuccess) {
                g_trace.Trace(u"[vistrel] IniFileMapping_: failed to open '%s'",
                              parts.token.c_str());
                return false;
            }
            root = platform::kHkeyLocalMachine;
            path = u"SOFTWARE\\" + parts.rest;
            return true;
        }
    }
    return false;
}

bool IniFileMapping(const char16_t* fileName, const char16_t* section, const char16_t* keyName) {
    std::u16string mappingPath = kMappingKey;
    platform::UniqueRegKey mapping, fileKey;
    if (OpenRead(platform::kHkeyLocalMachine, mappingPath, mapping) != platform::kErrorSuccess) {
        g_trace.Trace(u"[vistrel] IniFileMapping_ not found");
        return false;
    }
    if (OpenRead(mapping.get(), fileName, fileKey) != platform::kErrorSuccess) {
        g_trace.Trace(u"[vistrel] IniFileMapping_: '%s' not found", fileName);
        return false;
    }
    mapping.reset();
    mappingPath += u"\\";
    mappingPath += fileName;
    if (keyName == nullptr) {
        GoToKey(platform::kHkeyLocalMachine, mappingPath.c_str(), nullptr);
        return true;
    }
    std::u16string reference;
    const int outcome = IniMappingLookup(fileKey.get(), section, keyName, reference);
    if (outcome == kIniMappingNothing) {
        g_trace.Trace(u"[vistrel] IniFileMapping_: section '%s' not found", section);
        return false;
    }
    if (outcome == kIniMappingKeyValue || outcome == kIniMappingSectionDefault) {
        mappingPath += u"\\";
        mappingPath += section;
    }
    platform::RegKey root = nullptr;
    std::u16string path;
    if (ParseMappingReference(reference, root, path))
        GoToKey(root, path.c_str(), keyName);
    else
        GoToKey(platform::kHkeyLocalMachine, mappingPath.c_str(), keyName);
    return true;
}
