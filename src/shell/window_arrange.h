// The Window menu's arrangements of the children of the work area.
#pragma once

class QMdiArea;

// Children one above the other, each as wide as the area.
void mdi_tile_horizontal(QMdiArea* area);
// Children side by side, each as high as the area.
void mdi_tile_vertical(QMdiArea* area);
// Minimised children in rows along the bottom of the area.
void mdi_arrange_icons(QMdiArea* area);
// Asks every child to close, each through its own may-close check; returns
// true when all of them closed.
bool mdi_close_all(QMdiArea* area);
// Brings the panels and dialogs of the frame in front of it.
void dialogs_to_top();
