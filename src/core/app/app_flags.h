#pragma once

namespace sonivert {

// Process-wide flags that event handlers read to stay out of each other's way. Everything runs
// on the user-interface thread, so plain Booleans suffice.
struct AppFlags
{
    bool isUnloading = false; // the main window is going away; engine events are ignored
    bool EditWindowOpen = false; // the trim editor is open; engine events are ignored
    bool diagnosisRunning = false; // the diagnosis window drives the engine and takes its end
    bool stoppedByUser = false; // the last run ended by Stop
};

AppFlags &flags();

} // namespace sonivert
