// The crop rectangle of an open Crop/Add Border panel, drawn over its input
// window: the rectangle with its eight handles, the shape inside it, the
// composition guides and the outline of the turned picture. Dragging a
// handle or the inside edits the rectangle (held to the panel's
// proportions), dragging outside draws a new one, and Shift-drag turns the
// picture about its centre. The geometry is transform/geometry/crop_add_border.h.
#pragma once

#include "shell/image_drawing.h"

#include <QPointF>

#include "transform/geometry/crop_add_border.h"

class TransformPanel;

class CropDrawing : public ImageDrawing {
public:
    bool pointer(ImageWindow* window, QPointF at, ProbePhase phase) override;
    bool double_click(ImageWindow*, QPointF) override { return false; }
    void hover(ImageWindow*, QPointF) override {}
    void paint(ImageWindow* window, QPainter& painter) override;

private:
    bool dragging_ = false;
    bool turning_ = false;
    int handle_ = -1;
    QPointF from_;
    CropRect start_;
    double start_angle_ = 0;
};

// Installs the drawing while `panel` is the open Crop/Add Border panel, and
// takes it away when the panel closes. Adds the "Border Image:" chooser of
// the windows in `area`, shown while "Border:" says "Border Image".
class QMdiArea;
void crop_drawing_attach(TransformPanel* panel, QMdiArea* area);
