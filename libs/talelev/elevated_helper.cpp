#include "libs/talelev/elevated_helper.h"

#include <new>

#include "libs/talelev/in_process_helper.h"
#include "platform/machine.h"

namespace {

ElevatedHelperCreateFunction g_createFunction = &CElevatedHelperFactory::CreateInProcessHelper;
std::uint32_t g_directRequests = 0;
std::uint32_t g_properRequests = 0;

std::int32_t Create(bool elevated, platform::WindowHandle parentWindow, IElevatedHelper** helper) {
    if (helper == nullptr) return platform::kEInvalidArg;
    *helper = nullptr;
    ElevatedHelperRequest request;
    request.elevated = elevated;
    request.parentWindow = parentWindow;
    std::int32_t status = g_createFunction(request, helper);
    // A creation function that reports failure must not hand out an object all the same.
    if (status < 0) *helper = nullptr;
    return status;
}

}  // namespace

std::int32_t CElevatedHelperFactory::GetDirectHelper(IElevatedHelper** helper) {
    ++g_directRequests;
    return Create(false, nullptr, helper);
}

std::int32_t CElevatedHelperFactory::GetProperHelperForOS(platform::WindowHandle parentWindow,
                                                          IElevatedHelper** helper) {
    ++g_properRequests;
    return Create(true, parentWindow, helper);
}

bool CElevatedHelperFactory::CanElevate() {
    bool elevated = false;
    int elevationType = 0;
    if (!platform::machine().processes().GetTokenElevation(&elevated, &elevationType)) return false;
    // Type 3 is the limited half of a split token: a consent prompt can raise it.
    return elevated || elevationType == 3;
}

ElevatedHelperCreateFunction CElevatedHelperFactory::SetCreateFunction(
    ElevatedHelperCreateFunction create) {
    ElevatedHelperCreateFunction previous = g_createFunction;
    g_createFunction = create ? create : &CElevatedHelperFactory::CreateInProcessHelper;
    return previous;
}

std::int32_t CElevatedHelperFactory::CreateInProcessHelper(const ElevatedHelperRequest& request,
                                                           IElevatedHelper** helper) {
    (void)request;
    if (helper == nullptr) return platform::kEInvalidArg;
    *helper = new (std::nothrow) talelev::CInProcessHelper();
    return *helper ? platform::kSOk : platform::kEOutOfMemory;
}

std::uint32_t CElevatedHelperFactory::DirectHelperRequests() {
    return g_directRequests;
}
std::uint32_t CElevatedHelperFactory::ProperHelperRequests() {
    return g_properRequests;
}
void CElevatedHelperFactory::ResetRequestCounts() {
    g_directRequests = 0;
    g_properRequests = 0;
}
