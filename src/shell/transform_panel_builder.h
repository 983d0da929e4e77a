// The panel of any transformation, made from its field table: the row of
// buttons, then one control per row of the table in its order (which is also
// the tab order). Every control writes the parameter block and tells the
// driver; the buttons, Enter, Esc and the close box go to the driver too. A
// transformation needs panel code of its own only for special controls.
//
// Controls are named by their field's keyword ("method"), their labels by the
// keyword and "_label", so that tests and the layout can find them.
#pragma once

#include "transform/transform.h"

class QMdiArea;
class TransformPanel;

// Makes the panel of `descriptor` over `params` (which must outlive it) in
// `area`, titled and numbered as the descriptor says, centred against the
// bottom of the area. Null when there is no area.
TransformPanel* transform_panel_build(const TransformDescriptor& descriptor, void* params,
                                      QMdiArea* area);

// Shows the rows that `field_shown` allows for an input of `image_type` (0 for
// none) and hides the others, tells amount controls the input's size, shows
// the block again, shrinks or grows the panel to its rows and keeps it inside
// the area.
void transform_panel_layout(TransformPanel* panel, int image_type, int width, int height);

// The controls take the block's values again (after a load or reset), without
// any of them reporting a change.
void transform_panel_show_block(TransformPanel* panel);
