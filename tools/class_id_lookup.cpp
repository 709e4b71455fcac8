#include "tools/class_id_lookup.h"

#include "platform/types.h"
#include "tools/registry_values.h"

namespace {

constexpr char16_t kClassKey[] = u"CLSID\\";
constexpr char16_t kServerKey[] = u"\\InprocServer32";

bool ReadClassesRootDefault(const std::u16string& keyPath, std::u16string* text) {
    text->clear();
    if (!IsPlainRegName(keyPath)) return false;
    RegValueBytes value;
    if (!ReadRegValue(platform::kHkeyClassesRoot, keyPath.c_str(), nullptr, &value)) return false;
    *text = RegDataText(value);
    return true;
}

}  // namespace

std::u16string_view LastKeyPathPart(std::u16string_view path) {
    const std::size_t slash = path.rfind(u'\\');
    return slash == std::u16string_view::npos ? path : path.substr(slash + 1);
}

std::u16string ClassKeyPath(std::u16string_view classId) {
    return kClassKey + std::u16string(classId);
}

std::u16string ClassServerKeyPath(std::u16string_view classId) {
    return ClassKeyPath(classId) + kServerKey;
}

bool ReadClassDescription(std::u16string_view classId, std::u16string* text) {
    return ReadClassesRootDefault(ClassKeyPath(classId), text);
}

bool ReadClassServer(std::u16string_view classId, std::u16string* file) {
    return ReadClassesRootDefault(ClassServerKeyPath(classId), file);
}
