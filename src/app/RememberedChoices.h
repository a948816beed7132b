#pragma once

// What the window remembers between runs, in the user's settings: its size,
// position and the split between table and waveform, the target loudness,
// and the export format and rate. (The last folders are kept by the file
// dialogs themselves.) A value that no longer makes sense — a window off
// every screen, a target out of range, a format this version does not
// know — leaves the default in place.

class BatchSession;
class MainWindow;

namespace RememberedChoices {

// Puts back what an earlier run left, before the window is shown.
void restore(BatchSession& state, MainWindow& window);
// Keeps the choices as they change, and the window's layout when it
// closes or the program quits.
void keep(BatchSession& state, MainWindow& window);

} // namespace RememberedChoices
