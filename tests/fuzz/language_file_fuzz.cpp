// The language file reader and the catalogue's unescaping over any file content.
#include <string>

#include "frame/text_catalogue.h"
#include "libs/talutils/tdfile.h"
#include "tests/fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::u16string section = input.Text();
    const std::u16string key = input.Text();
    fuzz::Machine m;
    m.machine.AddFile(u"C:\\Lang\\l_vistrel.ini", input.Rest());
    _TDFILE* file = load_tdfile(u"C:\\Lang\\l_vistrel.ini");
    if (file == nullptr) return 0;
    char16_t text[1024];
    int number = 0;
    for (const char16_t* s : {section.c_str(), u"LangSupport"}) {
        for (const char16_t* k : {key.c_str(), u"IDS_VISTREL_TITLE"}) {
            if (get_value(file, s, k, text, u"%s", 1) == 1) {
                std::u16string value(text);
                UnescapeCatalogueText(value);
            }
            get_value(file, s, k, &number, u"%d", 1);
        }
    }
    close_tdfile(file);
    return 0;
}
