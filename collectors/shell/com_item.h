// One object that the browser or the shell knows by a class id, and the server behind it.
#pragma once

#include <string>

struct si_com_item {
    std::u16string name;       // the text the tree shows
    std::u16string file;       // the class's in-process server, as stored; empty when unknown
    std::u16string serverKey;  // "CLSID\<id>\InprocServer32", below HKEY_CLASSES_ROOT
    std::u16string entry;      // what Remove deletes below the collector's root
};
