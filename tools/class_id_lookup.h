// From a class id, as a registry list names it, to what HKEY_CLASSES_ROOT says of the class: its
// description (the default value of "CLSID\<id>") and its in-process server (the default value
// of "CLSID\<id>\InprocServer32"). The id is used as stored, without any test that it is one.
//
// Each read opens its key for that read alone and takes at most kRegToolDataBytes bytes into a
// result of its own, whatever the value's type: a value of zero bytes gives an empty text, and
// no text runs past its value or shows bytes of an earlier read.
#pragma once

#include <string>
#include <string_view>

// The part of a key path behind its last backslash; the whole path when it has none.
std::u16string_view LastKeyPathPart(std::u16string_view path);

// "CLSID\<id>" and "CLSID\<id>\InprocServer32", below HKEY_CLASSES_ROOT.
std::u16string ClassKeyPath(std::u16string_view classId);
std::u16string ClassServerKeyPath(std::u16string_view classId);

// The class's description. False when the key can't be opened, the value can't be read or is
// longer than a read takes, or the id holds a NUL (it would name another class); *text is then
// empty.
bool ReadClassDescription(std::u16string_view classId, std::u16string* text);
// The class's server, as stored (quotes and variables stay). Fails as ReadClassDescription.
bool ReadClassServer(std::u16string_view classId, std::u16string* file);
