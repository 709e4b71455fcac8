// The page's keys, examined before any window of the page handles them, without help from the
// host's message loop: a message hook on the page's thread.
#pragma once

namespace console::win32 {

class CWin32VistrelView;

void InstallKeyHook(CWin32VistrelView* view);
void RemoveKeyHook(CWin32VistrelView* view);

}  // namespace console::win32
