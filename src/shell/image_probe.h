// The image probe: while a panel that reads pixels is open (a curve's level
// marker, later the colour pickers), a press with the left button on a
// picture, the moves that follow and the release go to that panel instead of
// doing nothing. Alt and the scroll tool still drag the picture.
#pragma once

#include <functional>

class QObject;
class WindowBase;

enum class ProbePhase { press, move, release };

// `window`'s picture was touched at x, y (pixels, y counted from the top,
// clamped to the picture).
using ImageProbe = std::function<void(WindowBase* window, int x, int y, ProbePhase phase)>;

// Installs `probe` for as long as `owner` lives (or until another replaces
// it); null removes it.
void image_probe_set(QObject* owner, ImageProbe probe);
bool image_probe_active();
void image_probe_deliver(WindowBase* window, int x, int y, ProbePhase phase);
