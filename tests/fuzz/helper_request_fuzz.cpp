// Requests of any bytes to the helper process, served on a memory machine, and answers of any
// bytes to the plug-in's side.
#include "libs/talelev/helper_protocol.h"
#include "tests/fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Machine m;
    m.machine.SetString(platform::kHkeyCurrentUser, u"T", u"v", u"text");
    m.machine.AddProcess(1234, u"C:\\a.exe");
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    IElevatedHelper* helper = nullptr;
    CElevatedHelperFactory::CreateInProcessHelper({}, &helper);
    bool release = false;
    talelev::ServeHelperRequest(*helper, bytes, &release);
    helper->Release();
    talelev::HelperAnswer answer;
    for (std::uint32_t op = 1; op <= static_cast<std::uint32_t>(talelev::HelperOp::kRelease); ++op)
        talelev::DecodeAnswer(static_cast<talelev::HelperOp>(op), bytes, &answer);
    return 0;
}
