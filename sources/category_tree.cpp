// The constructors of the root and the containers. They read no category data: the tree's
// shape is fixed, and each source reads its data only when a population asks for it.
#include "sources/category_tree.h"

#include <new>

#include "collectors/autostart/known_dlls.h"
#include "collectors/autostart/load_items.h"
#include "collectors/autostart/scripts.h"
#include "collectors/autostart/services.h"
#include "collectors/autostart/winlogon_notify.h"
#include "collectors/autostart/winsock.h"
#include "collectors/files/hosts.h"
#include "collectors/files/ini_items.h"
#include "collectors/files/startup_items.h"
#include "collectors/shell/file_assoc.h"
#include "collectors/shell/ie_downloaded_activex.h"
#include "collectors/shell/ie_helper_objects.h"
#include "collectors/shell/ie_menu_extensions.h"
#include "collectors/shell/installed_components.h"
#include "collectors/shell/shell_extensions.h"

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
    Append<CVistrelKnownDLLs>(children);
    Append<CVistrelFileAssoc>(children);
    Append<CVistrelScripts>(children);
    Append<CVistrelServices>(children);
    Append<CVistrelIE>(children);
    Append<CVistrelWE>(children);
    Append<CVistrelHosts>(children);
    Append<CVistrelWinsock>(children);
    // 13: CVistrelProcProcesses, the running processes, joins here.
}

// CVistrelRunItems' constructor lives in run_items_container.cpp, next to its leaves' owner.

CVistrelStartupItems::CVistrelStartupItems() {
    Append<CVistrelStartupItemsCurrentUser>(children);
    Append<CVistrelStartupItemsAllUsers>(children);
}

CVistrelLoadItems::CVistrelLoadItems() {
    Append<CVistrelLoadItemUserInit>(children);
    Append<CVistrelLoadItemCUShell>(children);
    Append<CVistrelLoadItemLMShell>(children);
    Append<CVistrelLoadItemAppInitDLLs>(children);
    Append<CVistrelLoadItemsWinlogonNotify>(children);
}

CVistrelINI::CVistrelINI() {
    Append<CVistrelWinINI>(children);
    Append<CVistrelSysINI>(children);
}

CVistrelScripts::CVistrelScripts() {
    Append<CVistrelScriptsStartup>(children);
    Append<CVistrelScriptsShutdown>(children);
}

CVistrelServices::CVistrelServices() {
    Append<CVistrelServices_Process>(children);
    Append<CVistrelServices_Driver>(children);
}

CVistrelIE::CVistrelIE() {
    Append<CVistrelIEBHO>(children);
    Append<CVistrelIEMenuExt>(children);
    Append<CVistrelIEDownloadedActiveX>(children);
}

CVistrelWE::CVistrelWE() {
    Append<CVistrelWEInstallededComponents>(children);
    Append<CVistrelWEShellExtensions>(children);
    Append<CVistrelWEShellExecHooks>(children);
}
