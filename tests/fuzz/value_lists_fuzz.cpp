// The list splitters over any bytes, from a buffer of exactly the input's size: tokens hold no
// delimiter, separators nothing else, and multi-strings no NUL and no empty string.
#include <cstdlib>
#include <memory>
#include <string>

#include "tests/fuzz/fuzz_support.h"
#include "tools/value_lists.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::u16string delimiters = input.Text();
    const std::string rest = input.Rest();
    const auto exact = std::make_unique<char[]>(rest.size());
    rest.copy(exact.get(), rest.size());

    for (const ValueListToken& token : SplitValueList(exact.get(), rest.size(), delimiters)) {
        if (token.text.empty() || token.text.find(u'\0') != std::u16string::npos) std::abort();
        if (!delimiters.empty() && token.text.find_first_of(delimiters) != std::u16string::npos)
            std::abort();
        if (token.separator.find_first_not_of(delimiters) != std::u16string::npos) std::abort();
    }
    for (const std::u16string& string : SplitMultiString(exact.get(), rest.size()))
        if (string.empty() || string.find(u'\0') != std::u16string::npos) std::abort();
    return 0;
}
