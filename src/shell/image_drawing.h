// Drawing on a picture: while a tool that draws is open (the mask tool),
// the left button's press, moves and release on an image window, the
// pointer's hover and double clicks go to it in picture coordinates, and it
// paints its rubber lines, handles and cursor over the window. Alt and the
// scroll tool still drag the picture.
#pragma once

#include "shell/image_probe.h"

#include <Qt>
#include <QPointF>

class ImageWindow;
class QPainter;

class ImageDrawing {
public:
    virtual ~ImageDrawing() = default;
    // `at` is in picture pixels with fractions, y down from the top row,
    // not clamped: a drag may leave the picture. True when taken.
    virtual bool pointer(ImageWindow* window, QPointF at, ProbePhase phase) = 0;
    virtual bool double_click(ImageWindow* window, QPointF at) = 0;
    // The pointer moved with no button down.
    virtual void hover(ImageWindow* window, QPointF at) = 0;
    // Paints over the picture, in the viewport's coordinates.
    virtual void paint(ImageWindow* window, QPainter& painter) = 0;
};

// Installs the drawing tool, or null to remove it.
void image_drawing_set(ImageDrawing* drawing);
ImageDrawing* image_drawing();
