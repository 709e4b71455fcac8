// Which view the page's windows get: the Win32 view in the DLL, a recording view in tests.
#pragma once

#include <memory>

#include "console/vistrel_view.h"

class CVistrelDlg;

namespace console {

using ViewFactory = std::unique_ptr<IVistrelView> (*)(CVistrelDlg& dialog);

// Installs the factory; returns the previous one. Without one, CVistrelDlg::Create fails.
ViewFactory SetViewFactory(ViewFactory factory);
ViewFactory GetViewFactory();

}  // namespace console
