#pragma once

class QApplication;

namespace sonivert {

// The program's start: product constants, folders, the single-instance check, the main window.
// Returns the process exit code.
int Main(QApplication &app);

} // namespace sonivert
