#include "tools/elevation_support.h"

#include <new>

#include "frame/module_objects.h"
#include "sources/plugin.h"

CElevatedHelperSupport* g_elevatedHelperSupport = nullptr;

namespace {

void ReleaseField(IElevatedHelper*& helper) {
    if (helper == nullptr) return;
    helper->Release();
    helper = nullptr;
}

void TraceDirectRequest() {
    g_trace.Trace(u"CElevatedHelperSupport::GetElevatedHelper_Impl: Getting direct helper.");
}

}  // namespace

CElevatedHelperSupport::~CElevatedHelperSupport() {
    ReleaseAllHelpers();
}

IElevatedHelper* CElevatedHelperSupport::GetElevatedHelper(bool elevated, bool fallBack) {
    g_trace.Trace(u"CElevatedHelperSupport::GetElevatedHelper: => %d,%d", elevated ? 1 : 0,
                  fallBack ? 1 : 0);
    IElevatedHelper*& field = elevated ? m_elevatedHelper : m_directHelper;
    if (field == nullptr) {
        std::int32_t status;
        if (elevated) {
            g_trace.Trace(
                u"CElevatedHelperSupport::GetElevatedHelper_Impl: Getting proper helper.");
            status = CElevatedHelperFactory::GetProperHelperForOS(g_pageWindow.load(), &field);
        } else {
            TraceDirectRequest();
            status = CElevatedHelperFactory::GetDirectHelper(&field);
        }
        if (status < 0) {
            g_trace.Trace(
                u"CElevatedHelperSupport:GetElevatedHelper: Failed getting helper. bElevated = %d",
                elevated ? 1 : 0);
            if (elevated && fallBack) {
                g_trace.Trace(
                    u"CElevatedHelperSupport:GetElevatedHelper: Trying to return a direct "
                    u"unelevated helper, as requested");
                TraceDirectRequest();
                // The elevated field then holds an unelevated helper until it is released;
                // whatever the second request gave is the answer.
                CElevatedHelperFactory::GetDirectHelper(&field);
            }
        }
    }
    g_trace.Trace(u"CElevatedHelperSupport::GetElevatedHelper: <=%p", static_cast<void*>(field));
    return field;
}

void CElevatedHelperSupport::ReleaseElevatedHelper() {
    ReleaseField(m_elevatedHelper);
}

void CElevatedHelperSupport::ReleaseAllHelpers() {
    ReleaseField(m_elevatedHelper);
    ReleaseField(m_directHelper);
}

void CreateElevatedHelperSupport() {
    DestroyElevatedHelperSupport();
    // Runs inside the page's dialog procedure, where nothing may throw; without an instance
    // every request gives null, which the callers report.
    g_elevatedHelperSupport = new (std::nothrow) CElevatedHelperSupport();
}

void DestroyElevatedHelperSupport() {
    delete g_elevatedHelperSupport;
    g_elevatedHelperSupport = nullptr;
}

void ReleaseElevatedHelper() {
    if (g_elevatedHelperSupport) g_elevatedHelperSupport->ReleaseElevatedHelper();
}

IElevatedHelper* GetGlobalElevatedHelper(bool elevated, bool fallBack) {
    if (g_elevatedHelperSupport == nullptr) return nullptr;
    return g_elevatedHelperSupport->GetElevatedHelper(elevated, fallBack);
}

bool IsHeldHelper(const IElevatedHelper* helper) {
    return helper != nullptr && g_elevatedHelperSupport != nullptr &&
           g_elevatedHelperSupport->Holds(helper);
}

IElevatedHelper* GetHelperForSource(const CVistrelPlugin* source) {
    if (source == nullptr) return nullptr;
    return GetGlobalElevatedHelper(source->NeedsElevation, false);
}
