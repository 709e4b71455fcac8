// The constructors of the root and the containers. They read no category data: the tree's
// shape is fixed, and each source reads its data only when a population asks for it.
#include "sources/category_tree.h"

#include <new>

#include "collectors/files/hosts.h"
#include "collectors/files/ini_items.h"
#include "collectors/files/startup_items.h"
#include "collectors/shell/file_assoc.h"
#include "collectors/shell/installed_components.h"

namespace {

// A failed allocation leaves that node out; the rest of the tree is still built.
template <typename Source>
void Append(std::vector<CVistrelPlugin*>& children) {
    if (CVistrelPlugin* child = new (std::nothrow) Source) children.push_back(child);
}

}  // namespace

CVistrelMainPlugin::CVistrelMainPlugin() {
    failed = false;
    NeedsElevation = false;
    useElevation = false;
    Append<CVistrelRunItems>(children);
    Append<CVistrelStartupItems>(children);
    Append<CVistrelLoadItems>(children);
    Append<CVistrelINI>(children);
    // 5: CVistrelKnownDLLs, the known DLLs of the session manager, joins here.
    Append<CVistrelFileAssoc>(children);
    Append<CVistrelScripts>(children);
    Append<CVistrelServices>(children);
    Append<CVistrelIE>(children);
    Append<CVistrelWE>(children);
    Append<CVistrelHosts>(children);
    // 12: CVistrelWinsock, the Winsock catalogue, joins here.
    // 13: CVistrelProcProcesses, the running processes, joins here.
}

// CVistrelRunItems' constructor lives in run_items_container.cpp, next to its leaves' owner.

CVistrelStartupItems::CVistrelStartupItems() {
    Append<CVistrelStartupItemsCurrentUser>(children);
    Append<CVistrelStartupItemsAllUsers>(children);
}

CVistrelLoadItems::CVistrelLoadItems() {
    // CVistrelLoadItemUserInit, CVistrelLoadItemCUShell, CVistrelLoadItemLMShell,
    // CVistrelLoadItemAppInitDLLs, then CVistrelLoadItemsWinlogonNotify.
}

CVistrelINI::CVistrelINI() {
    Append<CVistrelWinINI>(children);
    Append<CVistrelSysINI>(children);
}

CVistrelScripts::CVistrelScripts() {
    // CVistrelScriptsStartup, then CVistrelScriptsShutdown.
}

CVistrelServices::CVistrelServices() {
    // CVistrelServices_Process before CVistrelServices_Driver.
}

CVistrelIE::CVistrelIE() {
    // CVistrelIEBHO, CVistrelIEMenuExt, then CVistrelIEDownloadedActiveX.
}

CVistrelWE::CVistrelWE() {
    Append<CVistrelWEInstallededComponents>(children);
    // Then CVistrelWEShellExtensions and CVistrelWEShellExecHooks.
}
