// The commands around viewing and making pictures that have no panel of a
// transformation: New Image (1001), Undo and Undo All (2001, 2002), Copy and
// Paste (2003, 2004), Info (3001) and Zoom Factor (3008).
#pragma once

class QMdiArea;

// Runs one of those commands; false when `number` isn't one of them.
bool view_command(QMdiArea* area, int number);
